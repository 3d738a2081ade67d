// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "host/ini_file.h"

namespace varnel::sim {

/// The line of a board file that names a dump.
struct dump_line {
    const std::string &file;
    int number;
};

/// The settings of a chip that has in its registers what `i2cdump` printed, by bytes or by words: `data` for what it read,
/// `access` none for what it could not read. They are of the line that names the dump. Throws host::bad_line.
[[nodiscard]] std::vector<host::ini_entry> settings_of_dump(const std::string &dump, const dump_line &where);

} // namespace varnel::sim
