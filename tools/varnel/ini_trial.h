// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "tools/varnel/memory_file.h"

namespace varnel::tools {

/// The text of an INI file, "-" for standard input: up to its end, or to the first byte 0xFF. Throws failed
/// or std::system_error when it cannot be read or is longer than the library takes, which would end the
/// process.
std::string read_ini(const std::string &path);

/// A change of an INI file, tried on a copy in memory: the file itself is not touched.
class ini_trial {
  public:
    /// A file that is not there counts as empty. Throws failed.
    explicit ini_trial(std::string path);

    [[nodiscard]] const std::string &before() const { return before_; }
    /// Where the copy can be read.
    [[nodiscard]] std::string copy() const { return copy_.path(); }
    /// Gives `setter` the path of the copy, and returns the text then. Throws failed when it fails.
    [[nodiscard]] std::string after(const std::function<int(const char *path)> &setter) const;

  private:
    std::string path_;
    std::string before_;
    memory_file copy_;
};

/// What turns one text into another: `removed` bytes at `place` are replaced by `added`.
struct text_change {
    std::size_t place;
    std::string removed;
    std::string added;
};
text_change difference(const std::string &before, const std::string &after);

/// The line that a place of a text is in, without its end.
std::string line_at(const std::string &text, std::size_t place);

} // namespace varnel::tools
