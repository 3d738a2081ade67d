// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <stdlib.h>
#include <sys/stat.h>

namespace varnel::test {

/// A new folder; the destructor removes it with its content.
class scratch_folder {
  public:
    scratch_folder() : path_((std::filesystem::temp_directory_path() / "varnel-XXXXXX").string()) {
        if (mkdtemp(path_.data()) == nullptr) {
            throw std::runtime_error("cannot create " + path_);
        }
    }
    ~scratch_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    scratch_folder(const scratch_folder &) = delete;
    scratch_folder &operator=(const scratch_folder &) = delete;

    const std::string &path() const { return path_; }
    std::string file(std::string_view name) const { return path_ + '/' + std::string(name); }

    /// Names of its entries, sorted.
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto &entry : std::filesystem::directory_iterator(path_)) {
            found.push_back(entry.path().filename().string());
        }
        std::sort(found.begin(), found.end());
        return found;
    }

  private:
    std::string path_;
};

/// Replaces a file's content; throws when that fails.
inline void write_file(const std::string &path, std::string_view bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

/// The content of a file, or nothing when it cannot be opened.
inline std::optional<std::string> read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}

/// What must not change when a file is rewritten in place.
struct file_identity {
    ino_t inode;
    mode_t mode;
    bool operator==(const file_identity &) const = default;
};

inline file_identity identity_of(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        throw std::runtime_error("no such file: " + path);
    }
    return {status.st_ino, status.st_mode};
}

} // namespace varnel::test
