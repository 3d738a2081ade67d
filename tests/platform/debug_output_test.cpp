// SPDX-License-Identifier: Apache-2.0
// What IDBG_LINUXAPP_DbgOut() writes to syslog and to standard error.
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/private_dev.h"
#include "support/child_process.h"
#include "support/interposed.h"
#include "varnel/platform.h"

namespace {

using ::testing::EndsWith;
using ::testing::StartsWith;
using varnel::test::child_process;
using varnel::test::interposed;
using varnel::test::logged;
using varnel::test::stand_in;

interposed<long(long, long, long, long, long, long)> syscall_call("syscall");

} // namespace

extern "C" long syscall(long number, ...) noexcept {
    va_list values;
    va_start(values, number);
    std::array<long, 5> all{};
    for (long &each : all) {
        each = va_arg(values, long);
    }
    va_end(values);
    return syscall_call(number, all[0], all[1], all[2], all[3], all[4]);
}

namespace {

class debug_output : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!varnel::test::has_private_dev()) {
            GTEST_SKIP() << "this machine allows no mount namespace";
        }
        unsetenv("VARNEL_DEBUG_STDERR");
    }
};

/// The line without its priority and time.
std::string after_time(const std::string &line) {
    return line.substr(line.find('>') + sizeof "Oct 10 10:10:10");
}

/// qemu-user does not support clone() without a termination signal.
bool can_copy_process() {
    const long copy = syscall(SYS_clone, 0, nullptr, nullptr, nullptr, nullptr);
    if (copy == 0) {
        _exit(0);
    }
    return copy > 0 && waitpid(static_cast<pid_t>(copy), nullptr, __WALL) == copy;
}

bool is_from_child(const std::string &line) { return line.ends_with(": from the child\n"); }

std::string priority(int level) { return "<" + std::to_string(level) + ">"; }

TEST_F(debug_output, goes_to_syslog) {
    const std::string text = "[message.c:103]Error opening named pipe /tmp/q\n";
    EXPECT_EQ(IDBG_LINUXAPP_DbgOut(0x82, "[%s:%d]Error opening named pipe %s\n", "message.c", 103, "/tmp/q"),
              static_cast<int>(text.size()));
    const std::string line = logged();
    EXPECT_THAT(line, StartsWith(priority(LOG_USER | LOG_CRIT)));
    EXPECT_THAT(line, EndsWith(text));
    EXPECT_EQ(logged(), "");
}

TEST_F(debug_output, priority_is_the_low_three_bits) {
    for (int level = 0; level < 8; ++level) {
        IDBG_LINUXAPP_DbgOut(0x7FFFFFF8 | level, "x");
        EXPECT_THAT(logged(), StartsWith(priority(LOG_USER | level)));
    }
}

TEST_F(debug_output, errno_is_unchanged) {
    errno = ENOENT;
    const std::string format = "%s: %m"; // %m is glibc's
    IDBG_LINUXAPP_DbgOut(0x82, format.c_str(), "open");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_THAT(logged(), EndsWith("open: No such file or directory"));
}

/// What a forked child logs. Its parent has a second thread, so the child checks whether the log is usable.
std::string logged_by_child_of_threads() {
    std::atomic<bool> done = false;
    std::jthread another([&] { done.wait(false); });
    const int result = child_process([] {
                           return IDBG_LINUXAPP_DbgOut(0x82, "%s\n", "from the child") == 15 ? 0 : 1;
                       }).wait();
    done = true;
    done.notify_all();
    EXPECT_EQ(result, 0);
    return logged();
}

TEST_F(debug_output, of_a_child_has_the_parents_identity_and_facility) {
    if (!can_copy_process()) {
        GTEST_SKIP() << "this machine does not support clone() without a termination signal";
    }
    IDBG_LINUXAPP_DbgOut(0x82, "%s\n", "from the child");
    EXPECT_EQ(after_time(logged()), after_time(logged_by_child_of_threads()));
    openlog("daemon", 0, LOG_LOCAL6);
    const std::string line = logged_by_child_of_threads();
    openlog(nullptr, 0, LOG_USER);
    EXPECT_THAT(line, StartsWith(priority(LOG_LOCAL6 | LOG_CRIT)));
    EXPECT_THAT(line, EndsWith(" daemon: from the child\n"));
}

TEST_F(debug_output, of_a_child_that_cannot_be_copied_has_no_time) {
    const stand_in<long, long, long, long, long, long, long> failing(
        syscall_call, [](long number, long a, long b, long c, long d, long e) {
            if (number == SYS_clone) {
                errno = EAGAIN;
                return -1L;
            }
            return syscall_call.real(number, a, b, c, d, e);
        });
    EXPECT_EQ(logged_by_child_of_threads(),
              priority(LOG_USER | LOG_CRIT) + program_invocation_short_name + ": from the child\n");
}

/// A thread that is inside syslog() nearly all the time. The test has to receive its lines.
class thread_that_logs {
  public:
    [[nodiscard]] bool running() const { return running_; }
    void finish() { finish_ = true; }

  private:
    std::atomic<bool> finish_ = false;
    std::atomic<bool> running_ = true;
    std::jthread thread_{[this] {
        while (!finish_) {
            syslog(LOG_DEBUG, "of the other thread");
        }
        running_ = false;
    }};
};

