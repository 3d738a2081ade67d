// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace varnel::sim::tool {

/// A folder for the files of a run, deleted with this object.
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
        std::filesystem::remove_all(folder_, ignored);
    }
    working_folder(const working_folder &) = delete;
    working_folder &operator=(const working_folder &) = delete;

    [[nodiscard]] const std::filesystem::path &path() const { return folder_; }

  private:
    std::filesystem::path folder_;
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
