// SPDX-License-Identifier: Apache-2.0
#include "varnel/debug_log.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <numeric>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include "support/pipe_ends.h"
#include "support/private_mounts.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// A line that the system log received.
struct received_line {
    int priority; // including the facility
    std::string sender;
    std::string text;
};

/// Receives what a daemon sends to the system log: a socket at /dev/log in the test's own mount namespace.
class system_log : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!varnel::test::enter_private_mounts() || !varnel::test::mount_memory("/dev", 1 << 16)) {
            GTEST_SKIP() << "needs permission to mount a file system (root, or user namespaces)";
        }
        sockaddr_un place{AF_UNIX, "/dev/log"};
        socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        ASSERT_EQ(bind(socket_, reinterpret_cast<const sockaddr *>(&place), sizeof place), 0);
    }

    void TearDown() override { close(socket_); }

    /// Runs a daemon: a process in which the library has not been used yet. Returns the lines it logged.
    std::vector<received_line> logged_by(const std::function<void()> &daemon) {
        varnel::test::pipe_ends alive;
        daemon_ = fork();
        if (daemon_ == 0) {
            alive.close_reader();
            daemon();
            std::exit(0); // not _exit(): writes the coverage counters
        }
        alive.close_writer();
        std::vector<received_line> lines = lines_until_closed(alive.reader());
        int status = 0;
        EXPECT_EQ(waitpid(daemon_, &status, 0), daemon_);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        return lines;
    }

    /// The same, only the texts.
    std::vector<std::string> texts_logged_by(const std::function<void()> &daemon) {
        std::vector<std::string> texts;
        for (const received_line &line : logged_by(daemon)) {
            texts.push_back(line.text);
        }
        return texts;
    }

    std::string pid() const { return std::to_string(daemon_); }

  private:
    std::vector<received_line> lines_until_closed(int alive) const {
        std::vector<received_line> lines;
        std::array<pollfd, 2> both{{{socket_, POLLIN, 0}, {alive, POLLIN, 0}}};
        while (poll(both.data(), both.size(), -1) > 0) {
            if ((both[0].revents & POLLIN) != 0) {
                lines.push_back(receive());
            } else {
                break; // the daemon has ended, and its lines arrived before that
            }
        }
        return lines;
    }

    received_line receive() const {
        std::string bytes(8192, '\0');
        const ssize_t n = recv(socket_, bytes.data(), bytes.size(), 0);
        bytes.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
        static const std::regex parts("<([0-9]+)>[A-Z][a-z]{2} [ 0-9]{2} [0-9:]{8} ([^ ]+): ([^]*)");
        std::smatch found;
        if (!std::regex_match(bytes, found, parts)) {
            ADD_FAILURE() << "no syslog line: " << bytes;
            return {};
        }
        return {std::stoi(found[1]), found[2], found[3]};
    }

    int socket_ = -1;
    pid_t daemon_ = -1;
};

TEST_F(system_log, line_names_process_and_level) {
    const auto lines = logged_by([] { IDBG_LINUXAPP_DbgLog(LOG_DEBUG, "fan %d of %s", 2, "bmc0"); });
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].priority, LOG_LOCAL6 | LOG_DEBUG);
    EXPECT_EQ(lines[0].sender, "debug_log_test[" + pid() + "]");
    EXPECT_EQ(lines[0].text, "[" + pid() + " DEBUG]fan 2 of bmc0");
}

TEST_F(system_log, every_level_has_its_name_and_priority) {
    const std::vector<std::string> names{"EMERGENCY", "ALERT",  "CRITICAL", "ERROR",
                                         "WARNING",   "NOTICE", "INFO",     "DEBUG"};
    const auto lines = logged_by([] {
        for (int32_t level = 0; level < 8; ++level) {
            IDBG_LINUXAPP_DbgLog(level, ".");
        }
    });
    ASSERT_THAT(lines, SizeIs(8));
    for (int level = 0; level < 8; ++level) {
        const std::size_t i = static_cast<std::size_t>(level);
        EXPECT_EQ(lines[i].priority, (22 << 3) + level);
        EXPECT_EQ(lines[i].text, "[" + pid() + " " + names[i] + "].");
    }
}

