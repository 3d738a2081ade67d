// SPDX-License-Identifier: Apache-2.0
// Any file, sent to clients that send data, disconnect early or read to the end, while calls fail. Each client
// must get the size and the file until it disconnects, and only what the header documents may stay open.

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

#include <fuzzer/FuzzedDataProvider.h>

#include "require.h"
#include "support/interposed.h"
#include "support/memory_file.h"
#include "varnel/lan_transfer.h"

namespace {

using varnel::test::interposed;
using varnel::test::memory_file;
using varnel::test::require;

constexpr std::size_t most_clients = 4;
constexpr std::size_t never = SIZE_MAX;

enum class step { none, socket, setsockopt, bind, fopen, listen, accept };

struct client {
    std::string says;          ///< sent before it reads
    std::size_t stays = never; ///< disconnects after this many bytes
    std::size_t cut = never;   ///< index of the send that is cut short, as by a signal
    int own_end = -1;
    int server_end = -1;
    std::size_t sends = 0;
    std::string got;
};

/// What a server's calls do, and what it has open.
struct server {
    step fails = step::none;
    std::size_t good_calls = 0; ///< of listen() or accept() before the one that fails
    std::vector<client> clients;
    std::size_t next = 0;
    int listener = -1;
    std::FILE *file = nullptr;
    bool standard_input_open = true;
    unsigned int slept = 0;
};

thread_local server *under_test = nullptr; // in the serving thread

bool fails(step at) {
    const bool repeated = at == step::listen || at == step::accept;
    if (under_test->fails == at && (!repeated || under_test->next >= under_test->good_calls)) {
        errno = EMFILE;
        return true;
    }
    return false;
}

interposed<int(int, int, int)> socket_call("socket");
interposed<int(int, int, int, const void *, socklen_t)> setsockopt_call("setsockopt");
interposed<int(int, const sockaddr *, socklen_t)> bind_call("bind");
interposed<int(int, int)> listen_call("listen");
interposed<int(int, sockaddr *, socklen_t *)> accept_call("accept");
interposed<ssize_t(int, const void *, std::size_t, int)> send_call("send");
interposed<std::FILE *(const char *, const char *)> fopen_call("fopen");
interposed<int(std::FILE *)> fclose_call("fclose");
interposed<int(int)> close_call("close");
interposed<unsigned int(unsigned int)> sleep_call("sleep");

// --- Clients ---

void connect_client(client &who) {
    std::array<int, 2> ends{};
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == 0, "socketpair");
    who.own_end = ends[0];
    who.server_end = ends[1];
    (void)send_call.real(who.own_end, who.says.data(), who.says.size(), MSG_DONTWAIT);
}

/// Reads what has arrived; disconnects after client::stays bytes.
void read_on(client &who) {
    static std::array<char, LAN_TRANSFER_CHUNK> bytes;
    while (who.own_end >= 0) {
        if (who.got.size() == who.stays) {
            close_call.real(std::exchange(who.own_end, -1));
            return;
        }
        const std::size_t most = std::min(bytes.size(), who.stays - who.got.size());
        const ssize_t n = recv(who.own_end, bytes.data(), most, MSG_DONTWAIT);
        if (n <= 0) {
            return;
        }
        who.got.append(bytes.data(), static_cast<std::size_t>(n));
    }
}

/// Sends while the client reads.
ssize_t send_while_read(client &who, const char *bytes, std::size_t size) {
    std::size_t sent = 0;
    while (sent < size) {
        read_on(who);
        const ssize_t n =
            send_call.real(who.server_end, bytes + sent, size - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n < 0 && errno != EAGAIN) {
            return sent > 0 ? static_cast<ssize_t>(sent) : -1;
        }
        sent += n > 0 ? static_cast<std::size_t>(n) : 0;
    }
    return static_cast<ssize_t>(sent);
}

} // namespace

extern "C" {
int socket(int family, int type, int protocol) noexcept {
    if (under_test == nullptr) {
        return socket_call(family, type, protocol);
    }
    return under_test->listener = fails(step::socket) ? -1 : socket_call(AF_UNIX, SOCK_STREAM, 0);
}
int setsockopt(int fd, int level, int option, const void *value, socklen_t size) noexcept {
    return under_test == nullptr ? setsockopt_call(fd, level, option, value, size)
                                 : -static_cast<int>(fails(step::setsockopt));
}
int bind(int fd, const sockaddr *address, socklen_t size) noexcept {
    return under_test == nullptr ? bind_call(fd, address, size) : -static_cast<int>(fails(step::bind));
}
int listen(int fd, int backlog) noexcept {
    return under_test == nullptr ? listen_call(fd, backlog) : -static_cast<int>(fails(step::listen));
}
int accept(int fd, sockaddr *address, socklen_t *size) {
    if (under_test == nullptr) {
        return accept_call(fd, address, size);
    }
    if (fails(step::accept)) {
        return -1;
    }
    client &who = under_test->clients[under_test->next++];
    connect_client(who);
    return who.server_end;
}
ssize_t send(int fd, const void *bytes, std::size_t size, int flags) {
    if (under_test == nullptr) {
        return send_call(fd, bytes, size, flags);
    }
    client &who = under_test->clients[under_test->next - 1];
    require(fd == who.server_end && size <= LAN_TRANSFER_CHUNK && flags == 0, "a send");
    const bool cut = who.sends++ == who.cut;
    return send_while_read(who, static_cast<const char *>(bytes), cut ? size / 2 : size);
}
std::FILE *fopen(const char *path, const char *mode) {
    if (under_test == nullptr) {
        return fopen_call(path, mode);
    }
    return under_test->file = fails(step::fopen) ? nullptr : fopen_call(path, mode);
}
int fclose(std::FILE *file) {
    if (under_test != nullptr && file == under_test->file) {
        under_test->file = nullptr;
    }
    return fclose_call(file);
}
int close(int fd) {
    if (under_test == nullptr) {
        return close_call(fd);
    }
    if (fd == STDIN_FILENO) { // the fuzzer keeps its standard input
        under_test->standard_input_open = false;
        return 0;
    }
    for (client &who : under_test->clients) {
        who.server_end = who.server_end == fd ? -1 : who.server_end;
    }
    under_test->listener = under_test->listener == fd ? -1 : under_test->listener;
    return close_call(fd);
}
unsigned int sleep(unsigned int seconds) {
    if (under_test == nullptr) {
        return sleep_call(seconds);
    }
    under_test->slept += seconds;
    return 0;
}
}

