// SPDX-License-Identifier: Apache-2.0
// Sending a file over the loopback of a separate network: ours, a bare sendfile loop, and nc. Files are in
// memory.
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "benches.h"
#include "support/memory_folder.h"
#include "support/own_network.h"
#include "support/processes.h"
#include "varnel/lan_transfer.h"

namespace varnel::bench {

namespace {

constexpr uint16_t bare_port = 7001;
constexpr const char *nc_port = "7002";

/// A file to send to `clients` receivers, one after another.
struct job {
    std::size_t size;
    int clients;
    std::string sent;
    std::string received;
};

/// A way to do it; `receive` returns 0, or LAN_TRANSFER_NO_CONNECTION before the sender listens.
struct method {
    std::function<void(const job &)> send;
    std::function<int(const job &)> receive;
};

sockaddr_in loopback(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void check_received(const job &what) {
    if (std::filesystem::file_size(what.received) != what.size) {
        throw std::runtime_error("the received file is incomplete");
    }
}

/// The result of one attempt to receive, in a process of its own.
struct attempt {
    int result;
    double processor;
};

attempt receive_once(const method &how, const job &what) {
    std::array<int, 2> answer{};
    checked(pipe(answer.data()), "pipe");
    const pid_t receiver = start_process([&] {
        const int result = how.receive(what);
        checked(write(answer[1], &result, sizeof result), "write");
    });
    attempt made{};
    checked(read(answer[0], &made.result, sizeof made.result), "read");
    made.processor = finish_process(receiver);
    close(answer[0]);
    close(answer[1]);
    if (made.result != 0 && made.result != LAN_TRANSFER_NO_CONNECTION) {
        throw std::runtime_error("receiving failed with " + std::to_string(made.result));
    }
    return made;
}

/// The cost of all receivers, once the sender listens: the time from the start of the first successful one,
/// and the processor time, both in seconds.
struct cost {
    double seconds;
    double processor;
};

cost cost_of(const method &how, const job &what) {
    const pid_t sender = start_process([&] { how.send(what); });
    double before = now();
    attempt made = receive_once(how, what);
    while (made.result == LAN_TRANSFER_NO_CONNECTION) {
        usleep(1000);
        before = now();
        made = receive_once(how, what);
    }
    double processor = made.processor;
    for (int client = 1; client < what.clients; ++client) {
        check_received(what);
        processor += receive_once(how, what).processor;
    }
    const double seconds = now() - before;
    check_received(what);
    return {seconds, processor + finish_process(sender)};
}

// --- Ours ---

/// lan_transfer_file() ends its thread, so it runs in a new one.
void send_ours(const job &what) {
    std::vector<char> order(1, static_cast<char>(what.clients));
    order.insert(order.end(), what.sent.c_str(), what.sent.c_str() + what.sent.size() + 1);
    pthread_t server{};
    pthread_create(&server, nullptr, lan_transfer_file, order.data());
    pthread_join(server, nullptr);
}

int receive_ours(const job &what) { return mma_lan_transfer(what.received.c_str(), "127.0.0.1"); }

// --- Only the system calls ---

void bare_send(const job &what) {
    const int listener = static_cast<int>(checked(socket(AF_INET, SOCK_STREAM, 0), "socket"));
    const int yes = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    const sockaddr_in address = loopback(bare_port);
    checked(bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address), "bind");
    checked(listen(listener, 1), "listen");
    const int file = static_cast<int>(checked(open(what.sent.c_str(), O_RDONLY), "open"));
    for (int i = 0; i < what.clients; ++i) {
        const int client = static_cast<int>(checked(accept(listener, nullptr, nullptr), "accept"));
        off_t at = 0;
        while (checked(sendfile(client, file, &at, LAN_TRANSFER_CHUNK), "sendfile") > 0) {
        }
        close(client);
    }
}

int bare_receive(const job &what) {
    const int sender = static_cast<int>(checked(socket(AF_INET, SOCK_STREAM, 0), "socket"));
    const sockaddr_in address = loopback(bare_port);
    if (connect(sender, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        return LAN_TRANSFER_NO_CONNECTION;
    }
    const int file =
        static_cast<int>(checked(open(what.received.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), "open"));
    std::vector<char> bytes(LAN_TRANSFER_CHUNK);
    for (ssize_t n = 0; (n = checked(recv(sender, bytes.data(), bytes.size(), 0), "recv")) > 0;) {
        checked(write(file, bytes.data(), static_cast<std::size_t>(n)), "write");
    }
    return 0;
}

// --- nc ---

/// Runs nc with its input and output in files; returns its exit code.
int run_nc(const std::vector<const char *> &arguments, const std::string &input, const std::string &output) {
    const pid_t id = static_cast<pid_t>(checked(fork(), "fork"));
    if (id == 0) {
        dup2(open(input.c_str(), O_RDONLY), STDIN_FILENO);
        dup2(open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
        std::vector<char *> list;
        list.reserve(arguments.size() + 1);
        for (const char *argument : arguments) {
            list.push_back(const_cast<char *>(argument));
        }
        list.push_back(nullptr);
        execvp("nc", list.data());
        _exit(127);
    }
    int status = 0;
    waitpid(id, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 255;
}

void send_nc(const job &what) { run_nc({"nc", "-l", "-N", "127.0.0.1", nc_port}, what.sent, "/dev/null"); }

int receive_nc(const job &what) {
    const int code = run_nc({"nc", "-d", "127.0.0.1", nc_port}, "/dev/null", what.received);
    return code == 1 ? LAN_TRANSFER_NO_CONNECTION : code;
}

// --- Figures ---

const method ours{send_ours, receive_ours};
const method bare{bare_send, bare_receive};
const method netcat{send_nc, receive_nc};

constexpr const char *ours_name = "lan_transfer_file, mma_lan_transfer";
constexpr const char *bare_name = "sendfile; recv, write";

void make_file(const job &what) {
    std::ofstream file(what.sent, std::ios::binary);
    const std::vector<char> block(1 << 16, 'x');
    for (std::size_t i = 0; i < what.size / block.size(); ++i) {
        file.write(block.data(), static_cast<std::streamsize>(block.size()));
    }
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + what.sent);
    }
}

/// Megabytes per second, and processor seconds for a gigabyte.
contender_of_several contender_of(const std::string &name, role who, const method &how, const job &what) {
    return {name, who, [&how, &what] {
                const cost found = cost_of(how, what);
                const auto size = static_cast<double>(what.size);
                return std::vector<double>{size / found.seconds / 1e6, found.processor / size * 1e9};
            }};
}

bool has_own_network() {
    static const std::string no_network = test::enter_own_network();
    if (!no_network.empty()) {
        std::printf("\nTransfer: left out, %s\n", no_network.c_str());
    }
    return no_network.empty();
}

} // namespace

void transfer(results &found) {
    if (!has_own_network()) {
        return;
    }
    const memory_folder folder;
    const job what{512U << 20, 1, folder.file("sent"), folder.file("received")};
    make_file(what);
    const auto all = interleaved(9, 2,
                                 {contender_of(ours_name, role::ours, ours, what),
                                  contender_of("nc", role::peer, netcat, what),
                                  contender_of(bare_name, role::floor, bare, what)});
    found.add({"transfer.rate", "A file of 512 MiB to one receiver", "MB/s", better::higher,
               "From the start of the receiver to its end, once the sender listens. We announce the "
               "size; the others end with the connection.",
               all[0], goal{0.8, bare_name}});
    found.add({"transfer.processor", "Processor time of a transfer", "s/GB", better::lower,
               "Sender and receiver, including the kernel, in the same rounds.", all[1]});
}

void transfer_clients(results &found) {
    if (!has_own_network()) {
        return;
    }
    const memory_folder folder;
    const std::vector<double> sizes{1, 10, 100, 255};
    const auto lines = measured_growth(7, sizes, [&](std::size_t clients) {
        const auto what = std::make_shared<job>(
            job{1U << 20, static_cast<int>(clients), folder.file("sent"), folder.file("received")});
        make_file(*what);
        const auto milliseconds = [what](const method &how) {
            return [what, &how] { return cost_of(how, *what).seconds * 1e3; };
        };
        return std::vector<contender>{{ours_name, role::ours, milliseconds(ours)},
                                      {bare_name, role::floor, milliseconds(bare)}};
    });
    found.add(
        {"transfer.clients", "A file of 1 MiB to many receivers", "receivers", "ms",
         "Time until the last receiver has it. The receivers run one after another, each in a process of its "
         "own. The sender's count is one byte, so 255 receivers are the maximum. nc serves one.",
         sizes, lines});
}

} // namespace varnel::bench
