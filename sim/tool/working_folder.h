// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <stdexcept>
#include <string>

#include <sys/sem.h>

namespace varnel::sim::tool {

/// A folder for the files of a run, deleted with this object. So are the semaphore sets of locks whose key files are there:
/// they would stay until the machine is restarted, and later files of the same inode numbers would get them.
class working_folder {
  public:
    working_folder() {
        std::string name = std::filesystem::temp_directory_path() / "varnel-test-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error(name + ": cannot be made");
        }
        folder_ = name;
    }
    ~working_folder() {
        std::error_code ignored;
        for (const auto &file : std::filesystem::recursive_directory_iterator(folder_, ignored)) {
            remove_lock(file.path());
        }
        std::filesystem::remove_all(folder_, ignored);
    }
    working_folder(const working_folder &) = delete;
    working_folder &operator=(const working_folder &) = delete;

    [[nodiscard]] const std::filesystem::path &path() const { return folder_; }

  private:
    /// A key can belong to two files, so older sets are somebody else's.
    void remove_lock(const std::filesystem::path &key_file) const {
        const int set = semget(ftok(key_file.c_str(), '_'), 0, 0); // see sem_lock.h
        semid_ds status{};
        if (set != -1 && semctl(set, 0, IPC_STAT, &status) == 0 && status.sem_ctime >= made_) {
            semctl(set, 0, IPC_RMID);
        }
    }

    std::filesystem::path folder_;
    std::time_t made_ = std::time(nullptr);
};

/// Makes a folder the working directory, until this object ends.
class inside_folder {
  public:
    explicit inside_folder(const working_folder &folder) { std::filesystem::current_path(folder.path()); }
    ~inside_folder() {
        std::error_code ignored;
        std::filesystem::current_path(before_, ignored);
    }
    inside_folder(const inside_folder &) = delete;
    inside_folder &operator=(const inside_folder &) = delete;

  private:
    std::filesystem::path before_ = std::filesystem::current_path();
};

} // namespace varnel::sim::tool
