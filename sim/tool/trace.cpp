// SPDX-License-Identifier: Apache-2.0
// varnel-sim trace: what happens on the buses, as it happens.

#include "sim/tool/trace.h"

#include <array>
#include <cerrno>
#include <memory>
#include <system_error>
#include <utility>

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include "sim/board/trace.h"
#include "sim/protocol/board_json.h"
#include "sim/tool/options.h"

namespace varnel::sim::tool {

using json = nlohmann::ordered_json;

bool trace_printer::print_message(const json &message) {
    if (message.contains("transfer")) {
        const json &record = message["transfer"];
        print(format_ == trace_format::json ? record.dump() : trace_line(record.get<transfer_record>()));
        ++transfers_;
    } else if (message.contains("lost")) {
        print(format_ == trace_format::json
                  ? message.dump()
                  : fmt::format("... {} transfers lost", message["lost"].get<uint64_t>()));
    }
    return !message.contains("end");
}

void trace_printer::print(const std::string &line) {
    for (line_output &output : outputs_) {
        output.print(line);
    }
}

namespace {

struct trace_options {
    bool json = false;
    bool follow = false;
    std::optional<uint64_t> last;
    std::optional<uint64_t> count;
};

/// Waits for news of the board. Throws std::system_error when the reader of standard output has left: with no
/// transfers to print, no write would tell.
void wait_for_news(int board) {
    std::array<pollfd, 2> watched{{{board, POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
    while (poll(watched.data(), watched.size(), -1) < 0 && errno == EINTR) {
    }
    if (watched[0].revents == 0) {
        throw std::system_error(EPIPE, std::generic_category(), "standard output");
    }
}

/// Returns whether there may be more. The board's end is the end of a trace that follows it; one of the
/// latest transfers would be incomplete.
bool print_next(board_access &board, trace_printer &printer, bool follow) {
    try {
        return printer.print_message(board.receive());
    } catch (const board_ended &) {
        if (!follow) {
            throw;
        }
        return false;
    }
}

void trace(const invocation &call, const trace_options &options) {
    board_access board = find_board(call.board);
    const bool follow = options.follow || !options.last;
    json request = {{"command", "trace"}, {"last", nullptr}, {"follow", follow}};
    if (options.last) {
        request["last"] = *options.last;
    }
    board.request(request);
    std::vector<line_output> outputs;
    outputs.emplace_back("-");
    trace_printer printer(options.json ? trace_format::json : trace_format::text, std::move(outputs));
    while (!options.count || printer.transfers() < *options.count) {
        wait_for_news(board.link().get());
        if (!print_next(board, printer, follow)) {
            return;
        }
    }
}

} // namespace

void add_trace(argument_parser app, invocation &call) {
    auto options = std::make_shared<trace_options>();
    const argument_parser command =
        add_command(app, "trace", "Print each transfer as one line, from now on until interrupted", call,
                    [&call, options] { trace(call, *options); });
    command.add_flag("--json", options->json, "one JSON object a line");
    add_number(command, "--last", options->last, UINT64_MAX, "print the N latest transfers, and end");
    add_number(command, "--count", options->count, UINT64_MAX, "end after N transfers");
    command.add_flag("--follow", options->follow, "with --last: go on with those to come");
}

} // namespace varnel::sim::tool
