// SPDX-License-Identifier: Apache-2.0
// varnel fetch: a file that another controller serves.

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

#include <fmt/format.h>
#include <poll.h>

#include "host/held_signals.h"
#include "host/options.h"
#include "tools/varnel/arriving_file.h"
#include "tools/varnel/host_address.h"
#include "tools/varnel/progress_bar.h"
#include "tools/varnel/reception.h"
#include "tools/varnel/verb.h"
#include "varnel/lan_transfer.h"

namespace varnel::tools {

namespace {

constexpr int pause_between_attempts = 50; // milliseconds

struct fetch_arguments {
    std::string host;
    std::string file;
    std::optional<std::chrono::milliseconds> wait;
};

/// A signal to end came; files that are not complete are removed on the way out.
struct interruption : std::exception {
    explicit interruption(int number) : signal(number) {}
    int signal;
};

void end_if_signalled(const held_signals &signals) {
    if (const int signal = signals.next_within(std::chrono::milliseconds(0)); signal != 0) {
        throw interruption(signal);
    }
}

std::string reason(const reception::ending &end) {
    switch (end.result) {
    case LAN_TRANSFER_NO_SOCKET:
    case LAN_TRANSFER_NO_REUSE:
    case LAN_TRANSFER_NO_LOCAL_PORT:
        return fmt::format("no socket: {}", std::strerror(end.error));
    case LAN_TRANSFER_NO_CONNECTION:
        return fmt::format("port {}: {}", static_cast<int>(LAN_TRANSFER_PORT), std::strerror(end.error));
    case LAN_TRANSFER_RECEIVE_FAILED:
        return fmt::format("receiving failed: {}", std::strerror(end.error));
    default:
        return "the transfer failed";
    }
}

/// One attempt. Returns how it ended; what arrived is in the file.
reception::ending receive(const fetch_arguments &given, const std::string &address, arriving_file &file,
                          const held_signals &signals) {
    reception transfer(file.pipe(), address);
    const auto announced = transfer.announced_size([&] { end_if_signalled(signals); });
    progress_bar bar;
    const meanwhile look = [&] {
        end_if_signalled(signals);
        bar.show(given.file, file.size(), announced.value_or(0));
    };
    const auto store_piece = [&](const char *bytes, std::size_t size) {
        file.write(bytes, size);
        look();
    };
    transfer.receive(store_piece, look);
    if (transfer.end().result == LAN_TRANSFER_RECEIVED && (!announced || file.size() != *announced)) {
        throw failed(announced ? fmt::format("{}: sent {} of {} bytes, and closed the connection", given.host,
                                             file.size(), *announced)
                               : fmt::format("{}: closed the connection", given.host));
    }
    return transfer.end();
}

void receive_file(const fetch_arguments &given, const std::string &address) {
    const held_signals signals;
    std::signal(SIGPIPE, SIG_IGN); // standard output may be a pipe that its reader closes
    arriving_file file(given.file);
    const auto last_attempt =
        std::chrono::steady_clock::now() + given.wait.value_or(std::chrono::milliseconds(0));
    reception::ending end = receive(given, address, file, signals);
    while (end.result == LAN_TRANSFER_NO_CONNECTION && std::chrono::steady_clock::now() < last_attempt) {
        poll(nullptr, 0, pause_between_attempts);
        end_if_signalled(signals);
        end = receive(given, address, file, signals);
    }
    if (end.result != LAN_TRANSFER_RECEIVED) {
        throw failed(fmt::format("{}: {}", given.host, reason(end)));
    }
    file.keep();
}

void fetch(const fetch_arguments &given) {
    try {
        receive_file(given, ipv4_address_of(given.host));
    } catch (const interruption &stop) {
        std::signal(stop.signal, SIG_DFL);
        std::raise(stop.signal); // our parent process sees what ended us
    }
}

} // namespace

void add_fetch(argument_parser app, invocation &call) {
    const auto fetching =
        verbs<fetch_arguments>(app, call).add("fetch", "Fetch the file that a sender serves", fetch);
    fetching.parser.add_note("Nothing is authenticated.");
    fetching.parser
        .add_option("HOST", fetching.given.host,
                    "name or IPv4 address of the sender; the transfer does not support IPv6")
        .required();
    fetching.parser
        .add_option("FILE", fetching.given.file, "replaced when all has arrived; - is standard output")
        .required();
    add_duration(fetching.parser, "--wait", fetching.given.wait,
                 "keep trying for this time while there is no sender");
}

} // namespace varnel::tools
