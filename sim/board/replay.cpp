// SPDX-License-Identifier: Apache-2.0
#include "sim/board/replay.h"

#include <algorithm>
#include <cerrno>

#include <fmt/format.h>

#include "host/hex.h"

namespace varnel::sim {

namespace {

constexpr const char *all_programs = "";

/// What a transfer asks for.
struct question {
    operation kind;
    uint8_t address;
    std::span<const uint8_t> data; ///< of a recorded one, the first bytes
    std::size_t write_length;
    std::size_t read_length;
    bool counted;
    bool stop;
};

question asked_by(const transfer_request &request, bool stop) {
    return {request.kind,        request.address, request.data, request.data.size(),
            request.read_length, request.counted, stop};
}

/// Of a transfer that failed before its first byte, the trace has that byte as the register.
question asked_by(const transfer_record &recorded) {
    std::span<const uint8_t> data = recorded.written.bytes;
    if (data.empty() && recorded.selected) {
        data = std::span(&recorded.selected->code, 1);
    }
    return {recorded.kind,
            recorded.address,
            data,
            recorded.written.length,
            recorded.read.length,
            recorded.read.bytes.size() > recorded.read.length,
            recorded.stop};
}

bool starts_with(std::span<const uint8_t> bytes, std::span<const uint8_t> first) {
    return bytes.size() >= first.size() && std::ranges::equal(bytes.first(first.size()), first);
}

/// Of a transfer that failed, it is not known whether more was to follow or a block to be read. A bit that a fault
/// has flipped is not the program's.
bool is_same(const transfer_record &recorded, const question &sent) {
    const question wanted = asked_by(recorded);
    const bool failed = recorded.error != 0;
    const bool flipped = std::ranges::find(recorded.faults, fault_kind::flip) != recorded.faults.end();
    return wanted.kind == sent.kind && wanted.address == sent.address &&
           wanted.write_length == sent.write_length && wanted.read_length == sent.read_length &&
           (failed || (wanted.counted == sent.counted && wanted.stop == sent.stop)) &&
           (flipped || starts_with(sent.data, wanted.data));
}

/// How many bytes a transfer has read: of a block, as many as its count says, which is from 1 to 32.
std::size_t read_by(const transfer_record &recorded) {
    const std::vector<uint8_t> &bytes = recorded.read.bytes;
    if (recorded.error != 0 || recorded.kind == operation::write) {
        return 0;
    }
    if (bytes.size() > recorded.read.length) {
        constexpr std::size_t largest_block = 32;
        const std::size_t count = bytes.front();
        return count >= 1 && count <= largest_block ? recorded.read.length + count : SIZE_MAX;
    }
    return recorded.kind == operation::read ? static_cast<std::size_t>(recorded.result)
                                            : recorded.read.length;
}

/// Whether the trace has all that was read; it keeps the first bytes of long reads.
bool is_whole(const transfer_record &recorded) { return recorded.read.bytes.size() >= read_by(recorded); }

std::string data_of(const question &asked) {
    constexpr std::size_t most = 16;
    const auto shown = asked.data.first(std::min(asked.data.size(), most));
    return shown.size() == asked.write_length
               ? host::hex(shown, " ")
               : fmt::format("{} ... ({} bytes)", host::hex(shown, " "), asked.write_length);
}

/// "0x58 write 88 read 2"
std::string text_of(const question &asked) {
    std::string text = fmt::format("0x{:02x}", asked.address);
    if (asked.write_length == 0 && asked.read_length == 0) {
        text += asked.kind == operation::read ? " quick read" : " quick write";
    }
    if (asked.write_length != 0) {
        text += " write " + data_of(asked);
    }
    if (asked.counted) {
        text += " read block";
    } else if (asked.read_length != 0) {
        text += fmt::format(" read {}", asked.read_length);
    }
    return asked.stop ? text : text + " without STOP";
}

std::string text_of(const transfer_record &recorded) {
    std::string chips;
    for (const traced_chip &chip : recorded.chips) {
        chips += (chips.empty() ? "" : ",") + chip.name;
    }
    return (chips.empty() ? "" : chips + "@") + text_of(asked_by(recorded));
}

transfer_outcome outcome_of(const transfer_record &recorded, const transfer_request &request) {
    if (recorded.error != 0) {
        return {recorded.result, recorded.error, recorded.written.bytes, recorded.read.bytes};
    }
    const std::size_t written = request.kind == operation::write
                                    ? std::min(request.data.size(), static_cast<std::size_t>(recorded.result))
                                    : request.data.size();
    const auto data = request.data.first(written);
    return {recorded.result, 0, {data.begin(), data.end()}, recorded.read.bytes};
}

} // namespace

replay::replay(std::string file, std::vector<transfer_record> recording)
    : file_(std::move(file)), recording_(std::move(recording)) {
    for (std::size_t i = 0; i < recording_.size(); ++i) {
        const transfer_record &each = recording_[i];
        if (!each.process.empty()) {
            sequences_[each.process][each.bus].transfers.push_back(i);
        }
        sequences_[all_programs][each.bus].transfers.push_back(i);
    }
}

std::vector<uint8_t> replay::buses() const {
    std::set<uint8_t> found;
    for (const transfer_record &each : recording_) {
        if (each.error != ENODEV) {
            found.insert(each.bus);
        }
    }
    return {found.begin(), found.end()};
}

std::vector<transfer_outcome> replay::perform(const std::string &program, int pid,
                                              std::span<const transfer_request> parts, bool goes_on) {
    std::vector<transfer_outcome> outcomes;
    for (const transfer_request &part : parts) {
        const bool last = outcomes.size() + 1 == parts.size();
        outcomes.push_back(answer({part, last && !goes_on, program, pid}));
        if (error_of(part, outcomes.back()) != 0) {
            break;
        }
    }
    return outcomes;
}

transfer_outcome replay::answer(const asked &wanted) {
    const std::string key = sequences_.contains(wanted.program) ? wanted.program : all_programs;
    taking_part_.insert(key);
    if (departed_.contains(key)) {
        return {-1, ENODATA};
    }
    sequence &made = sequences_[key][wanted.request.adapter];
    if (const auto reason = departure(wanted, made)) {
        departed_.insert(key);
        departures_.push_back(fmt::format("{}: {}[{}] leaves the recording on bus {} {}", file_,
                                          wanted.program, wanted.pid, wanted.request.adapter, *reason));
        return {-1, ENODATA};
    }
    return outcome_of(recording_[made.transfers[made.next++]], wanted.request);
}

/// Where and why a program leaves the recording; nothing when it makes the recorded transfer.
std::optional<std::string> replay::departure(const asked &wanted, const sequence &made) const {
    const question sent = asked_by(wanted.request, wanted.stop);
    if (made.transfers.empty()) {
        return fmt::format("where nothing is recorded: sent {}", text_of(sent));
    }
    if (made.next == made.transfers.size()) {
        return fmt::format("after {}, the last one: sent {}", place(made.transfers.back()), text_of(sent));
    }
    const std::size_t transfer = made.transfers[made.next];
    const transfer_record &recorded = recording_[transfer];
    if (!is_same(recorded, sent)) {
        return fmt::format("at {}: recorded {}, sent {}", place(transfer), text_of(recorded), text_of(sent));
    }
    if (!is_whole(recorded)) {
        return fmt::format("at {}: not all bytes that were read by {} are recorded", place(transfer),
                           text_of(recorded));
    }
    return std::nullopt;
}

/// "transfer 12 (51.300000)": its number, from 1, and its time as the recording has it.
std::string replay::place(std::size_t transfer) const {
    constexpr double microseconds_per_second = 1e6;
    return fmt::format("transfer {} ({:.6f})", transfer + 1,
                       static_cast<double>(recording_[transfer].time.count()) / microseconds_per_second);
}

replay::progress replay::so_far() const {
    progress all{0, 0};
    for (const std::string &key : taking_part_.empty() ? std::set<std::string>{all_programs} : taking_part_) {
        for (const auto &[bus, made] : sequences_.at(key)) {
            all.made += made.next;
            all.recorded += made.transfers.size();
        }
    }
    return all;
}

} // namespace varnel::sim
