// SPDX-License-Identifier: Apache-2.0
#include "varnel/text_log.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/scratch_folder.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using varnel::test::identity_of;
using varnel::test::read_file;
using varnel::test::scratch_folder;
using varnel::test::write_file;

constexpr off_t default_limit = 1048576;
constexpr std::size_t stamp_length = 25; // "Wed Jun 30 21:49:08 1993" and its newline

/// Runs in a folder of its own, so that paths are short.
class text_log : public ::testing::Test {
  protected:
    text_log() { EXPECT_EQ(chdir(folder_.path().c_str()), 0); }
    ~text_log() override { EXPECT_EQ(chdir("/"), 0); }

    static void make(const std::string &path, off_t size) {
        write_file(path, "");
        ASSERT_EQ(truncate(path.c_str(), size), 0);
    }

    static off_t size_of(const std::string &path) {
        struct stat status {};
        return stat(path.c_str(), &status) == 0 ? status.st_size : -1;
    }

    scratch_folder folder_;
};

/// Whether `bytes` are one entry with a date since `start`.
bool is_entry(const std::string &bytes, std::time_t start, const std::string &message) {
    for (std::time_t t = start; t <= std::time(nullptr); ++t) {
        if (bytes == std::string(std::ctime(&t)) + "\t" + message + "\n") {
            return true;
        }
    }
    return false;
}

/// The messages of a log's entries, without their dates.
std::vector<std::string> messages(const std::string &bytes) {
    std::vector<std::string> found;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t end = std::min(bytes.find('\n', at + stamp_length), bytes.size());
        EXPECT_EQ(bytes.substr(at + stamp_length - 1, 2), "\n\t");
        found.push_back(bytes.substr(at + stamp_length + 1, end - at - stamp_length - 1));
        at = end + 1;
    }
    return found;
}

TEST_F(text_log, entry_is_a_date_line_then_a_tab_and_the_message) {
    const std::time_t start = std::time(nullptr);
    EXPECT_EQ(log_str_old("old", "fan 2 stopped"), 0);
    EXPECT_EQ(log_str("str", "fan %d %s", 2, "stopped"), 0);
    EXPECT_EQ(log_str_size("size", 100, "fan %d %s", 2, "stopped"), 0);
    for (const char *path : {"old", "str", "size"}) {
        EXPECT_TRUE(is_entry(read_file(path).value(), start, "fan 2 stopped")) << path;
    }
    EXPECT_THAT(folder_.names(), ElementsAre("old", "size", "str"));
}

TEST_F(text_log, entries_are_appended) {
    EXPECT_EQ(log_str("log", "one"), 0);
    const auto identity = identity_of("log");
    EXPECT_EQ(log_str_old("log", "two"), 0);
    EXPECT_EQ(log_str_size("log", 1000, "%s", ""), 0);
    EXPECT_THAT(messages(read_file("log").value()), ElementsAre("one", "two", ""));
    EXPECT_TRUE(identity_of("log") == identity);
}

TEST_F(text_log, plain_text_is_not_formatted) {
    EXPECT_EQ(log_str_old("log", "100%d %s %n %%"), 0);
    EXPECT_THAT(messages(read_file("log").value()), ElementsAre("100%d %s %n %%"));
}

TEST_F(text_log, date_is_local_time_and_follows_tz) {
    for (const char *zone : {"UTC0", "XYZ-5", "ABC+3:30"}) {
        ASSERT_EQ(setenv("TZ", zone, 1), 0);
        const std::time_t start = std::time(nullptr);
        EXPECT_EQ(log_str("log", "x"), 0);
        EXPECT_TRUE(is_entry(read_file("log").value(), start, "x")) << zone;
        ASSERT_EQ(unlink("log"), 0);
    }
    unsetenv("TZ");
}

TEST_F(text_log, percent_m_prints_the_callers_errno) {
    const std::string error_number = "%m%s"; // %m is a GNU conversion
    errno = ENOSPC;
    EXPECT_EQ(log_str("log", error_number.c_str(), ""), 0);
    EXPECT_THAT(messages(read_file("log").value()), ElementsAre(strerror(ENOSPC)));
}

