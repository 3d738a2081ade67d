// SPDX-License-Identifier: Apache-2.0
// varnel-sim run: a program on a board, which is powered on for it if need be.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include "host/foreground_program.h"
#include "host/line_output.h"
#include "host/standard_streams.h"
#include "sim/device_files/supervised_program.h"
#include "sim/tool/board_access.h"
#include "sim/tool/options.h"
#include "sim/tool/own_library.h"
#include "sim/tool/recording.h"
#include "sim/tool/run.h"
#include "sim/tool/start.h"
#include "sim/tool/trace.h"

namespace varnel::sim::tool {

using json = nlohmann::ordered_json;

namespace {

/// Answers the programs' I2C primitives.
constexpr const char *primitives_library = "libvarnel_sim.so";

/// Puts a word before those in a variable that ':' separates.
void prepend(const char *variable, const std::string &word) {
    const char *const others = std::getenv(variable);
    const bool alone = others == nullptr || *others == '\0';
    setenv(variable, (alone ? word : fmt::format("{}:{}", word, others)).c_str(), 1);
}

void preload(const std::string &library) {
    if (library.find_first_of(" :") != std::string::npos) {
        throw std::runtime_error(library + ": LD_PRELOAD cannot name a file with spaces or colons");
    }
    prepend("LD_PRELOAD", library);
    // AddressSanitizer's shared runtime ends programs that load another library before it, in case that one
    // defines functions of the C library. Ours does not. Of two settings of an option the later one counts.
    prepend("ASAN_OPTIONS", "verify_asan_link_order=0");
}

/// Something that a board sends while a program runs.
class companion {
  public:
    /// `what` it is called in messages. The board sends it from the command `begin` to the reply to `end`.
    companion(const meeting_point &where, const char *what, const json &begin, json end)
        : board_(where.connect()), what_(what), end_(std::move(end)) {
        board_.request(begin);
    }
    virtual ~companion() = default;
    companion(const companion &) = delete;
    companion &operator=(const companion &) = delete;

    [[nodiscard]] int waits_for() { return open_ ? board_.link().get() : -1; }

    void take_next() {
        try {
            const auto message = board_.link().receive_control();
            open_ = message && take(*message);
        } catch (const std::exception &problem) {
            open_ = false;
            say(fmt::format("varnel-sim: {}: {}", what_, problem.what()));
        }
    }

    void finish() {
        if (open_) {
            board_.link().send(end_);
        }
        while (open_) {
            take_next();
        }
    }

  private:
    /// Returns false after the last message.
    virtual bool take(const json &message) = 0;

    board_access board_;
    const char *what_;
    json end_;
    bool open_ = true;
};

/// Writes the transfers. A reader that goes away, or a full disk, ends the trace only.
class accompanying_trace : public companion {
  public:
    accompanying_trace(const meeting_point &where, std::unique_ptr<trace_encoder> encoder,
                       std::vector<line_output> outputs)
        : companion(where, "trace", {{"command", "trace"}, {"last", nullptr}, {"follow", true}},
                    {{"command", "end-trace"}}),
          printer_(std::move(encoder), std::move(outputs)) {}

  private:
    bool take(const json &message) override { return printer_.print_message(message); }

    trace_printer printer_;
};

/// Says where programs leave the recording, or how much of it they have not made.
class replay_watch : public companion {
  public:
    replay_watch(const meeting_point &where, std::string recording)
        : companion(where, "replay", {{"command", "watch-replay"}}, {{"command", "end-replay"}}),
          recording_(std::move(recording)) {}

    [[nodiscard]] bool departed() const { return departed_; }

  private:
    bool take(const json &message) override {
        if (message.contains("departed")) {
            departed_ = true;
            say(fmt::format("varnel-sim: {}", message["departed"].get<std::string>()));
            return true;
        }
        if (!departed_ && message.at("made") != message.at("recorded")) {
            say(fmt::format("varnel-sim: {}: {} of {} recorded transfers were made", recording_,
                            message["made"].dump(), message["recorded"].dump()));
        }
        return false;
    }

    std::string recording_;
    bool departed_ = false;
};

/// What is to be watched while a program runs.
struct companions {
    std::unique_ptr<accompanying_trace> trace;
    std::unique_ptr<replay_watch> replay;

