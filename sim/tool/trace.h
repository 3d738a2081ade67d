// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/line_output.h"
#include "sim/tool/board_access.h"

namespace varnel::sim::tool {

using host::line_output;

enum class trace_format { text, json };

/// Transfers as they come from a board, printed to any number of files.
class trace_printer {
  public:
    trace_printer(trace_format format, std::vector<line_output> outputs)
        : format_(format), outputs_(std::move(outputs)) {}

    /// Takes one message of the board. Returns false after the last.
    bool print_message(const nlohmann::ordered_json &message);
    [[nodiscard]] uint64_t transfers() const { return transfers_; }

  private:
    void print(const std::string &line);

    trace_format format_;
    std::vector<line_output> outputs_;
    uint64_t transfers_ = 0;
};

} // namespace varnel::sim::tool