namespace {

/// The bytes sent to a client: the size, then the file in chunks, one of which may be cut short.
std::string on_the_wire(const std::string &file, std::size_t cut) {
    const auto size = static_cast<int32_t>(file.size());
    std::string bytes(reinterpret_cast<const char *>(&size), cut == 0 ? sizeof size / 2 : sizeof size);
    std::size_t sends = 1;
    for (std::size_t at = 0; at < file.size(); at += LAN_TRANSFER_CHUNK, ++sends) {
        const std::string chunk = file.substr(at, LAN_TRANSFER_CHUNK);
        bytes += chunk.substr(0, sends == cut ? chunk.size() / 2 : chunk.size());
    }
    return bytes;
}

/// Clients that are served before the thread ends.
std::size_t served_clients(const server &world) {
    switch (world.fails) {
    case step::none:
        return world.clients.size();
    case step::listen:
    case step::accept:
        return std::min(world.good_calls, world.clients.size());
    default:
        return 0;
    }
}

void check_clients(server &world, const std::string &file, bool ended_well) {
    for (std::size_t i = 0; i < world.next; ++i) {
        client &who = world.clients[i];
        read_on(who);
        require(who.got == on_the_wire(file, who.cut).substr(0, who.stays), "what a client got");
        const bool is_last = i + 1 == world.next;
        require((who.server_end < 0) == (is_last && ended_well), "all connections except the last stay open");
    }
}

void check_what_is_open(const server &world, std::size_t served, bool ended_well) {
    const bool serving_failed = world.fails == step::listen || world.fails == step::accept;
    require(world.listener < 0, "the listening socket is closed");
    require((world.file != nullptr) == (serving_failed && !ended_well), "the file is closed");
    require(world.standard_input_open != (world.fails == step::fopen || (ended_well && served == 0)),
            "descriptor 0");
    require(world.slept == (ended_well ? 1 : 0), "sleeps one second after the last client");
}

void close_what_is_open(const server &world) {
    for (const client &who : world.clients) {
        for (const int end : {who.own_end, who.server_end}) {
            if (end >= 0) {
                close(end);
            }
        }
    }
    if (world.file != nullptr) {
        std::fclose(world.file);
    }
}

/// Serves the file; returns the remaining count.
std::size_t serve(server &world, const char *path) {
    std::string order(1, static_cast<char>(world.clients.size()));
    order += path;
    std::thread([&] {
        under_test = &world;
        lan_transfer_file(order.data());
    }).join();
    return static_cast<uint8_t>(order[0]);
}

std::vector<client> clients_from(FuzzedDataProvider &input) {
    std::vector<client> clients(input.ConsumeIntegralInRange<std::size_t>(0, most_clients));
    for (client &who : clients) {
        const auto choice = input.ConsumeIntegral<uint8_t>();
        who.stays = (choice & 1U) != 0 ? input.ConsumeIntegral<uint16_t>() : never;
        who.cut = (choice & 2U) != 0 ? input.ConsumeIntegralInRange<std::size_t>(0, 3) : never;
        who.says = (choice & 4U) != 0 ? input.ConsumeRandomLengthString(16) : "";
    }
    return clients;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    static memory_file file;
    FuzzedDataProvider input(data, size);
    // Numbers come from the end of the input, the file from its beginning.
    server world;
    const auto failing = input.ConsumeIntegralInRange<uint8_t>(0, 31); // mostly none
    world.fails = failing <= static_cast<uint8_t>(step::accept) ? step{failing} : step::none;
    world.good_calls = input.ConsumeIntegralInRange<std::size_t>(0, most_clients);
    world.clients = clients_from(input);
    const std::size_t times =
        input.PickValueInArray<std::size_t>({1, 1, 1, 100}); // repeats the input to get long files
    const std::string bytes = input.ConsumeRemainingBytesAsString();
    std::string content;
    for (std::size_t i = 0; i < times; ++i) {
        content += bytes;
    }
    file.rewrite(content);

    const std::size_t left = serve(world, file.path());
    const std::size_t served = served_clients(world);
    const bool got_far = world.fails == step::none || world.fails >= step::listen;
    const bool ended_well = got_far && served == world.clients.size();
    require(left == world.clients.size() - served && world.next == served, "the count");
    check_clients(world, content, ended_well);
    check_what_is_open(world, served, ended_well);
    close_what_is_open(world);
    return 0;
}