TEST_F(system_log, bits_above_the_level_go_to_syslog_unchanged) {
    auto lines = logged_by([] {
        IDBG_LINUXAPP_DbgLog(9, "x");
        IDBG_LINUXAPP_DbgLog(LOG_DAEMON | LOG_ERR, "x");
    });
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0].priority, 9);
    EXPECT_EQ(lines[0].text, "[" + pid() + " ALERT]x");
    EXPECT_EQ(lines[1].priority, LOG_DAEMON | LOG_ERR);
    EXPECT_EQ(lines[1].text, "[" + pid() + " ERROR]x");

    lines = logged_by([] { IDBG_LINUXAPP_DbgLog(-1, "x"); });
    ASSERT_THAT(lines, SizeIs(2)) << "the C library logs a complaint about the number, then the line";
    EXPECT_THAT(lines[0].text, HasSubstr("unknown facility/priority: ffffffff"));
    EXPECT_EQ(lines[1].text, "[" + pid() + " DEBUG]x");
}

TEST_F(system_log, line_is_cut_to_2047_bytes) {
    for (const std::size_t length : {2000U, 3000U, 100000U}) {
        const auto texts =
            texts_logged_by([&] { IDBG_LINUXAPP_DbgLog(LOG_INFO, "%s", std::string(length, 'x').c_str()); });
        const std::string whole = "[" + pid() + " INFO]" + std::string(length, 'x');
        EXPECT_THAT(texts, ElementsAre(whole.substr(0, 2047))) << length;
    }
}

TEST_F(system_log, line_of_2047_bytes_is_not_cut) {
    const auto texts = texts_logged_by([] {
        const std::size_t prefix = ("[" + std::to_string(getpid()) + " INFO]").size();
        for (const std::size_t length : {2046U, 2047U, 2048U}) {
            IDBG_LINUXAPP_DbgLog(LOG_INFO, "%s", std::string(length - prefix, 'x').c_str());
        }
    });
    ASSERT_THAT(texts, SizeIs(3));
    EXPECT_THAT(texts[0], SizeIs(2046));
    EXPECT_THAT(texts[1], SizeIs(2047));
    EXPECT_THAT(texts[2], SizeIs(2047));
}

TEST_F(system_log, formatted_text_is_not_formatted_again) {
    const auto texts = texts_logged_by([] { IDBG_LINUXAPP_DbgLog(LOG_INFO, "%s %%", "100%d %n"); });
    EXPECT_THAT(texts, ElementsAre("[" + pid() + " INFO]100%d %n %"));
}

TEST_F(system_log, percent_m_prints_the_callers_errno) {
    const std::string error_number = "%m%s"; // %m is a GNU conversion
    const auto texts = texts_logged_by([&] {
        errno = ENOSPC;
        IDBG_LINUXAPP_DbgLog(LOG_ERR, error_number.c_str(), "");
    });
    EXPECT_THAT(texts, ElementsAre("[" + pid() + " ERROR]" + strerror(ENOSPC)));
}

TEST_F(system_log, first_use_replaces_facility_and_mask) {
    const auto lines = logged_by([] {
        openlog("other", 0, LOG_DAEMON);
        setlogmask(LOG_MASK(LOG_EMERG));
        IDBG_LINUXAPP_DbgLog(LOG_DEBUG, "x");
    });
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].priority, LOG_LOCAL6 | LOG_DEBUG);
    EXPECT_EQ(lines[0].sender, "other[" + pid() + "]") << "an identity that the program chose is kept";
}

TEST_F(system_log, the_log_is_opened_once) {
    const auto lines = logged_by([] {
        IDBG_LINUXAPP_DbgInit();
        openlog("other", 0, LOG_DAEMON);
        setlogmask(LOG_UPTO(LOG_WARNING));
        IDBG_LINUXAPP_DbgInit();
        IDBG_LINUXAPP_DbgLog(LOG_INFO, "masked");
        IDBG_LINUXAPP_DbgLog(LOG_WARNING, "x");
    });
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].priority, LOG_DAEMON | LOG_WARNING);
    EXPECT_EQ(lines[0].sender, "other");
}

TEST_F(system_log, forked_process_logs_its_own_pid) {
    pid_t child_of_daemon = 0;
    const varnel::test::pipe_ends numbers;
    const auto texts = texts_logged_by([&] {
        IDBG_LINUXAPP_DbgLog(LOG_INFO, "x");
        const pid_t child = fork();
        if (child == 0) {
            IDBG_LINUXAPP_DbgLog(LOG_INFO, "y");
            std::exit(0); // not _exit(): writes the coverage counters
        }
        waitpid(child, nullptr, 0);
        EXPECT_EQ(write(numbers.writer(), &child, sizeof child), ssize_t{sizeof child});
    });
    ASSERT_EQ(read(numbers.reader(), &child_of_daemon, sizeof child_of_daemon),
              ssize_t{sizeof child_of_daemon});
    EXPECT_THAT(texts,
                ElementsAre("[" + pid() + " INFO]x", "[" + std::to_string(child_of_daemon) + " INFO]y"));
}