TEST_F(text_log, file_of_exactly_the_limit_is_not_moved) {
    make("log", default_limit);
    make("other", default_limit);
    EXPECT_EQ(log_str("log", "x"), 0);
    EXPECT_EQ(log_str_old("other", "x"), 0);
    EXPECT_THAT(folder_.names(), ElementsAre("log", "other"));
    EXPECT_EQ(size_of("log"), default_limit + 28);
    EXPECT_EQ(size_of("other"), default_limit + 28);
}

TEST_F(text_log, file_of_one_byte_above_the_limit_is_moved) {
    make("log", default_limit + 1);
    make("other", default_limit + 1);
    const std::time_t start = std::time(nullptr);
    EXPECT_EQ(log_str("log", "x"), 0);
    EXPECT_EQ(log_str_old("other", "x"), 0);
    EXPECT_THAT(folder_.names(), ElementsAre("log", "log.old", "other", "other.old"));
    EXPECT_EQ(size_of("log.old"), default_limit + 1);
    EXPECT_EQ(size_of("other.old"), default_limit + 1);
    EXPECT_TRUE(is_entry(read_file("log").value(), start, "x"));
    EXPECT_TRUE(is_entry(read_file("other").value(), start, "x"));
}

TEST_F(text_log, file_above_the_callers_limit_is_moved) {
    make("log", 100);
    EXPECT_EQ(log_str_size("log", 100, "x"), 0);
    EXPECT_EQ(size_of("log"), 128) << "one entry above its limit";
    EXPECT_EQ(log_str_size("log", 100, "y"), 0);
    EXPECT_EQ(size_of("log"), 28);
    EXPECT_EQ(size_of("log.old"), 128);
}

TEST_F(text_log, only_one_backup_is_kept) {
    for (const char *text : {"one", "two", "three"}) {
        EXPECT_EQ(log_str_size("log", 0, "%s", text), 0);
    }
    EXPECT_THAT(folder_.names(), ElementsAre("log", "log.old"));
    EXPECT_THAT(messages(read_file("log").value()), ElementsAre("three"));
    EXPECT_THAT(messages(read_file("log.old").value()), ElementsAre("two"));
}

TEST_F(text_log, limit_0_does_not_move_an_empty_file) {
    make("log", 0);
    EXPECT_EQ(log_str_size("log", 0, "x"), 0);
    EXPECT_THAT(folder_.names(), ElementsAre("log"));
}

TEST_F(text_log, negative_limit_moves_an_empty_file) {
    for (const int32_t limit : {-1, INT32_MIN}) {
        make("log", 0);
        EXPECT_EQ(log_str_size("log", limit, "x"), 0);
        EXPECT_EQ(size_of("log.old"), 0);
        EXPECT_EQ(size_of("log"), 28);
    }
}

TEST_F(text_log, largest_limit_is_compared_with_the_size) {
    make("log", off_t{INT32_MAX});
    EXPECT_EQ(log_str_size("log", INT32_MAX, "x"), 0);
    EXPECT_THAT(folder_.names(), ElementsAre("log"));
    EXPECT_EQ(log_str_size("log", INT32_MAX, "x"), 0);
    EXPECT_EQ(size_of("log.old"), off_t{INT32_MAX} + 28) << "more than 2 GiB, on 32-bit boards too";
}

TEST_F(text_log, size_of_a_symlink_is_that_of_its_target) {
    make("target", 100);
    ASSERT_EQ(symlink("target", "log"), 0);
    EXPECT_EQ(log_str_size("log", 99, "x"), 0);
    EXPECT_THAT(folder_.names(), ElementsAre("log", "log.old", "target"));
    EXPECT_EQ(size_of("target"), 100) << "the link was moved, not the file";
}

TEST_F(text_log, file_with_a_path_above_45_characters_is_not_moved) {
    const std::string fits(45, 'f');     // a command of 98 characters; each character of the path adds two
    const std::string too_long(46, 't'); // 100
    make(fits, 1);
    make(too_long, 1);
    EXPECT_EQ(log_str_size(fits.c_str(), 0, "x"), 0);
    EXPECT_EQ(log_str_size(too_long.c_str(), 0, "x"), 0);
    EXPECT_THAT(folder_.names(), ElementsAre(fits, fits + ".old", too_long));
    EXPECT_EQ(size_of(too_long), 29);
}

