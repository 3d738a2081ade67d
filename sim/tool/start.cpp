// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/start.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <sstream>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "host/standard_streams.h"
#include "sim/board/board.h"
#include "sim/server/server.h"
#include "sim/tool/commands.h"

namespace varnel::sim::tool {

using json = nlohmann::ordered_json;

namespace {

/// Keeps nothing of the process that started the server, neither its terminal nor its pipes, nor what other
/// libraries have open.
void detach(int kept_descriptor) {
    setsid();
    std::signal(SIGHUP, SIG_IGN);
    const int nothing = open("/dev/null", O_RDWR);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(nothing, standard);
    }
    const auto kept = static_cast<unsigned int>(kept_descriptor);
    close_range(STDERR_FILENO + 1, kept - 1, 0);
    close_range(kept + 1, UINT_MAX, 0);
    if (chdir("/") != 0) {
        std::perror("/"); // standard error is /dev/null; the folder just stays busy
    }
}

[[noreturn]] void serve(server &created, int listener) {
    detach(listener);
    try {
        created.serve();
    } catch (const std::exception &) {
        _exit(1);
    }
    _exit(0);
}

/// What a new server serves.
struct served {
    board_description description;
    uint64_t hash; ///< of the file's text
    std::optional<replay> recording = std::nullopt;
};

/// Returns a connection to the new server: made before the server runs, so the server never sees zero clients.
descriptor power_on(const meeting_point &where, served what, const time_options &options) {
    const power_clock real;
    virtual_clock movable;
    const board_time time =
        options.is_virtual ? board_time{movable, &movable, options.seed.value_or(0)} : board_time{real};
    const std::string file = what.description.file;
    board powered(std::move(what.description), time.clock);
    descriptor listener = where.listen();
    const int listening = listener.get();
    descriptor socket = where.connect();
    server created(std::move(powered), time, file, what.hash, where, std::move(listener),
                   std::move(what.recording));
    std::fflush(nullptr);
    const pid_t process = fork();
    if (process < 0) {
        where.remove();
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (process == 0) {
        serve(created, listening);
    }
    return socket;
}

served board_in(const std::string &text, const std::string &file) {
    std::istringstream input(text);
    return {read_description(input, file), hash_of(text)};
}

/// Calls it with a new meeting point, which goes again if that fails.
joined_board start_privately(const std::function<board_access(const meeting_point &)> &start) {
    meeting_point where = meeting_point::of_new_private_board();
    try {
        board_access board = start(where);
        return {std::move(where), std::move(board)};
    } catch (...) {
        where.remove();
        throw;
    }
}

std::string text_of(const std::string &file) {
    try {
        return contents_of(file);
    } catch (const std::runtime_error &unreadable) {
        throw bad_usage(unreadable.what());
    }
}

/// A board's time is chosen when it is powered on.
void check_time(const json &introduction, const std::string &file, const time_options &wanted) {
    const bool is_virtual = introduction.at("virtual_time");
    if (is_virtual != wanted.is_virtual && !wanted.outer_decides) {
        throw bad_usage(is_virtual
                            ? fmt::format("{} is running in virtual time: add --time virtual", file)
                            : fmt::format("{} is running in real time: its time cannot be virtual", file));
    }
    if (wanted.seed && introduction.at("seed") != *wanted.seed) {
        throw bad_usage(fmt::format("{} is running with --seed {}", file, introduction.at("seed").dump()));
    }
}

} // namespace

board_access join_board(const meeting_point &where, const std::string &file, const time_options &time) {
    const std::string text = text_of(file);
    const descriptor lock = where.lock(true);
    descriptor running = where.connect();
    const bool joined = running.is_open();
    board_access board(joined ? std::move(running) : power_on(where, board_in(text, file), time));
    const json reply = board.request({{"command", "run"}});
    check_time(reply, file, time);
    if (joined && reply.at("hash") != hash_of(text)) {
        say(fmt::format("varnel-sim: {} has changed since this board was powered on; it stays as it was",
                        file));
    }
    return board;
}

joined_board start_private_board(const std::string &file, const time_options &time) {
    return start_privately([&](const meeting_point &where) { return join_board(where, file, time); });
}

joined_board start_replay(const std::string &file, const std::string &name,
                          std::vector<transfer_record> recording, const time_options &time) {
    const std::string stem = std::filesystem::path(file).stem();
    return start_privately([&](const meeting_point &where) {
        board_access board(power_on(
            where, {{file, stem, {}}, hash_of(text_of(file)), replay(name, std::move(recording))}, time));
        (void)board.request({{"command", "run"}});
        return board;
    });
}

} // namespace varnel::sim::tool