TEST_F(system_log, line_that_cannot_be_sent_is_dropped) {
    ASSERT_EQ(unlink("/dev/log"), 0);
    EXPECT_THAT(logged_by([] {
                    IDBG_LINUXAPP_DbgLog(LOG_INFO, "x");
                    const uint8_t byte = 1;
                    IDBG_LINUXAPP_DbgLogBuf(LOG_INFO, "f", 1, &byte, 1);
                }),
                IsEmpty());
}

std::vector<uint8_t> counted(int length) {
    std::vector<uint8_t> bytes(static_cast<std::size_t>(length));
    std::iota(bytes.begin(), bytes.end(), uint8_t{0});
    return bytes;
}

const std::string row0 = "  0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f 10 11 12 13";
const std::string row1 = " 14 15 16 17 18 19 1a 1b 1c 1d 1e 1f 20 21 22 23 24 25 26 27";

class hex_dump : public system_log {
  protected:
    /// The lines of a dump of bytes 0, 1, 2...
    std::vector<std::string> dump(int32_t length) {
        return texts_logged_by([=] {
            const std::vector<uint8_t> bytes = counted(length > 0 ? length : 0);
            IDBG_LINUXAPP_DbgLogBuf(LOG_DEBUG, "fan.c", 42, bytes.data(), length);
        });
    }

    std::string line(const std::string &rest) const { return "[" + pid() + " DEBUG][fan.c:42] " + rest; }
};

TEST_F(hex_dump, length_0_logs_nothing) { EXPECT_THAT(dump(0), IsEmpty()); }

TEST_F(hex_dump, negative_length_logs_only_start_and_end) {
    for (const int32_t length : {-1, -21, INT32_MIN}) {
        const auto texts = dump(length);
        EXPECT_THAT(texts, ElementsAre(line(" BUFFER START"), line(" END")));
    }
}

TEST_F(hex_dump, up_to_20_bytes_are_on_the_end_line) {
    auto texts = dump(1);
    EXPECT_THAT(texts, ElementsAre(line(" BUFFER START"), line("  0 END")));
    texts = dump(19);
    EXPECT_THAT(texts, ElementsAre(line(" BUFFER START"), line(row0.substr(0, 57) + " END")));
    texts = dump(20);
    EXPECT_THAT(texts, ElementsAre(line(" BUFFER START"), line(row0 + " END")));
}

TEST_F(hex_dump, more_bytes_have_a_line_for_each_20_before_the_end) {
    auto texts = dump(21);
    EXPECT_THAT(texts, ElementsAre(line(" BUFFER START"), line(row0 + " "), line(" 14 END")));
    texts = dump(40);
    EXPECT_THAT(texts, ElementsAre(line(" BUFFER START"), line(row0 + " "), line(row1 + " END")));
    texts = dump(41);
    EXPECT_THAT(texts,
                ElementsAre(line(" BUFFER START"), line(row0 + " "), line(row1 + " "), line(" 28 END")));
}

TEST_F(hex_dump, dump_of_1000_bytes_is_complete) {
    const auto texts = dump(1000);
    ASSERT_THAT(texts, SizeIs(51));
    EXPECT_THAT(texts[49], HasSubstr(" c0 c1 c2 c3")) << "bytes 960 to 979";
    EXPECT_EQ(texts[50], line(" d4 d5 d6 d7 d8 d9 da db dc dd de df e0 e1 e2 e3 e4 e5 e6 e7 END"));
}

TEST_F(hex_dump, does_not_open_the_log) {
    const uint8_t byte = 0xFF;
    auto lines = logged_by([&] { IDBG_LINUXAPP_DbgLogBuf(LOG_INFO, "f", 1, &byte, 1); });
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0].priority, LOG_USER | LOG_INFO);
    EXPECT_EQ(lines[0].sender, "debug_log_test");
    EXPECT_EQ(lines[1].text, "[" + pid() + " INFO][f:1]  ff END");

    lines = logged_by([&] {
        IDBG_LINUXAPP_DbgInit();
        IDBG_LINUXAPP_DbgLogBuf(LOG_INFO, "f", 1, &byte, 1);
    });
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0].priority, LOG_LOCAL6 | LOG_INFO);
    EXPECT_EQ(lines[0].sender, "debug_log_test[" + pid() + "]");
}

TEST_F(hex_dump, accepts_levels_above_7_and_file_names_of_any_length) {
    const std::string file(5000, '%');
    const uint8_t byte = 5;
    const auto lines = logged_by([&] { IDBG_LINUXAPP_DbgLogBuf(9, file.c_str(), -1, &byte, 1); });
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[1].priority, 9);
    EXPECT_EQ(lines[1].text, "[" + pid() + " ALERT][" + file + ":-1]   5 END");
}

} // namespace
