// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/trace_encoder.h"

#include <fmt/format.h>

#include "sim/capture/pcapng.h"

namespace varnel::sim::tool {

using json = nlohmann::ordered_json;

namespace {

class text_encoder : public trace_encoder {
  public:
    std::string transfer(const json &record) override {
        return trace_line(record.get<transfer_record>()) + '\n';
    }
    std::string lost(uint64_t transfers) override {
        return fmt::format("... {} transfers lost\n", transfers);
    }
};

class json_encoder : public trace_encoder {
  public:
    std::string transfer(const json &record) override { return record.dump() + '\n'; }
    std::string lost(uint64_t transfers) override { return json{{"lost", transfers}}.dump() + '\n'; }
};

class pcap_encoder : public trace_encoder {
  public:
    std::string beginning() override { return capture::pcapng::beginning(); }
    std::string transfer(const json &record) override {
        return capture_.blocks_of(record.get<transfer_record>());
    }
    std::string lost(uint64_t transfers) override {
        capture_.lose(transfers);
        return "";
    }

  private:
    capture::pcapng capture_;
};

class vcd_encoder : public trace_encoder {
  public:
    vcd_encoder(const capture::bus_timing &timing, const board_status &board) : dump_(timing, board) {}

    std::string beginning() override { return dump_.beginning(); }
    std::string transfer(const json &record) override {
        return dump_.transfer(record.get<transfer_record>());
    }
    std::string lost(uint64_t transfers) override {
        return fmt::format("$comment {} transfers lost $end\n", transfers);
    }
    std::string state(const server_status &status) override {
        return dump_.state(std::chrono::duration_cast<std::chrono::microseconds>(status.uptime),
                           status.board);
    }
    std::string end() override { return dump_.finish(); }

  private:
    capture::vcd dump_;
};

} // namespace

std::unique_ptr<trace_encoder> make_text_encoder() { return std::make_unique<text_encoder>(); }
std::unique_ptr<trace_encoder> make_json_encoder() { return std::make_unique<json_encoder>(); }
std::unique_ptr<trace_encoder> make_pcap_encoder() { return std::make_unique<pcap_encoder>(); }
std::unique_ptr<trace_encoder> make_vcd_encoder(const capture::bus_timing &timing,
                                                const board_status &board) {
    return std::make_unique<vcd_encoder>(timing, board);
}

} // namespace varnel::sim::tool
