// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace varnel::host {

/// A file, or with "-" standard output, that lines or bytes go to; each is written at once, so that a reader at the
/// other end of a pipe sees it.
class line_output {
  public:
    /// Throws bad_usage when the file cannot be created.
    explicit line_output(std::string name);
    ~line_output();
    line_output(line_output &&other) noexcept;
    line_output &operator=(line_output &&) = delete;

    /// Throws std::system_error.
    void print(std::string_view line);
    /// Bytes as they are. Throws std::system_error.
    void write(std::string_view bytes);
    [[nodiscard]] int descriptor() const { return fileno(file_); }

  private:
    void flush();

    std::string name_;
    std::FILE *file_;
};

} // namespace varnel::host
