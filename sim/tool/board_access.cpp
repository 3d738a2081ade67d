// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/board_access.h"

#include <cstdlib>
#include <stdexcept>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "sim/tool/commands.h"

namespace varnel::sim::tool {

using json = nlohmann::ordered_json;

board_access::board_access(descriptor socket) : link_(std::move(socket)) {
    if (link_.get() < 0) {
        throw board_ended();
    }
}

json board_access::receive() {
    auto message = link_.receive_control();
    if (!message) {
        throw board_ended();
    }
    return std::move(*message);
}

json board_access::request(const json &request) {
    link_.send(request);
    json reply = receive();
    if (reply.contains("error")) {
        throw bad_usage(reply.at("error").get<std::string>());
    }
    return reply;
}

namespace {

std::string variable(const char *name) {
    const char *const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

board_access require(const meeting_point &where, const std::string &board) {
    descriptor socket = where.connect();
    if (!socket.is_open()) {
        throw bad_usage(fmt::format(
            "board {0} is not running; start it with: varnel-sim run --board {0} -- PROGRAM", board));
    }
    return board_access(std::move(socket));
}

struct running_board {
    std::string file;
    board_access access;
};

std::vector<running_board> running_boards() {
    std::vector<running_board> running;
    for (const meeting_point &where : meeting_point::all()) {
        try {
            board_access board(where.connect());
            const json reply = board.request({{"command", "hello"}});
            running.push_back({reply.at("file"), std::move(board)});
        } catch (const board_ended &) {
            continue; // what its server has left behind
        }
    }
    return running;
}

running_board only_running_board() {
    auto running = running_boards();
    if (running.empty()) {
        throw bad_usage("no board is running, and none is named with --board FILE");
    }
    if (running.size() > 1) {
        std::vector<std::string> files;
        files.reserve(running.size());
        for (const running_board &board : running) {
            files.push_back(board.file);
        }
        throw bad_usage(
            fmt::format("several boards are running; choose one with --board: {}", fmt::join(files, " ")));
    }
    return std::move(running.front());
}

std::string existing(const std::string &file) {
    try {
        return canonical_name(file);
    } catch (const std::runtime_error &missing) {
        throw bad_usage(missing.what());
    }
}

} // namespace

meeting_point place_of(const std::string &file) {
    const std::string socket = variable(socket_variable);
    return socket.empty() || variable(board_variable) != file ? meeting_point::of_board(file)
                                                              : meeting_point::at_socket(socket);
}

board_access find_board(const std::string &board_option) {
    if (!board_option.empty()) {
        return require(place_of(existing(board_option)), board_option);
    }
    if (const std::string socket = variable(socket_variable); !socket.empty()) {
        return require(meeting_point::at_socket(socket), variable(board_variable));
    }
    if (const std::string file = variable(board_variable); !file.empty()) {
        return require(meeting_point::of_board(existing(file)), file);
    }
    return std::move(only_running_board().access);
}

std::string find_board_file(const std::string &board_option) {
    if (!board_option.empty()) {
        return existing(board_option);
    }
    if (const std::string file = variable(board_variable); !file.empty()) {
        return existing(file);
    }
    return only_running_board().file;
}

} // namespace varnel::sim::tool