    [[nodiscard]] std::vector<companion *> all() const {
        std::vector<companion *> found{trace.get(), replay.get()};
        std::erase(found, nullptr);
        return found;
    }
};

void take_until(int ending, const std::vector<companion *> &all) {
    std::vector<pollfd> watched{{ending, POLLIN, 0}};
    watched.resize(1 + all.size(), {-1, POLLIN, 0});
    while (watched[0].revents == 0) {
        for (std::size_t i = 0; i < all.size(); ++i) {
            watched[i + 1].fd = all[i]->waits_for();
        }
        if (poll(watched.data(), watched.size(), -1) <= 0) {
            continue;
        }
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (watched[i + 1].revents != 0) {
                all[i]->take_next();
            }
        }
    }
    for (companion *const each : all) {
        each->finish();
    }
}

/// Leaves a board after its program, and returns the exit status: the program's, but without a board there is
/// no success.
int leave(board_access &board, const std::string &file, int status) {
    try {
        board.request({{"command", "leave"}});
        return status;
    } catch (const board_ended &) {
        say(fmt::format("varnel-sim: {}: the board's server ended before the program did", file));
    } catch (const std::exception &problem) {
        say(fmt::format("varnel-sim: {}", problem.what()));
    }
    return status != success ? status : failure;
}

struct run_options {
    std::vector<std::string> trace_files;
    bool pcap = false;
    bool json = false;  ///< in the trace files
    std::string replay; ///< the file of a recording, or empty
    bool private_board = false;
    bool host_devices = false;
    bool verbose = false;
    bool virtual_time = false;
    std::optional<uint64_t> seed;
};

/// The board file of the `run` that started this one; empty if there is none.
std::string outer_board() {
    const char *const file = std::getenv(board_variable);
    return file == nullptr ? "" : file;
}

/// The environment of programs on the board.
void set_environment(const meeting_point &where, const std::string &file, const std::string &library) {
    preload(library);
    setenv(board_variable, file.c_str(), 1);
    setenv(socket_variable, where.socket_path().c_str(), 1);
}

/// Runs the program to its end. Returns its exit status.
template <class Program>
int finish(Program &&program, const companions &watched) {
    if (const std::vector<companion *> all = watched.all(); !all.empty()) {
        take_until(program.ending(), all);
    }
    const int status = program.wait();
    const bool departed = watched.replay != nullptr && watched.replay->departed();
    return departed && status == success ? failure : status;
}

joined_board join_shared_board(const std::string &file, const time_options &time) {
    meeting_point where = place_of(file);
    board_access board = join_board(where, file, time);
    return {std::move(where), std::move(board)};
}

/// Up to where transfers are missing: what programs did then is not known.
std::vector<transfer_record> beginning_of(const std::string &file) {
    recording all = read_recording(file);
    if (all.hole) {
        say(fmt::format("varnel-sim: {}:{}: transfers are lost here: only the {} before are replayed", file,
                        all.hole->line, all.hole->transfers));
        all.transfers.resize(all.hole->transfers);
    }
    return std::move(all.transfers);
}

joined_board join(const std::string &file, const run_options &options, const time_options &time) {
    if (!options.replay.empty()) {
        return start_replay(file, options.replay, beginning_of(options.replay), time);
    }
    return options.private_board ? start_private_board(file, time) : join_shared_board(file, time);
}

/// The file that describes the board of programs, or that has recorded it.
std::string file_of(const invocation &call, const run_options &options) {
    if (options.replay.empty()) {
        return find_board_file(call.board);
    }
    if (!call.board.empty()) {
        throw bad_usage("--replay: the recording answers in place of a board, so --board is not for it");
    }
    return find_board_file(options.replay);
}

/// How messages call the board.
std::string name_of(const std::string &file, const run_options &options) {
    return !options.replay.empty() ? fmt::format("the recording {}", file)
           : options.private_board ? fmt::format("a private board of {}", file)
                                   : file;
}

companions watch(const meeting_point &where, const run_options &options, std::vector<line_output> outputs) {
    companions watched;
    if (!outputs.empty()) {
        auto encoder = options.json   ? make_json_encoder()
                       : options.pcap ? make_pcap_encoder()
                                      : make_text_encoder();
        watched.trace = std::make_unique<accompanying_trace>(where, std::move(encoder), std::move(outputs));
    }
    if (!options.replay.empty()) {
        watched.replay = std::make_unique<replay_watch>(where, options.replay);
    }
    return watched;
}

/// The device files of a board that introduces itself.
std::vector<device_files::device_node> nodes_of(const json &introduction) {
    using device_files::node_kind;
    std::vector<device_files::device_node> nodes;
    for (const unsigned int bus : introduction.at("buses")) {
        nodes.push_back({node_kind::bus, bus});
    }
    for (unsigned int chip = 0; chip < introduction.at("gpiochips"); ++chip) {
        nodes.push_back({node_kind::gpiochip, chip});
    }
    return nodes;
}

/// Throws bad_usage when virtual time cannot be had in this way.
time_options time_of(const run_options &options, const std::string &file) {
    const bool is_virtual = options.virtual_time;
    if (options.seed && !is_virtual) {
        throw bad_usage("--seed: only with --time virtual");
    }
    if (is_virtual && !options.host_devices) {
        check_virtual_time(false);
    }
    return {is_virtual, options.seed,
            !options.private_board && options.replay.empty() && outer_board() == file};
}

int run(const invocation &call, const run_options &options) {
    if (call.program.empty()) {
        throw bad_usage("missing argument: -- PROGRAM ARGS...");
    }
    std::vector<line_output> outputs(options.trace_files.begin(), options.trace_files.end());
    const std::string file = file_of(call, options);
    const std::string library = own_library(primitives_library);
    const time_options time = time_of(options, file);
    auto [where, board] = join(file, options, time);
    const companions watched = watch(where, options, std::move(outputs));
    const json introduction = board.request({{"command", "run"}});
    const device_files::board_files files{where, introduction.at("board"), nodes_of(introduction)};
    const device_files::service how{files, name_of(file, options), outer_board(), options.verbose,
                                    time.is_virtual};
    set_environment(where, file, library);
    if (options.host_devices && options.verbose) {
        say("varnel-sim: /dev/i2c-* and /dev/gpiochip* are this machine's: --host-devices");
    }
    const int status = options.host_devices
                           ? finish(foreground_program(call.program), watched)
                           : finish(device_files::supervised_program(call.program, how), watched);
    return leave(board, file, status);
}

} // namespace

