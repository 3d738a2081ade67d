// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "support/results.h"

namespace varnel::bench {

/// A key of a file.
struct entry {
    std::string path;
    std::string section;
    std::string key;
};

/// Reads or writes one key. Returns the value that was read or written, nothing when that failed.
using action = std::string (*)(const entry &where);

struct library {
    const char *name;
    role who;
    action get;
    action set; ///< null when the library cannot write
};

/// This library first; the floor opens, reads and closes the file in the same way without parsing it.
const std::vector<library> &libraries();

} // namespace varnel::bench
