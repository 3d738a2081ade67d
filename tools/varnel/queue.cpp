// SPDX-License-Identifier: Apache-2.0
// varnel queue: records in named pipes.

#include <csignal>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/held_signals.h"
#include "host/hex.h"
#include "host/options.h"
#include "tools/varnel/json_text.h"
#include "tools/varnel/record_pipe.h"
#include "tools/varnel/report.h"
#include "tools/varnel/text_input.h"
#include "tools/varnel/verb.h"

namespace varnel::tools {

namespace {

struct queue_arguments {
    std::string pipe;
    std::string header;
    bool hex = false;
    bool no_wait = false;
    std::vector<std::string> words;
    std::optional<uint64_t> count;
    bool follow = false;
    bool raw = false;
    std::optional<std::chrono::milliseconds> time_out;
};

std::string text_as_hex(std::string_view bytes) {
    return hex({reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()});
}

std::string text_from_hex(std::string_view text, const char *what) {
    const auto bytes = bytes_from_hex(text);
    if (!bytes) {
        throw bad_usage(fmt::format("{}: '{}' is not hexadecimal, two digits a byte", what, text));
    }
    return {bytes->begin(), bytes->end()};
}

// --- post ---

void post(const queue_arguments &given) {
    const std::string header = text_from_hex(given.header, "--header");
    check_pipe(given.pipe);
    std::signal(SIGPIPE, SIG_IGN);   // a reader that leaves is an error to report
    std::optional<record_pipe> pipe; // opened when there is something to post, and right
    each_text(given.words, [&](const std::string &text) {
        const queue_record record(header, given.hex ? text_from_hex(text, "TEXT") : text);
        if (!pipe) {
            pipe.emplace(given.pipe,
                         given.no_wait ? record_pipe::use::post_without_waiting : record_pipe::use::post);
        }
        pipe->post(record);
    });
}

// --- read ---

/// A payload in one line: what is not printable as \xNN.
std::string escaped(const std::string &payload) {
    std::string text;
    for (const char byte : payload) {
        const auto value = static_cast<uint8_t>(byte);
        if (byte == '\\') {
            text += "\\\\";
        } else if (value < 0x20 || value == 0x7F) {
            text += fmt::format("\\x{:02x}", value);
        } else {
            text += byte;
        }
    }
    return text;
}

std::string shown(const queue_record &record, const queue_arguments &given, const invocation &call) {
    if (given.raw) {
        return {record.bytes().begin(), record.bytes().end()};
    }
    if (given.hex) {
        return fmt::format("{} {}\n", text_as_hex(record.header()), text_as_hex(record.payload()));
    }
    if (call.json) {
        return json_line({{"header", text_as_hex(record.header())},
                          {"length", record.payload().size()},
                          {"payload", text_as_hex(record.payload())},
                          {"text", record.payload()}});
    }
    return escaped(record.payload()) + '\n';
}

/// Receives records; returns the bytes that still wait.
std::size_t read_records(const queue_arguments &given, const invocation &call) {
    const record_pipe pipe(given.pipe, record_pipe::use::read);
    const uint64_t count = given.count.value_or(1);
    for (uint64_t i = 0; given.follow || i < count; ++i) {
        const auto record = pipe.next(given.no_wait ? std::chrono::milliseconds(0) : given.time_out);
        if (!record) {
            throw failed(fmt::format("{}: no record{}", given.pipe, i == 0 ? "" : " more"));
        }
        const held_signals until_removed;
        print(shown(*record, given, call)); // when that fails, the record is still there
        pipe.remove(*record);
    }
    return pipe.waiting();
}

void read(const invocation &call, const queue_arguments &given) {
    const std::size_t rest = read_records(given, call);
    if (rest > 0 && !has_reader(given.pipe)) { // now that we have closed it
        say(fmt::format("varnel: {}: {} bytes left without a reader", given.pipe, rest));
    }
}

// --- count ---

void count(const invocation &call, const queue_arguments &given) {
    const queue_content content = count_queue(given.pipe);
    report lines;
    lines.add("records", fmt::to_string(content.records), "records", content.records);
    lines.add("bytes", fmt::to_string(content.bytes), "bytes", content.bytes);
    print(lines.text(call));
}

void add_pipe(const added_verb<queue_arguments> &verb) {
    verb.parser.add_option("FIFO", verb.given.pipe, "the queue: a named pipe").required();
}

void add_post(verbs<queue_arguments> &queue) {
    const auto posting = queue.add("post", "Post a record, or one for each line of standard input", post);
    add_pipe(posting);
    posting.parser.add_option("TEXT", posting.given.words,
                              "the payload; without one, lines of standard input");
    posting.parser
        .add_option("--header", posting.given.header,
                    "first bytes of the header, in hexadecimal; zeros follow")
        .type_name("HEX");
    posting.parser.add_flag("--hex", posting.given.hex, "TEXT is hexadecimal");
    posting.parser.add_flag("--no-wait", posting.given.no_wait,
                            "fail when no process reads, another one posts, or the queue is full");
}

void add_read(verbs<queue_arguments> &queue, invocation &call) {
    const auto reading = queue.add("read", "Print the payloads of records, one a line", read);
    reading.parser.add_note(
        "Each record is removed after it has been printed. With --timeout or --no-wait a record that "
        "is not complete in time\nstays in the queue, and the exit status is 1.");
    add_pipe(reading);
    const argument follow =
        reading.parser.add_flag("--follow", reading.given.follow, "go on until interrupted");
    add_number(reading.parser, "--count", reading.given.count, UINT32_MAX, "records to receive (default 1)")
        .excludes(follow);
    const argument no_wait =
        reading.parser.add_flag("--no-wait", reading.given.no_wait, "fail when there is no complete record");
    add_duration(reading.parser, "--timeout", reading.given.time_out,
                 "fail when there is no complete record within this time")
        .excludes(no_wait);
    const argument hex =
        reading.parser.add_flag("--hex", reading.given.hex, "print header and payload in hexadecimal");
    reading.parser.add_flag("--raw", reading.given.raw, "print records as they are in the pipe")
        .excludes(hex);
    add_json(reading.parser, call);
}

} // namespace

void add_queue(argument_parser app, invocation &call) {
    verbs<queue_arguments> queue(app, call, "queue", "Record queues on named pipes");
    add_post(queue);
    add_read(queue, call);
    const auto counting = queue.add("count", "Count the records that wait, and leave them there", count);
    add_pipe(counting);
    add_json(counting.parser, call);
}

} // namespace varnel::tools
