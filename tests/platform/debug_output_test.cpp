// SPDX-License-Identifier: Apache-2.0
// IDBG_LINUXAPP_DbgOut() as a syslog daemon and a terminal see it.
#include <cerrno>
#include <cstdlib>
#include <string>

#include <syslog.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/private_dev.h"
#include "varnel/platform.h"

namespace {

using ::testing::EndsWith;
using ::testing::StartsWith;
using varnel::test::logged;

class DebugOutput : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!varnel::test::has_private_dev()) {
            GTEST_SKIP() << "this machine allows no mount namespace";
        }
        unsetenv("VARNEL_DEBUG_STDERR");
    }
};

std::string priority(int level) { return "<" + std::to_string(level) + ">"; }

TEST_F(DebugOutput, GoesToSyslog) {
    const std::string text = "[message.c:103]Error opening named pipe /tmp/q\n";
    EXPECT_EQ(IDBG_LINUXAPP_DbgOut(0x82, "[%s:%d]Error opening named pipe %s\n", "message.c", 103, "/tmp/q"),
              static_cast<int>(text.size()));
    const std::string line = logged();
    EXPECT_THAT(line, StartsWith(priority(LOG_USER | LOG_CRIT)));
    EXPECT_THAT(line, EndsWith(text));
    EXPECT_EQ(logged(), "");
}

TEST_F(DebugOutput, TakesThePriorityFromTheLowBits) {
    for (int level = 0; level < 8; ++level) {
        IDBG_LINUXAPP_DbgOut(0x7FFFFFF8 | level, "x");
        EXPECT_THAT(logged(), StartsWith(priority(LOG_USER | level)));
    }
}

TEST_F(DebugOutput, LeavesErrno) {
    errno = ENOENT;
    const std::string format = "%s: %m"; // %m is glibc's
    IDBG_LINUXAPP_DbgOut(0x82, format.c_str(), "open");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_THAT(logged(), EndsWith("open: No such file or directory"));
}

TEST_F(DebugOutput, GoesToStandardErrorWhenAskedTo) {
    for (const char *wish : {"", "0"}) {
        setenv("VARNEL_DEBUG_STDERR", wish, 1);
        ::testing::internal::CaptureStderr();
        IDBG_LINUXAPP_DbgOut(0x82, "quiet\n");
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    }
    setenv("VARNEL_DEBUG_STDERR", "1", 1);
    ::testing::internal::CaptureStderr();
    errno = EPERM;
    const std::string format = "%s %d %m\n";
    EXPECT_EQ(IDBG_LINUXAPP_DbgOut(0x82, format.c_str(), "loud", 5), 31);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "loud 5 Operation not permitted\n");
    EXPECT_EQ(errno, EPERM);
}

} // namespace
