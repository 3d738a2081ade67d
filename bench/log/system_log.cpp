// SPDX-License-Identifier: Apache-2.0
// Lines to the system log. This process receives them at /dev/log, in its own mount namespace, and compares
// each with the expected line.
#include <array>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include "log/parts.h"
#include "support/private_mounts.h"
#include "support/processes.h"
#include "support/scratch_folder.h"
#include "varnel/debug_log.h"

namespace varnel::bench {

namespace {

constexpr int lines = 10'000;
constexpr int patience_ms = 10'000;
constexpr sockaddr_un log_socket{AF_UNIX, "/dev/log"};

const sockaddr *address() { return reinterpret_cast<const sockaddr *>(&log_socket); }

class system_log_end {
  public:
    system_log_end() : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        if (!test::enter_private_mounts() || !test::mount_memory("/dev", 1 << 16) ||
            bind(socket_, address(), sizeof log_socket) != 0) {
            throw std::runtime_error("needs permission to mount a file system (root, or user namespaces)");
        }
    }
    ~system_log_end() {
        close(socket_);
        test::unmount("/dev");
    }
    system_log_end(const system_log_end &) = delete;
    system_log_end &operator=(const system_log_end &) = delete;

    /// Receives the next line; throws std::runtime_error unless it ends with `text`.
    void receive(const std::string &text) const {
        std::array<char, 512> line;
        pollfd readable{socket_, POLLIN, 0};
        const ssize_t length =
            poll(&readable, 1, patience_ms) == 1 ? recv(socket_, line.data(), line.size(), 0) : -1;
        if (length < 0) {
            throw std::runtime_error("a line did not reach the system log: " + text);
        }
        const std::string_view got(line.data(), static_cast<std::size_t>(length));
        if (!got.ends_with(text)) {
            throw std::runtime_error("the system log got '" + std::string(got) + "', expected " + text);
        }
    }

  private:
    int socket_;
};

std::string line(int number) {
    return "fan " + std::to_string(number % 8) + " at " + std::to_string(number) + " rpm";
}

std::vector<std::string> all_lines(const std::string &prefix) {
    std::vector<std::string> all;
    all.reserve(lines);
    for (int i = 0; i < lines; ++i) {
        all.push_back(prefix + line(i));
    }
    return all;
}

void log_ours() {
    for (int i = 0; i < lines; ++i) {
        IDBG_LINUXAPP_DbgLog(LOG_INFO, "fan %d at %d rpm", i % 8, i);
    }
}

void log_by_syslog() {
    openlog(nullptr, LOG_PID, LOG_LOCAL6);
    for (int i = 0; i < lines; ++i) {
        syslog(LOG_INFO, "[%d %s]fan %d at %d rpm", getpid(), "INFO", i % 8, i);
    }
}

void log_by_logger(const std::string &file) {
    checked(std::freopen(file.c_str(), "r", stdin) == nullptr ? -1 : 0, "freopen");
    checked(execlp("logger", "logger", "--id", "--tag", "bench_log", "--priority", "local6.info", nullptr),
            "logger");
}

void send_all(const std::vector<std::string> &finished) {
    const auto sender = static_cast<int>(checked(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket"));
    checked(connect(sender, address(), sizeof log_socket), "connect");
    for (const std::string &each : finished) {
        checked(send(sender, each.data(), each.size(), 0), "send");
    }
}

double lines_per_second(const system_log_end &log, const std::vector<std::string> &expected,
                        const std::function<void()> &daemon) {
    const double begin = now();
    const pid_t sender = start_process(daemon);
    for (const std::string &each : expected) {
        log.receive(each);
    }
    const double taken = now() - begin;
    finish_process(sender);
    return lines / taken;
}

std::string joined(const std::vector<std::string> &all) {
    std::string text;
    for (const std::string &each : all) {
        text += each + '\n';
    }
    return text;
}

} // namespace

void system_log(results &found) {
    const system_log_end log;
    const test::scratch_folder folder;
    const std::vector<std::string> expected = all_lines(" INFO]");
    test::write_file(folder.file("lines"), joined(all_lines("[12345 INFO]")));
    const std::vector<std::string> finished =
        all_lines("<182>Jun 30 21:49:08 bench_log[12345]: [12345 INFO]");
    const auto contender_that = [&](const std::string &name, role who, const std::function<void()> &daemon) {
        return contender{name, who, [&, daemon] { return lines_per_second(log, expected, daemon); }};
    };
    found.add(figure{
        "log.syslog", "Lines to the system log", "lines/s", better::higher,
        "10,000 lines from a new process to a receiver at /dev/log, until the last has arrived. "
        "All lines are the same: process, level, text. logger is one process that reads "
        "finished lines from its standard input; a script that starts one for each line pays for "
        "a process each time.",
        interleaved(
            11,
            {contender_that("IDBG_LINUXAPP_DbgLog", role::ours, log_ours),
             contender_that("syslog()", role::peer, log_by_syslog),
             contender_that("logger", role::peer, [&folder] { log_by_logger(folder.file("lines")); }),
             contender_that("send() of finished lines", role::floor, [&finished] { send_all(finished); })})});
}

} // namespace varnel::bench
