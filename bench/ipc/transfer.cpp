// SPDX-License-Identifier: Apache-2.0
// A file over the loopback of a network of its own: ours, a bare sendfile loop, and nc. Files are in memory.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "benches.h"
#include "measure.h"
#include "support/own_network.h"
#include "varnel/lan_transfer.h"

namespace varnel::bench {

namespace {

constexpr std::size_t file_size = 512 << 20;
constexpr uint16_t bare_port = 7001;
constexpr const char *nc_port = "7002";

struct files {
    std::string sent;
    std::string received;
};

sockaddr_in loopback(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/// Sender and receiver in a process each. The receiver tells by its result whether the sender was not ready
/// yet; only the attempt that went through is timed.
outcome timed(const std::function<void()> &send, const std::function<int()> &receive, const files &where) {
    const pid_t sender = start_process(send);
    double processor = 0;
    double seconds = 0;
    constexpr int not_ready = 5;
    for (int result = not_ready; result == not_ready; usleep(1000)) {
        const double before = now();
        std::array<int, 2> answer{};
        checked(pipe(answer.data()), "pipe");
        const pid_t receiver = start_process([&] {
            const int outcome = receive();
            checked(write(answer[1], &outcome, sizeof outcome), "write");
        });
        checked(read(answer[0], &result, sizeof result), "read");
        processor = finish_process(receiver);
        seconds = now() - before;
        close(answer[0]);
        close(answer[1]);
        if (result != 0 && result != not_ready) {
            std::fprintf(stderr, "bench_ipc: receiving failed with %d\n", result);
            std::exit(1);
        }
    }
    processor += finish_process(sender);
    if (std::filesystem::file_size(where.received) != file_size) {
        std::fprintf(stderr, "bench_ipc: %s is incomplete\n", where.received.c_str());
        std::exit(1);
    }
    const double gigabytes = static_cast<double>(file_size) / 1e9;
    return {file_size / seconds / 1e6, processor / gigabytes};
}

outcome ours(const files &where) {
    return timed(
        [&] {
            std::vector<char> order(1, 1);
            order.insert(order.end(), where.sent.c_str(), where.sent.c_str() + where.sent.size() + 1);
            lan_transfer_file(order.data());
        },
        [&] { return mma_lan_transfer(where.received.c_str(), "127.0.0.1"); }, where);
}

void bare_send(const files &where) {
    const int listener = static_cast<int>(checked(socket(AF_INET, SOCK_STREAM, 0), "socket"));
    const int yes = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    const sockaddr_in address = loopback(bare_port);
    checked(bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address), "bind");
    checked(listen(listener, 1), "listen");
    const int client = static_cast<int>(checked(accept(listener, nullptr, nullptr), "accept"));
    const int file = static_cast<int>(checked(open(where.sent.c_str(), O_RDONLY), "open"));
    while (checked(sendfile(client, file, nullptr, LAN_TRANSFER_CHUNK), "sendfile") > 0) {
    }
}

int bare_receive(const files &where) {
    const int sender = static_cast<int>(checked(socket(AF_INET, SOCK_STREAM, 0), "socket"));
    const sockaddr_in address = loopback(bare_port);
    if (connect(sender, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        return 5;
    }
    const int file =
        static_cast<int>(checked(open(where.received.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), "open"));
    std::vector<char> bytes(LAN_TRANSFER_CHUNK);
    for (ssize_t n = 0; (n = checked(recv(sender, bytes.data(), bytes.size(), 0), "recv")) > 0;) {
        checked(write(file, bytes.data(), static_cast<std::size_t>(n)), "write");
    }
    return 0;
}

/// Runs nc with its input and output in files; returns its exit code.
int run_nc(const std::vector<const char *> &arguments, const std::string &input, const std::string &output) {
    const pid_t id = static_cast<pid_t>(checked(fork(), "fork"));
    if (id == 0) {
        dup2(open(input.c_str(), O_RDONLY), STDIN_FILENO);
        dup2(open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
        std::vector<char *> list;
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

outcome netcat(const files &where) {
    return timed(
        [&] {
            run_nc({"nc", "-l", "-N", "127.0.0.1", nc_port}, where.sent, "/dev/null");
        },
        [&] {
            const int code = run_nc({"nc", "-d", "127.0.0.1", nc_port}, "/dev/null", where.received);
            return code == 1 ? 5 : code;
        },
        where);
}

void make_file(const std::string &path) {
    std::FILE *file = std::fopen(path.c_str(), "w");
    const std::vector<char> block(1 << 20, 'x');
    for (std::size_t i = 0; i < file_size / block.size(); ++i) {
        std::fwrite(block.data(), 1, block.size(), file);
    }
    std::fclose(file);
}

} // namespace

void transfer() {
    const std::string no_network = test::enter_own_network();
    if (!no_network.empty()) {
        std::printf("\nTransfer: left out, %s\n", no_network.c_str());
        return;
    }
    std::string folder = "/dev/shm/varnel-bench-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
        std::perror(folder.c_str());
        std::exit(1);
    }
    const files where{folder + "/sent", folder + "/received"};
    make_file(where.sent);
    compare({"Transfer of " + std::to_string(file_size >> 20) + " MiB", "megabytes per second", 9,
             "sendfile; recv, write", 80, "CPU s/GB"},
            {{"lan_transfer_file, mma_lan_transfer", [&] { return ours(where); }},
             {"sendfile; recv, write",
              [&] { return timed([&] { bare_send(where); }, [&] { return bare_receive(where); }, where); }},
             {"nc", [&] { return netcat(where); }}});
    std::filesystem::remove_all(folder);
}

} // namespace varnel::bench
