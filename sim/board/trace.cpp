// SPDX-License-Identifier: Apache-2.0
#include "sim/board/trace.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace varnel::sim {

using json = nlohmann::ordered_json;

namespace {

std::string_view name_of(operation kind) {
    switch (kind) {
    case operation::write:
        return "write";
    case operation::read:
        return "read";
    default:
        return "write-read";
    }
}

std::vector<uint8_t> beginning_of(const std::vector<uint8_t> &bytes) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(bytes.size(), traced_bytes))};
}

/// The register that the first byte selects, or would have selected, as the chip that answers reads it.
void add_register(json &record, const transfer_request &request, const transfer_outcome &outcome) {
    record["register"] = nullptr;
    record["register_name"] = nullptr;
    if (outcome.addressed.empty() || request.data.empty()) {
        return;
    }
    const chip &model = *outcome.addressed.front().at.part->model;
    if (!model.has_registers()) {
        return;
    }
    const uint8_t code = outcome.written.empty() ? request.data.front() : outcome.written.front();
    record["register"] = code;
    if (const std::string name = model.register_name(code); !name.empty()) {
        record["register_name"] = name;
    }
}

void add_error(json &record, int error) {
    record["error"] = nullptr;
    record["error_text"] = nullptr;
    if (error != 0) {
        record["error"] = strerrorname_np(error);
        record["error_text"] = strerrordesc_np(error);
    }
}

} // namespace

json trace_record(const transfer_origin &origin, const transfer_request &request,
                  const transfer_outcome &outcome) {
    using microseconds = std::chrono::duration<int64_t, std::micro>;
    const auto time = std::chrono::duration_cast<microseconds>(origin.time);
    json record = {{"time", static_cast<double>(time.count()) / 1e6},
                   {"process", origin.process},
                   {"pid", origin.pid},
                   {"bus", request.adapter},
                   {"path", json::array()},
                   {"chips", json::array()},
                   {"address", request.address},
                   {"operation", name_of(request.kind)}};
    for (const addressed_chip &chip : outcome.addressed) {
        record["path"].push_back(chip.path);
        record["chips"].push_back(chip.at.part->name);
    }
    add_register(record, request, outcome);
    record["written"] = beginning_of(outcome.written);
    record["written_length"] = request.data.size();
    record["read"] = beginning_of(outcome.read);
    record["read_length"] = request.read_length;
    record["result"] = outcome.result;
    add_error(record, outcome.error);
    record["faults"] = json::array();
    for (const fault_kind kind : outcome.faults) {
        record["faults"].push_back(name_of(kind));
    }
    return record;
}

namespace {

std::string bytes_of(std::span<const uint8_t> bytes, std::size_t kept, std::size_t length) {
    std::string text = fmt::format("{:02x}", fmt::join(bytes, " "));
    if (kept == traced_bytes && length > traced_bytes) {
        text += fmt::format(" ... ({} bytes)", length);
    }
    return text;
}

/// "READ_TEMP(0xE2) <- 01 02 -> 7a 01", whatever of it there is.
std::string data_of(const json &record) {
    const auto written = record["written"].get<std::vector<uint8_t>>();
    const auto read = record["read"].get<std::vector<uint8_t>>();
    const std::size_t written_length = record["written_length"];
    const std::size_t read_length = record["read_length"];
    std::span<const uint8_t> data(written);
    std::string text;
    if (!record["register"].is_null()) {
        const uint8_t code = record["register"];
        const json &name = record["register_name"];
        text += name.is_null() ? fmt::format(" 0x{:02X}", code)
                               : fmt::format(" {}(0x{:02X})", name.get<std::string>(), code);
        data = data.subspan(data.empty() ? 0 : 1);
    }
    if (!data.empty()) {
        text += " <- " + bytes_of(data, written.size(), written_length);
    }
    if (!read.empty()) {
        text += " -> " + bytes_of(read, read.size(), read_length);
    }
    if (written_length == 0 && read_length == 0) {
        text += record["operation"] == "read" ? " quick read" : " quick write";
    }
    return text;
}

std::string result_of(const json &record) {
    if (!record["error"].is_null()) {
        return fmt::format("{} ({})", record["error"].get<std::string>(),
                           record["error_text"].get<std::string>());
    }
    const int result = record["result"];
    const int wanted = record["operation"] == "write"  ? record["written_length"].get<int>()
                       : record["operation"] == "read" ? record["read_length"].get<int>()
                                                       : 0;
    return result == wanted ? "ok" : fmt::format("{} of {} bytes", result, wanted);
}

std::string joined(const json &names, const std::string &none) {
    return names.empty() ? none : fmt::format("{}", fmt::join(names.get<std::vector<std::string>>(), ","));
}

} // namespace

std::string trace_line(const json &record) {
    std::string line = fmt::format("{:.6f} {}[{}] {} {}@0x{:02x}{}  {}", record["time"].get<double>(),
                                   record["process"].get<std::string>(), record["pid"].get<int>(),
                                   joined(record["path"], fmt::to_string(record["bus"].get<int>())),
                                   joined(record["chips"], "nobody"), record["address"].get<unsigned int>(),
                                   data_of(record), result_of(record));
    if (!record["faults"].empty()) {
        line += fmt::format("  fault: {}", joined(record["faults"], ""));
    }
    return line;
}

} // namespace varnel::sim
