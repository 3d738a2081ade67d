// SPDX-License-Identifier: Apache-2.0
#include "sim/capture/kernel_trace.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string_view>

#include <linux/i2c.h>

namespace varnel::sim::capture {

namespace {

constexpr double microseconds_per_second = 1e6;
constexpr int decimal = 10;
constexpr int hexadecimal = 16;
/// Of each message, by the format %*ph of Linux.
constexpr std::size_t printed_bytes = 64;

/// The number that follows a mark: 0x58 in "a=058". Nothing if there is none.
std::optional<long> number_after(const std::string &words, std::string_view mark, int base) {
    const std::size_t at = words.find(mark);
    if (at == std::string::npos) {
        return std::nullopt;
    }
    const char *const begin = words.c_str() + at + mark.size();
    char *end = nullptr;
    const long number = std::strtol(begin, &end, base);
    return end == begin ? std::nullopt : std::optional(number);
}

/// "   i2cget-1234    [000] .....    12.034567", which precedes each event: who, and when.
transfer_origin origin_in(const std::string &words) {
    const std::size_t processor = words.rfind(" [");
    const std::string who = words.substr(0, processor == std::string::npos ? 0 : processor);
    const std::size_t dash = who.rfind('-');
    const std::size_t begin = who.find_first_not_of(' ');
    const std::size_t time = words.find_last_of(' ');
    const double seconds = std::strtod(words.c_str() + (time == std::string::npos ? 0 : time), nullptr);
    const auto microseconds = std::chrono::microseconds(std::llround(seconds * microseconds_per_second));
    if (dash == std::string::npos || begin >= dash) {
        return {microseconds, "?", 0};
    }
    return {microseconds, who.substr(begin, dash - begin),
            static_cast<int>(number_after(who.substr(dash), "-", decimal).value_or(0))};
}

/// "[79-00]"
std::vector<uint8_t> bytes_in(const std::string &words) {
    std::vector<uint8_t> bytes;
    for (std::size_t at = words.find('['); at != std::string::npos && at + 2 < words.size();
         at = words.find('-', at + 1)) {
        bytes.push_back(static_cast<uint8_t>(std::strtoul(words.substr(at + 1, 2).c_str(), nullptr, 16)));
    }
    return bytes;
}

transfer_record record_at(const transfer_origin &origin, uint8_t bus) {
    transfer_record record{};
    record.time = std::chrono::duration_cast<std::chrono::microseconds>(origin.time);
    record.process = origin.process;
    record.pid = origin.pid;
    record.bus = bus;
    record.stop = false;
    return record;
}

} // namespace

void kernel_trace::add_message(call &made, const std::string &words, bool is_reply) {
    constexpr long highest_address = 0x7F; // those of ten bits are left out
    const auto number = number_after(words, " #", decimal);
    const auto address = number_after(words, " a=", hexadecimal);
    const auto flags = number_after(words, " f=", hexadecimal);
    const auto length = number_after(words, " l=", decimal);
    if (!number || !address || *address > highest_address || !flags || !length) {
        return;
    }
    const message told{*address, *flags, static_cast<std::size_t>(*length), bytes_in(words)};
    const bool has_data = is_reply || (told.flags & I2C_M_RD) == 0;
    if (has_data && told.bytes.size() < std::min(told.length, printed_bytes)) {
        return; // the line has no end
    }
    const auto read = made.messages.find(*number);
    if (is_reply && read != made.messages.end()) {
        read->second.bytes = told.bytes;
    } else if (!is_reply) {
        made.messages[*number] = told;
    }
}

std::vector<transfer_record> kernel_trace::transfers_of(uint8_t bus, const call &made, int result) {
    std::vector<transfer_record> records;
    bool may_turn = false; // the last record is a write of the same address
    for (const auto &[number, each] : made.messages) {
        const bool reads = (each.flags & I2C_M_RD) != 0;
        const bool turns = may_turn && reads && each.length != 0 && records.back().address == each.address;
        if (!turns) {
            records.push_back(record_at(made.origin, bus));
            records.back().address = static_cast<uint8_t>(each.address);
        }
        transfer_record &record = records.back();
        record.kind = turns ? operation::write_read : reads ? operation::read : operation::write;
        (reads ? record.read : record.written) = {each.bytes, each.length};
        record.result = turns ? 0 : static_cast<int>(std::max(each.bytes.size(), each.length));
        may_turn = !reads && each.length != 0;
    }
    if (result < 0 && !records.empty()) { // nothing tells which of several failed
        records.resize(1);
        records.front().error = -result;
        records.front().result = -1;
    }
    if (!records.empty()) {
        records.back().stop = true;
    }
    return records;
}

bool kernel_trace::tells_of_loss(const std::string &line) {
    return line.starts_with("CPU:") && line.find("[LOST") != std::string::npos;
}

std::vector<transfer_record> kernel_trace::add(const std::string &line) {
    constexpr std::string_view group = ": i2c_";
    const std::size_t event = line.find(group);
    const std::size_t begin = line.find(": ", event + group.size());
    if (event == std::string::npos || begin == std::string::npos) {
        return {};
    }
    const std::string name = line.substr(event + group.size(), begin - event - group.size());
    const std::string words = line.substr(begin + 2);
    const auto adapter = number_after(words, "i2c-", decimal);
    if (!adapter || *adapter < 0 || *adapter > UINT8_MAX) {
        return {};
    }
    if (name == "write" || name == "read" || name == "reply") {
        if (name != "reply" && number_after(words, " #", decimal) == 0) {
            calls_.erase(*adapter); // the end of the one before is missing
        }
        call &made = calls_.try_emplace(*adapter, call{origin_in(line.substr(0, event))}).first->second;
        add_message(made, words, name == "reply");
        return {};
    }
    const auto count = number_after(words, " n=", decimal);
    const auto result = number_after(words, " ret=", decimal);
    if (name != "result" || !count || !result) {
        return {};
    }
    const auto made = calls_.extract(*adapter);
    const bool whole = !made.empty() && static_cast<long>(made.mapped().messages.size()) == *count;
    return whole ? transfers_of(static_cast<uint8_t>(*adapter), made.mapped(), static_cast<int>(*result))
                 : std::vector<transfer_record>{};
}

} // namespace varnel::sim::capture