TEST_F(text_log, very_long_path_is_logged_to_but_not_moved) {
    const std::string path = folder_.path() + "/" + std::string(200, 'l');
    make(path, 1);
    EXPECT_EQ(log_str_size(path.c_str(), 0, "x"), 0);
    EXPECT_EQ(size_of(path), 29);
}

TEST_F(text_log, path_is_interpreted_by_the_shell) {
    make("a;touch made", 1);
    EXPECT_EQ(log_str_size("a;touch made", 0, "x"), 0);
    EXPECT_THAT(folder_.names(), ::testing::Contains("made")) << "this is why paths must be plain";
}

TEST_F(text_log, failed_move_is_not_reported) {
    make("a b", 1);
    EXPECT_EQ(log_str_size("a b", 0, "x"), 0);
    EXPECT_THAT(folder_.names(), ElementsAre("a b"));
    EXPECT_EQ(size_of("a b"), 29);
}

TEST_F(text_log, entry_is_dropped_when_the_file_cannot_be_opened) {
    EXPECT_EQ(log_str("none/log", "x"), 0);
    EXPECT_EQ(log_str_old("none/log", "x"), 0);
    EXPECT_EQ(log_str_size("none/log", -1, "x"), 0);
    EXPECT_EQ(log_str(".", "x"), 0);
    EXPECT_THAT(folder_.names(), IsEmpty());
}

TEST_F(text_log, full_disk_returns_eof) {
    // Through a link, so that a rotation cannot move the device itself.
    ASSERT_EQ(symlink("/dev/full", "full"), 0);
    EXPECT_EQ(log_str("full", "x"), EOF);
    EXPECT_EQ(log_str_old("full", "x"), EOF);
    EXPECT_EQ(log_str_size("full", 0, "%s", std::string(100000, 'x').c_str()), EOF);
}

TEST_F(text_log, new_file_obeys_the_umask) {
    const mode_t old_mask = umask(027);
    EXPECT_EQ(log_str("log", "x"), 0);
    umask(old_mask);
    EXPECT_EQ(identity_of("log").mode & 07777U, 0640U);
}

TEST_F(text_log, entry_of_any_length_is_complete) {
    for (const std::size_t length : {4000U, 4096U, 16356U, 16357U, 16358U, 16384U, 100000U}) {
        const std::string text(length, 'x');
        EXPECT_EQ(log_str("log", "%s", text.c_str()), 0);
        EXPECT_THAT(messages(read_file("log").value()), ElementsAre(text)) << length;
        ASSERT_EQ(unlink("log"), 0);
    }
}

/// Calls of write() and the like by this process so far; none when the kernel does not count them.
std::optional<unsigned long> writes_so_far() {
    const std::string counts = read_file("/proc/self/io").value_or("");
    const std::size_t found = counts.find("syscw: ");
    return found == std::string::npos ? std::nullopt
                                      : std::optional(std::stoul(counts.substr(found + sizeof "syscw:")));
}

TEST_F(text_log, entry_of_16000_bytes_is_one_write) {
    const std::string text(16'000, 'x');
    const std::optional<unsigned long> before = writes_so_far();
    EXPECT_EQ(log_str("log", "%s", text.c_str()), 0);
    if (!before) {
        GTEST_SKIP() << "the kernel does not count the writes of a process";
    }
    EXPECT_EQ(writes_so_far(), *before + 1);
}

TEST_F(text_log, entries_of_several_processes_do_not_mix) {
    constexpr int writers = 4;
    constexpr int entries = 100;
    constexpr std::size_t length = 10000;
    std::vector<pid_t> children;
    for (char letter = 'a'; letter < 'a' + writers; ++letter) {
        const pid_t child = fork();
        if (child == 0) {
            const std::string text(length, letter);
            for (int n = 0; n < entries; ++n) {
                log_str_size("log", INT32_MAX, "%s", text.c_str());
            }
            _exit(0);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        EXPECT_EQ(waitpid(child, nullptr, 0), child);
    }
    const std::vector<std::string> found = messages(read_file("log").value());
    EXPECT_EQ(found.size(), static_cast<std::size_t>(writers) * entries);
    for (const std::string &message : found) {
        ASSERT_EQ(message, std::string(length, message[0]));
    }
}

} // namespace
