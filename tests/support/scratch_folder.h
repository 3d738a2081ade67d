// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace varnel::test {

/// A new folder, removed with what is in it.
class scratch_folder {
  public:
    scratch_folder();
    ~scratch_folder();
    scratch_folder(const scratch_folder &) = delete;
    scratch_folder &operator=(const scratch_folder &) = delete;

    const std::string &path() const { return path_; }
    std::string file(std::string_view name) const { return path_ + '/' + std::string(name); }

    /// Names of what is in it, sorted.
    std::vector<std::string> names() const;

  private:
    std::string path_;
};

/// Writes a whole file; throws when that fails.
void write_file(const std::string &path, std::string_view bytes);

/// A whole file, or nothing when it cannot be read.
std::optional<std::string> read_file(const std::string &path);

/// What must survive when a file is rewritten in place.
struct file_identity {
    ino_t inode;
    mode_t mode;
    bool operator==(const file_identity &) const = default;
};
file_identity identity_of(const std::string &path);

} // namespace varnel::test
