// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/line_output.h"
#include "sim/tool/board_access.h"
#include "sim/tool/trace_encoder.h"

namespace varnel::sim::tool {

using host::line_output;

/// Transfers as they come from a board, written to any number of files.
class trace_printer {
  public:
    trace_printer(std::unique_ptr<trace_encoder> encoder, std::vector<line_output> outputs)
        : encoder_(std::move(encoder)), outputs_(std::move(outputs)) {
        write(encoder_->beginning());
    }

    /// Takes one message of the board. Returns false after the last.
    bool print_message(const nlohmann::ordered_json &message);
    void print_state(const server_status &status) { write(encoder_->state(status)); }
    void finish() { write(encoder_->end()); }
    [[nodiscard]] uint64_t transfers() const { return transfers_; }

  private:
    void write(const std::string &bytes);

    std::unique_ptr<trace_encoder> encoder_;
    std::vector<line_output> outputs_;
    uint64_t transfers_ = 0;
};

/// Writes the transfers of a running board to a file, as JSON, until a signal comes or the board ends. `board` is the option of
/// the command line.
int record_board(const std::string &board, const std::string &file);

} // namespace varnel::sim::tool
