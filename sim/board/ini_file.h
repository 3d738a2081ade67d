// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <istream>
#include <stdexcept>
#include <string>
#include <vector>

namespace varnel::sim {

/// A mistake in a board description; what() is "FILE:LINE: message".
class bad_description : public std::runtime_error {
  public:
    bad_description(const std::string &file, int line, const std::string &message);
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
/// own, or with " ;" after a value; blanks around keys and values do not count. Throws bad_description, also
/// for entries before the first section.
[[nodiscard]] std::vector<ini_section> read_ini(std::istream &input, const std::string &file);

} // namespace varnel::sim
