// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/json.h"
#include "sim/capture/vcd.h"
#include "sim/protocol/board_json.h"

namespace varnel::sim::tool {

/// One of the formats that transfers are written in. Each function returns the bytes to append to the file.
class trace_encoder {
  public:
    trace_encoder() = default;
    virtual ~trace_encoder() = default;
    trace_encoder(const trace_encoder &) = delete;
    trace_encoder &operator=(const trace_encoder &) = delete;

    [[nodiscard]] virtual std::string beginning() { return ""; }
    /// `record` is a transfer_record as in sim/protocol/board_json.h.
    [[nodiscard]] virtual std::string transfer(const nlohmann::ordered_json &record) = 0;
    /// Transfers that the reader was too slow for.
    [[nodiscard]] virtual std::string lost(uint64_t transfers) = 0;
    /// The board at this moment, for formats that show more than transfers.
    [[nodiscard]] virtual std::string state(const server_status & /*status*/) { return ""; }
    [[nodiscard]] virtual std::string end() { return ""; }
};

[[nodiscard]] std::unique_ptr<trace_encoder> make_text_encoder();
[[nodiscard]] std::unique_ptr<trace_encoder> make_json_encoder();
[[nodiscard]] std::unique_ptr<trace_encoder> make_pcap_encoder();
[[nodiscard]] std::unique_ptr<trace_encoder> make_vcd_encoder(const capture::bus_timing &timing,
                                                              const board_status &board);

} // namespace varnel::sim::tool
