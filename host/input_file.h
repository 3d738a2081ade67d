// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace varnel::host {

/// What messages call a file: "-" is standard input.
[[nodiscard]] std::string shown_name(const std::string &path);

/// A file to read, or with "-" standard input.
class input_file {
  public:
    /// Throws std::system_error.
    explicit input_file(const std::string &path);
    ~input_file();
    input_file(const input_file &) = delete;
    input_file &operator=(const input_file &) = delete;

    [[nodiscard]] std::FILE *get() const { return file_; }
    /// The bytes up to the end, or the next `most`. Throws std::system_error.
    [[nodiscard]] std::string content(std::size_t most = SIZE_MAX) const;

  private:
    std::string name_;
    std::FILE *file_;
};

} // namespace varnel::host