/// syslog() cannot be used in a child that was forked while another thread was inside it.
TEST_F(debug_output, of_a_child_forked_during_syslog_arrives) {
    constexpr int children = 24;
    thread_that_logs other;
    std::vector<child_process> all;
    all.reserve(children);
    for (int i = 0; i < children; ++i) {
        all.emplace_back([] { return IDBG_LINUXAPP_DbgOut(0x82, "from the child\n") == 15 ? 0 : 1; });
    }
    int arrived = 0;
    const auto receive_while = [&](auto condition) {
        for (std::string line; !(line = logged()).empty() || condition();) {
            arrived += is_from_child(line) ? 1 : 0;
        }
    };
    for (child_process &each : all) {
        std::optional<int> status;
        receive_while([&] { return !(status = each.ended()); });
        EXPECT_EQ(status, 0);
    }
    other.finish();
    receive_while([&] { return other.running(); });
    EXPECT_EQ(arrived, children);
}

/// A thread that is inside syslog(), and stays there until the log is received.
class thread_held_by_the_log {
  public:
    thread_held_by_the_log() {
        for (int before = -1; before != lines_;) { // it logs until the socket is full
            before = lines_;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }
    ~thread_held_by_the_log() {
        finish_ = true;
        while (!logged().empty() || !done_) {
        }
    }
    thread_held_by_the_log(const thread_held_by_the_log &) = delete;
    thread_held_by_the_log &operator=(const thread_held_by_the_log &) = delete;

  private:
    std::atomic<int> lines_ = 0;
    std::atomic<bool> finish_ = false;
    std::atomic<bool> done_ = false;
    std::jthread thread_{[this] {
        while (!finish_) {
            syslog(LOG_DEBUG, "of the other thread");
            ++lines_;
        }
        done_ = true;
    }};
};

/// The next line that does not come from such a thread.
std::string logged_by_others() {
    for (;;) {
        const std::string line = logged();
        if (!line.empty() && !line.ends_with("of the other thread")) {
            return line;
        }
    }
}

TEST_F(debug_output,
       of_a_child_that_cannot_use_syslog_has_no_time_is_cut_to_8191_bytes_and_leaks_no_descriptor) {
    if (!can_copy_process()) {
        GTEST_SKIP() << "this machine does not support clone() without a termination signal";
    }
    const thread_held_by_the_log other;
    child_process child([] {
        const int next = dup(STDIN_FILENO);
        close(next);
        errno = ENOENT;
        const std::string format = "%s %m"; // %m is glibc's
        IDBG_LINUXAPP_DbgOut(0x82, format.c_str(), "opening");
        IDBG_LINUXAPP_DbgOut(0x83, "%s", std::string(9000, 'x').c_str());
        return errno == ENOENT && dup(STDIN_FILENO) == next ? 0 : 1;
    });
    const std::string sender = ">" + std::string(program_invocation_short_name) + ": ";
    EXPECT_EQ(logged_by_others(),
              "<" + std::to_string(LOG_USER | LOG_CRIT) + sender + "opening No such file or directory");
    const std::string start = "<" + std::to_string(LOG_USER | LOG_ERR) + sender;
    EXPECT_EQ(logged_by_others(), start + std::string(8191 - start.size(), 'x'));
    EXPECT_TRUE(child.exits_with(0));
}

TEST_F(debug_output, of_a_child_that_cannot_use_syslog_arrives_at_a_stream) {
    if (!can_copy_process()) {
        GTEST_SKIP() << "this machine does not support clone() without a termination signal";
    }
    const thread_held_by_the_log other;
    ASSERT_EQ(rename("/dev/log", "/dev/elsewhere"), 0);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un place{AF_UNIX, "/dev/log"};
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr *>(&place), sizeof place), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    child_process child([] { return IDBG_LINUXAPP_DbgOut(0x82, "x") == 1 ? 0 : 1; });
    const int stream = accept(listener, nullptr, nullptr);
    std::string line(100, '?');
    line.resize(
        static_cast<std::size_t>(std::max<ssize_t>(recv(stream, line.data(), line.size(), MSG_WAITALL), 0)));
    EXPECT_EQ(line,
              "<" + std::to_string(LOG_USER | LOG_CRIT) + ">" + program_invocation_short_name + ": x" + '\0');
    EXPECT_TRUE(child.exits_with(0));
    close(stream);
    close(listener);
    ASSERT_EQ(rename("/dev/elsewhere", "/dev/log"), 0);
}

TEST_F(debug_output, goes_to_standard_error_if_varnel_debug_stderr_is_1) {
    for (const char *value : {"", "0"}) {
        setenv("VARNEL_DEBUG_STDERR", value, 1);
        ::testing::internal::CaptureStderr();
        IDBG_LINUXAPP_DbgOut(0x82, "quiet\n");
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    }
    setenv("VARNEL_DEBUG_STDERR", "01", 1);
    ::testing::internal::CaptureStderr();
    IDBG_LINUXAPP_DbgOut(0x82, "loud\n");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "loud\n");
    setenv("VARNEL_DEBUG_STDERR", "1", 1);
    ::testing::internal::CaptureStderr();
    errno = EPERM;
    const std::string format = "%s %d %m\n";
    EXPECT_EQ(IDBG_LINUXAPP_DbgOut(0x82, format.c_str(), "loud", 5), 31);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "loud 5 Operation not permitted\n");
    EXPECT_EQ(errno, EPERM);
}

TEST_F(debug_output, errno_is_unchanged_when_nobody_receives_the_log) {
    closelog(); // otherwise the C library keeps its socket
    ASSERT_EQ(rename("/dev/log", "/dev/elsewhere"), 0);
    setenv("VARNEL_DEBUG_STDERR", "1", 1);
    ::testing::internal::CaptureStderr();
    errno = EPERM;
    const std::string format = "%s: %m\n"; // %m is glibc's
    IDBG_LINUXAPP_DbgOut(0x82, format.c_str(), "open");
    const int error = errno;
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "open: Operation not permitted\n");
    EXPECT_EQ(error, EPERM);
    ASSERT_EQ(rename("/dev/elsewhere", "/dev/log"), 0);
}

} // namespace
