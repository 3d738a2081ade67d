// SPDX-License-Identifier: Apache-2.0
// varnel-sim trace: what happens on the buses, as it happens.

#include "sim/tool/trace.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include <poll.h>

#include "host/held_signals.h"
#include "sim/tool/options.h"

namespace varnel::sim::tool {

using json = nlohmann::ordered_json;

bool trace_printer::print_message(const json &message) {
    if (message.contains("transfer")) {
        write(encoder_->transfer(message["transfer"]));
        ++transfers_;
    } else if (message.contains("lost")) {
        write(encoder_->lost(message["lost"]));
    }
    return !message.contains("end");
}

void trace_printer::write(const std::string &bytes) {
    for (line_output &output : outputs_) {
        output.write(bytes);
    }
}

namespace {

using steady_clock = std::chrono::steady_clock;

/// How often the board is looked at for what transfers do not tell.
constexpr auto sampling_period = std::chrono::milliseconds(50);

struct trace_options {
    bool json = false;
    bool follow = false;
    std::optional<std::string> pcap;
    std::optional<std::string> vcd;
    std::size_t speed = 0; ///< place in `speeds`
    std::optional<uint64_t> last;
    std::optional<uint64_t> count;

    [[nodiscard]] bool follows() const { return follow || !last; }
};

const std::vector<std::string> speeds{"100kHz", "400kHz"};

/// Prints the transfers that a board sends.
class trace_run {
  public:
    trace_run(board_access board, line_output file, std::unique_ptr<trace_encoder> encoder,
              const trace_options &options)
        : board_(std::move(board)), output_(file.descriptor()), options_(options),
          printer_(std::move(encoder), only(std::move(file))) {
        json request = {{"command", "trace"}, {"last", nullptr}, {"follow", options.follows()}};
        if (options.last) {
            request["last"] = *options.last;
        }
        board_.request(request);
    }

    void print_all() {
        while (wanted()) {
            (void)news_within(std::nullopt);
            if (!print_next()) {
                return;
            }
        }
    }

    /// With the board's state, which `control` asks for, until the user interrupts it.
    void print_all(board_access control) {
        const host::held_signals signals;
        auto next_sample = steady_clock::now();
        while (wanted() && signals.next_within(std::chrono::milliseconds(0)) == 0) {
            if (news_within(sampling_period) && !print_next()) {
                break;
            }
            if (options_.follows() && steady_clock::now() >= next_sample) {
                print_state(control);
                next_sample = steady_clock::now() + sampling_period;
            }
        }
        print_state(control);
        printer_.finish();
    }

    /// Until the user interrupts it, which is no failure.
    void print_until_signal() {
        const host::held_signals signals;
        while (signals.next_within(std::chrono::milliseconds(0)) == 0) {
            if (news_within(sampling_period) && !print_next()) {
                return;
            }
        }
    }

  private:
    static std::vector<line_output> only(line_output file) {
        std::vector<line_output> outputs;
        outputs.push_back(std::move(file));
        return outputs;
    }

    [[nodiscard]] bool wanted() const { return !options_.count || printer_.transfers() < *options_.count; }

    /// Returns whether there is news of the board in time. Throws std::system_error when the reader of the output has
    /// left: with no transfers to print, no write would tell.
    [[nodiscard]] bool news_within(std::optional<std::chrono::milliseconds> time) {
        std::array<pollfd, 2> watched{{{board_.link().get(), POLLIN, 0}, {output_, 0, 0}}};
        const int timeout = time ? static_cast<int>(time->count()) : -1;
        while (poll(watched.data(), watched.size(), timeout) < 0 && errno == EINTR) {
        }
        if (watched[0].revents == 0 && watched[1].revents != 0) {
            throw std::system_error(EPIPE, std::generic_category(), "the reader of the trace");
        }
        return watched[0].revents != 0;
    }

    /// Returns whether there may be more. The board's end is the end of a trace that follows it; one of the
    /// latest transfers would be incomplete.
    bool print_next() {
        try {
            return printer_.print_message(board_.receive());
        } catch (const board_ended &) {
            if (!options_.follows()) {
                throw;
            }
            return false;
        }
    }

    /// Nothing once the board has ended; print_next() tells.
    void print_state(board_access &control) {
        try {
            printer_.print_state(control.request({{"command", "show"}}).get<server_status>());
        } catch (const board_ended &) {
        }
    }

    board_access board_;
    int output_;
    trace_options options_;
    trace_printer printer_;
};

void trace_waves(const invocation &call, const trace_options &options) {
    board_access control = find_board(call.board);
    const auto status = control.request({{"command", "show"}}).get<server_status>();
    const auto &timing = options.speed == 0 ? capture::standard_mode : capture::fast_mode;
    trace_run(find_board(call.board), line_output(*options.vcd), make_vcd_encoder(timing, status.board),
              options)
        .print_all(std::move(control));
}

void trace(const invocation &call, const trace_options &options) {
    if (options.vcd) {
        return trace_waves(call, options);
    }
    board_access board = find_board(call.board);
    auto encoder = options.pcap   ? make_pcap_encoder()
                   : options.json ? make_json_encoder()
                                  : make_text_encoder();
    trace_run(std::move(board), line_output(options.pcap.value_or("-")), std::move(encoder), options)
        .print_all();
}

argument add_file(argument_parser command, const char *name, std::optional<std::string> &file,
                  const char *description) {
    return host::add_argument(
        command, name, file, [](const std::string &text) { return text; }, description, "FILE");
}

} // namespace

int record_board(const std::string &board, const std::string &file) {
    board_access running = find_board(board);
    trace_run(std::move(running), line_output(file), make_json_encoder(), {}).print_until_signal();
    return success;
}

void add_trace(argument_parser app, invocation &call) {
    auto options = std::make_shared<trace_options>();
    const argument_parser command =
        add_command(app, "trace", "Print each transfer as one line, from now on until interrupted", call,
                    [&call, options] { trace(call, *options); });
    const argument as_json = command.add_flag("--json", options->json, "one JSON object a line");
    const argument packets = add_file(command, "--pcap", options->pcap,
                                      "packets for Wireshark, to a file or - for standard output")
                                 .excludes(as_json);
    const argument waves = add_file(command, "--vcd", options->vcd,
                                    "wires for GTKWave and PulseView, likewise; with pins and readings")
                               .excludes(as_json)
                               .excludes(packets);
    add_choice(command, "--speed", options->speed, speeds, "with --vcd: the clock of the wires").needs(waves);
    add_number(command, "--last", options->last, UINT64_MAX, "print the N latest transfers, and end");
    add_number(command, "--count", options->count, UINT64_MAX, "end after N transfers");
    command.add_flag("--follow", options->follow, "with --last: go on with those to come");
}

} // namespace varnel::sim::tool
