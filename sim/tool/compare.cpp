// SPDX-License-Identifier: Apache-2.0
// varnel-sim compare: a recording of a bus, and what the models answer to the same transfers.

#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/hex.h"
#include "host/line_output.h"
#include "sim/board/board.h"
#include "sim/board/virtual_clock.h"
#include "sim/tool/board_access.h"
#include "sim/tool/options.h"
#include "sim/tool/recording.h"

namespace varnel::sim::tool {

namespace {

/// The data of a transfer; of one that failed before its only byte, that. Nothing when it was not recorded.
std::optional<std::vector<uint8_t>> data_of(const transfer_record &record) {
    const traced_data &written = record.written;
    if (written.bytes.size() == written.length) {
        return written.bytes;
    }
    if (record.selected && written.length == 1) {
        return std::vector{record.selected->code};
    }
    return std::nullopt;
}

/// Replies to transfers of one register.
struct register_replies {
    std::size_t all = 0;
    std::size_t different = 0;
    std::string first = {}; ///< of the different ones
};

std::string reply_of(const transfer_record &record) {
    if (record.error != 0) {
        return std::string("failed with ") + strerrorname_np(record.error);
    }
    return record.kind == operation::write ? "acknowledged" : host::hex(std::span(record.read.bytes), " ");
}

/// Adapters differ in their errno for the same failure.
bool same_reply(const transfer_record &one, const transfer_record &other) {
    const bool failed = one.error != 0;
    return failed == (other.error != 0) && (failed || one.read.bytes == other.read.bytes);
}

std::string place_of(const transfer_record &made) {
    std::string text;
    for (const traced_chip &chip : made.chips) {
        text += (text.empty() ? "" : ",") + chip.name;
    }
    text = fmt::format("{}@0x{:02x}", text.empty() ? "?" : text, made.address);
    if (made.selected) {
        const auto &[code, name] = *made.selected;
        text += name.empty() ? fmt::format(" 0x{:02X}", code) : fmt::format(" {}(0x{:02X})", name, code);
    }
    return text;
}

/// A board that is given the recorded transfers.
class comparison {
  public:
    explicit comparison(const board_description &description) : board_(description, clock_) {}

    /// A transfer, or several with one STOP at the end.
    void add(std::span<const transfer_record> parts) {
        std::vector<std::vector<uint8_t>> data;
        for (const transfer_record &part : parts) {
            const auto recorded = data_of(part);
            if (!recorded) {
                left_out_ += parts.size();
                return;
            }
            data.push_back(*recorded);
        }
        std::vector<transfer_request> requests;
        for (std::size_t i = 0; i < parts.size(); ++i) {
            const bool counted = parts[i].read.bytes.size() > parts[i].read.length;
            requests.push_back(
                {parts[i].kind, parts[i].bus, parts[i].address, data[i], parts[i].read.length, counted});
        }
        begin_ = begin_.value_or(parts.front().time);
        clock_.advance(parts.front().time - *begin_);
        board_.settle();
        const std::vector<transfer_outcome> outcomes = board_.transfer(requests);
        for (std::size_t i = 0; i < outcomes.size(); ++i) {
            compare(parts[i], record_of({parts[i].time, "", 0}, requests[i], outcomes[i]));
        }
    }

    /// Returns whether all replies were the same.
    bool print(host::line_output &out) const {
        std::size_t all = 0;
        std::size_t different = 0;
        for (const auto &[place, replies] : registers_) {
            all += replies.all;
            different += replies.different;
            if (replies.different != 0) {
                out.print(fmt::format("{}: {} of {} replies differ, first at {}", place, replies.different,
                                      replies.all, replies.first));
            }
        }
        const std::string left_out = left_out_ == 0 ? "" : fmt::format(", {} not recorded whole", left_out_);
        out.print(fmt::format("{} replies compared, {} differ{}", all, different, left_out));
        return different == 0;
    }

  private:
    void compare(const transfer_record &recorded, const transfer_record &made) {
        register_replies &replies = registers_[place_of(made)];
        ++replies.all;
        if (!same_reply(recorded, made) && replies.different++ == 0) {
            replies.first =
                fmt::format("{:.6f}: recorded {}, model {}", static_cast<double>(recorded.time.count()) / 1e6,
                            reply_of(recorded), reply_of(made));
        }
    }

    virtual_clock clock_;
    board board_;
    std::optional<std::chrono::microseconds> begin_ = std::nullopt;
    std::map<std::string, register_replies> registers_ = {};
    std::size_t left_out_ = 0;
};

board_description description_in(const std::string &file) {
    std::ifstream text(file);
    if (!text) {
        throw bad_usage(fmt::format("{}: cannot be read", file));
    }
    return read_description(text, file);
}

/// Returns the status to exit with.
int compare(const invocation &call, const std::string &recording) {
    const std::vector<transfer_record> records = read_recording(recording).transfers;
    comparison compared(description_in(find_board_file(call.board)));
    for (auto first = records.begin(); first != records.end();) {
        const auto last = std::ranges::find_if(first, records.end(), [&](const transfer_record &each) {
            return each.stop || each.bus != first->bus;
        });
        const auto next = last == records.end() || last->bus != first->bus ? last : last + 1;
        compared.add(std::span(first, next));
        first = next;
    }
    host::line_output out("-");
    return compared.print(out) ? success : failure;
}

} // namespace

void add_compare(argument_parser app, invocation &call) {
    auto recording = std::make_shared<std::string>();
    const argument_parser command =
        add_command(app, "compare", "Show which replies of a recording the models give otherwise", call,
                    [&call, recording] { call.status = compare(call, *recording); });
    command
        .add_option("FILE", *recording,
                    "what trace --json printed, or the i2c events of a kernel; - for standard input")
        .required();
}

} // namespace varnel::sim::tool
