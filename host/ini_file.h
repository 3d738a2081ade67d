// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <istream>
#include <stdexcept>
#include <string>
#include <vector>

namespace varnel::host {

/// A mistake in a line of a file; what() is "FILE:LINE: message".
class bad_line : public std::runtime_error {
  public:
    bad_line(const std::string &file, int line, const std::string &message);
};

struct ini_entry {
    std::string key;
    std::string value;
    int line;
};

struct ini_section {
    std::string name;
    int line; ///< of its heading
    std::vector<ini_entry> entries = {};
};

/// The sections of an INI file in their order, empty ones too. Comments start with ; or # on a line of their
/// own, or with " ;" after a value; spaces and tabs around keys and values do not count. Throws bad_line, also
/// for entries before the first section, and for sections and keys that are given twice.
[[nodiscard]] std::vector<ini_section> read_ini(std::istream &input, const std::string &file);

/// The same of a file that may have mistakes: leaves out the lines that cannot be read, keeps what is given twice.
[[nodiscard]] std::vector<ini_section> read_ini_with_mistakes(std::istream &input);

} // namespace varnel::host
