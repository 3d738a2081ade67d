// SPDX-License-Identifier: Apache-2.0
#include "sim/board/trace.h"

#include <algorithm>
#include <cstring>
#include <span>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/hex.h"

namespace varnel::sim {

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

namespace {

std::vector<uint8_t> beginning_of(const std::vector<uint8_t> &bytes) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(bytes.size(), traced_bytes))};
}

/// The register that the first byte selects, or would have selected, as the chip that answers reads it.
std::optional<traced_register> selected_by(const transfer_request &request, const transfer_outcome &outcome) {
    if (outcome.addressed.empty() || request.data.empty()) {
        return std::nullopt;
    }
    const chips::datasheet &sheet = outcome.addressed.front().at.part->model->sheet();
    if (sheet.registers.empty()) {
        return std::nullopt;
    }
    const uint8_t code = outcome.written.empty() ? request.data.front() : outcome.written.front();
    return traced_register{code, chips::register_name(sheet, code)};
}

} // namespace

transfer_record record_of(const transfer_origin &origin, const transfer_request &request,
                          const transfer_outcome &outcome) {
    transfer_record record{.time = std::chrono::duration_cast<std::chrono::microseconds>(origin.time),
                           .process = origin.process,
                           .pid = origin.pid,
                           .bus = request.adapter,
                           .chips = {},
                           .address = request.address,
                           .kind = request.kind,
                           .selected = selected_by(request, outcome),
                           .written = {beginning_of(outcome.written), request.data.size()},
                           .read = {beginning_of(outcome.read), request.read_length},
                           .result = outcome.result,
                           .error = outcome.error,
                           .faults = outcome.faults,
                           .stop = origin.stop};
    for (const addressed_chip &chip : outcome.addressed) {
        record.chips.push_back({chip.at.part->name, chip.path});
    }
    return record;
}

namespace {

std::string text_of(const traced_data &data, std::size_t skipped) {
    const auto shown = std::span(data.bytes).subspan(skipped);
    std::string text = host::hex(shown, " ");
    if (data.bytes.size() == traced_bytes && data.length > traced_bytes) {
        text += fmt::format(" ... ({} bytes)", data.length);
    }
    return text;
}

/// "READ_TEMP(0xE2) <- 01 02 -> 7a 01", whatever of it there is.
std::string data_of(const transfer_record &record) {
    std::string text;
    if (record.selected) {
        const auto &[code, name] = *record.selected;
        text += name.empty() ? fmt::format(" 0x{:02X}", code) : fmt::format(" {}(0x{:02X})", name, code);
    }
    const std::size_t skipped = record.selected && !record.written.bytes.empty() ? 1 : 0;
    if (record.written.bytes.size() > skipped) {
        text += " <- " + text_of(record.written, skipped);
    }
    if (!record.read.bytes.empty()) {
        text += " -> " + text_of(record.read, 0);
    }
    if (record.written.length == 0 && record.read.length == 0) {
        text += record.kind == operation::read ? " quick read" : " quick write";
    }
    return text;
}

std::string result_of(const transfer_record &record) {
    if (record.error != 0) {
        return fmt::format("{} ({})", strerrorname_np(record.error), strerrordesc_np(record.error));
    }
    const std::size_t wanted = record.kind == operation::write  ? record.written.length
                               : record.kind == operation::read ? record.read.length
                                                                : 0;
    return record.result == static_cast<int>(wanted) ? "ok"
                                                     : fmt::format("{} of {} bytes", record.result, wanted);
}

/// One field of each item, separated by commas.
template <class Items, class Field>
std::string joined(const Items &items, Field field, const std::string &none) {
    std::string text;
    for (const auto &item : items) {
        text += fmt::format("{}{}", text.empty() ? "" : ",", field(item));
    }
    return items.empty() ? none : text;
}

} // namespace

std::string trace_line(const transfer_record &record) {
    const auto path = [](const traced_chip &chip) { return chip.path; };
    const auto name = [](const traced_chip &chip) { return chip.name; };
    std::string line =
        fmt::format("{:.6f} {}[{}] {} {}@0x{:02x}{}  {}", static_cast<double>(record.time.count()) / 1e6,
                    record.process, record.pid, joined(record.chips, path, fmt::to_string(record.bus)),
                    joined(record.chips, name, "?"), record.address, data_of(record), result_of(record));
    if (!record.faults.empty()) {
        const auto kind = [](fault_kind each) { return name_of(each); };
        line += fmt::format("  fault: {}", joined(record.faults, kind, ""));
    }
    return line;
}

} // namespace varnel::sim