void become_run(const std::string &board_file, const std::vector<std::string> &words,
                const time_options &time) {
    invocation call;
    call.board = board_file;
    call.program = words;
    run_options options;
    options.virtual_time = time.is_virtual;
    options.seed = time.seed;
    const int status = run_guarded("varnel-sim", [&] { return run(call, options); });
    std::fflush(nullptr);
    _exit(status);
}

int run_recorded(const invocation &call, const std::string &file, bool virtual_time) {
    run_options options;
    options.trace_files = {file};
    options.json = true;
    options.virtual_time = virtual_time;
    return run(call, options);
}

void add_run(argument_parser app, invocation &call) {
    auto options = std::make_shared<run_options>();
    const argument_parser command = add_command(app, "run", "Run a program on a board", call,
                                                [&call, options] { call.status = run(call, *options); });
    const argument trace = command.add_option(
        "--trace", options->trace_files, "print the board's transfers to a file, or - for standard output");
    trace.type_name("FILE").one_value_each_time();
    command.add_flag("--pcap", options->pcap, "with --trace: as packets for Wireshark").needs(trace);
    command
        .add_option("--replay", options->replay,
                    "a recording answers in place of a board; say where the program leaves it")
        .type_name("FILE");
    command.add_flag("--private", options->private_board,
                     "a board of this program's own, also while others run on the same file");
    command.add_flag("--host-devices", options->host_devices,
                     "leave /dev and /sys to this machine: no /dev/i2c-N and /dev/gpiochipN of the board");
    add_time(command, options->virtual_time);
    add_number(command, "--seed", options->seed, UINT64_MAX,
               "in virtual time: another order of what happens at the same time");
    command.add_flag("--verbose", options->verbose,
                     "say in a line who serves /dev/i2c-N, /dev/gpiochipN and the I2C primitives");
    command.add_description("PROGRAM", "after --, with its arguments").option_text("...");
}

} // namespace varnel::sim::tool
