// SPDX-License-Identifier: Apache-2.0
// varnel-sim record: transfers into a file, from a board or from this machine's kernel, for compare and run --replay.

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include <fmt/format.h>
#include <poll.h>

#include "host/foreground_program.h"
#include "host/held_signals.h"
#include "host/line_output.h"
#include "host/standard_streams.h"
#include "sim/capture/kernel_trace.h"
#include "sim/tool/kernel_events.h"
#include "sim/tool/options.h"
#include "sim/tool/run.h"
#include "sim/tool/trace.h"

namespace varnel::sim::tool {

namespace {

/// How often the kernel's buffer is emptied.
constexpr auto reading_period = std::chrono::milliseconds(50);

struct record_options {
    std::string file;
    bool kernel = false;
    bool virtual_time = false;
    std::optional<std::string> tracefs;
};

/// Events of the kernel, as they come, in a file.
class kernel_recording {
  public:
    explicit kernel_recording(const record_options &options)
        : events_(options.tracefs), name_(options.file), file_(options.file) {}

    void write() {
        const std::string text = events_.read();
        file_.write(text);
        count(text);
    }

    /// Returns whether all events are in the file, and says so if not.
    bool finish() {
        events_.stop();
        write();
        if (transfers_ == 0) {
            say(fmt::format("varnel-sim: {}: no transfers; SMBus calls of adapters without plain I2C "
                            "transfers are not recorded",
                            name_));
        }
        if (losses_ != 0) {
            say(fmt::format("varnel-sim: {}: the kernel has lost events in {} places", name_, losses_));
        }
        return losses_ == 0;
    }

  private:
    void count(const std::string &text) {
        unfinished_ += text;
        std::size_t begin = 0;
        for (std::size_t end = 0; (end = unfinished_.find('\n', begin)) != std::string::npos;
             begin = end + 1) {
            const std::string line = unfinished_.substr(begin, end - begin);
            losses_ += capture::kernel_trace::tells_of_loss(line) ? 1 : 0;
            transfers_ += reader_.add(line).size();
        }
        unfinished_.erase(0, begin);
    }

    kernel_events events_;
    std::string name_;
    host::line_output file_;
    std::string unfinished_ = {}; ///< line
    capture::kernel_trace reader_ = {};
    std::size_t transfers_ = 0;
    std::size_t losses_ = 0;
};

int record_until_signal(const record_options &options) {
    const held_signals signals;
    kernel_recording recording(options);
    while (signals.next_within(reading_period) == 0) {
        recording.write();
    }
    return recording.finish() ? success : failure;
}

int record_program(const invocation &call, const record_options &options) {
    kernel_recording recording(options);
    foreground_program program(call.program);
    pollfd ending{program.ending(), POLLIN, 0};
    while (poll(&ending, 1, static_cast<int>(reading_period.count())) <= 0) {
        recording.write();
    }
    const int status = program.wait();
    return recording.finish() || status != success ? status : failure;
}

int record(const invocation &call, const record_options &options) {
    if (options.kernel && !call.board.empty()) {
        throw bad_usage("--kernel: this machine's buses are no board, so --board is not for it");
    }
    if (options.tracefs && !options.kernel) {
        throw bad_usage("--tracefs: only with --kernel");
    }
    if (options.virtual_time && (options.kernel || call.program.empty())) {
        throw bad_usage("--time virtual: only for a program on a board");
    }
    if (options.kernel) {
        return call.program.empty() ? record_until_signal(options) : record_program(call, options);
    }
    return call.program.empty() ? record_board(call.board, options.file)
                                : run_recorded(call, options.file, options.virtual_time);
}

} // namespace

void add_record(argument_parser app, invocation &call) {
    auto options = std::make_shared<record_options>();
    const argument_parser command =
        add_command(app, "record", "Record transfers in a file, for compare and run --replay", call,
                    [&call, options] { call.status = record(call, *options); });
    command.add_option("FILE", options->file, "to be written; - for standard output").required();
    command.add_flag("--kernel", options->kernel,
                     "the I2C transfers of this machine's kernel, in place of a board's; takes root");
    host::add_argument(
        command, "--tracefs", options->tracefs, [](const std::string &text) { return text; },
        "with --kernel: where tracefs is mounted (default: /sys/kernel/tracing)", "FOLDER");
    add_time(command, options->virtual_time);
    command.add_description("PROGRAM", "after --, with its arguments: until it ends, else until interrupted")
        .option_text("...");
}

} // namespace varnel::sim::tool
