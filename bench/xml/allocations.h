// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "xml/contenders.h"
#include "xml/documents.h"

namespace varnel::bench {

/// What the preloaded counter counts.
struct allocation_counts {
    unsigned long allocations;
    unsigned long held;
    unsigned long most_held;
};

/// Those of one reading, in another process of this program. Throws std::runtime_error when that fails.
allocation_counts count_allocations(const tree_library &who, const document &what);

/// That process: one reading; prints what the counter counted. Returns its exit status.
int print_allocations(const std::string &library, const std::string &document);

} // namespace varnel::bench
