// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>

#include "faults/faults.h"
#include "platform/private_dev.h"
#include "varnel/debug_log.h"
#include "varnel/smbus.h"
#include "varnel/text_log.h"

namespace varnel::test {
namespace {

class text_log_faults : public faults {
  protected:
    /// The old entries stay, here or in the backup, and the new one is there as a whole or not at all.
    void try_log(const std::string &old, const std::function<int32_t(const char *)> &add) {
        try_all({[=, this] {
                     std::remove(backup().c_str());
                     write_file(log(), old);
                 },
                 [=, this](answer &said) { said.numbers[0] = add(log().c_str()); },
                 [=, this](run &r) { judge_log(r, old); }, log()});
    }

  private:
    [[nodiscard]] std::string log() const { return path("log"); }
    [[nodiscard]] std::string backup() const { return log() + ".old"; }

    void judge_log(run &r, const std::string &old) const {
        const std::string all = read_file(backup()).value_or("") + read_file(log()).value_or("");
        ASSERT_TRUE(all.starts_with(old));
        const std::string added = all.substr(old.size());
        const bool written = added.ends_with("\n\tentry\n") && added.size() == 24 + 1 + 1 + 6;
        EXPECT_TRUE(written || added.empty()) << added;
        if (!r.killed()) {
            const bool opened =
                !r.failed_on("openat", log()) && !(r.failed_on("lseek", log()) && r.error() != ESPIPE);
            EXPECT_EQ(r.said.numbers[0], r.failed("write") || r.failed_on("close", log()) ? -1 : 0);
            EXPECT_EQ(written, opened && !r.failed("write"));
        }
    }
};

const std::string old_entry = "Wed Jun 30 21:49:08 1993\n\told entry\n";

TEST_F(text_log_faults, log_str) {
    try_log(old_entry, [](const char *path) { return log_str(path, "%s", "entry"); });
}

TEST_F(text_log_faults, log_str_old) {
    try_log(old_entry, [](const char *path) { return log_str_old(path, "entry"); });
}

TEST_F(text_log_faults, log_str_size) {
    try_log(old_entry, [](const char *path) { return log_str_size(path, 1000, "%s", "entry"); });
    try_log(old_entry,
            [](const char *path) { return log_str_size(path, 10, "%s", "entry"); }); // moves the file
}

class debug_log_faults : public faults {
  protected:
    void SetUp() override {
        faults::SetUp();
        if (!has_private_dev()) {
            GTEST_SKIP() << "no mount namespace";
        }
    }

    /// Lines arrive once or not at all. The C library keeps the socket of the log.
    void try_log(const std::function<void()> &add, int lines) {
        try_all({[] { take_lines(); }, [add](answer & /*said*/) { add(); },
                 [lines](run &r) {
                     const int arrived = take_lines();
                     EXPECT_LE(arrived, lines);
                     EXPECT_TRUE(r.killed() || arrived == lines || r.failed("socket") ||
                                 r.failed("connect") || r.failed("send"))
                         << arrived;
                     r.leaves_open(r.killed() || r.said.left_open == 0 ? 0 : 1);
                 }});
    }

  private:
    static int take_lines() {
        int lines = 0;
        while (!logged().empty()) {
            ++lines;
        }
        return lines;
    }
};

TEST_F(debug_log_faults, IDBG_LINUXAPP_DbgLog) {
    try_log([] { IDBG_LINUXAPP_DbgLog(3, " fan %d stopped", 2); }, 1);
}

TEST_F(debug_log_faults, IDBG_LINUXAPP_DbgLogBuf) {
    static constexpr std::array<uint8_t, 21> bytes{1, 2, 3};
    try_log([] { IDBG_LINUXAPP_DbgLogBuf(3, "main.c", 42, bytes.data(), bytes.size()); }, 3);
}

using output_faults = faults;

/// Here, each line that is printed is a write(2).
TEST_F(output_faults, printf_buf) {
    static constexpr std::array<uint8_t, 3> bytes{1, 2, 255};
    try_all({.prepare = [] {},
             .call = [](answer &said) { said.numbers[0] = printf_buf(bytes.data(), bytes.size()); },
             .judge =
                 [](run &r) {
                     EXPECT_TRUE(r.killed() || r.said.numbers[0] == (r.failed("write", 1) ? EOF : '\n'));
                 }});
}

} // namespace
} // namespace varnel::test
