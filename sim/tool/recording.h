// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "sim/board/trace.h"

namespace varnel::sim::tool {

/// A place in a recording where transfers are missing.
struct recording_hole {
    std::size_t transfers; ///< of the recording that come before it
    int line;              ///< of the file
};

/// Transfers that were recorded on a bus, ours or a real one.
struct recording {
    std::vector<transfer_record> transfers;
    std::optional<recording_hole> hole = std::nullopt; ///< the first
};

/// Reads a file, or with "-" standard input, that `varnel-sim trace --json` has written, or a kernel. Throws
/// host::bad_line, bad_usage when there are no transfers, and std::system_error.
[[nodiscard]] recording read_recording(const std::string &file);

} // namespace varnel::sim::tool
