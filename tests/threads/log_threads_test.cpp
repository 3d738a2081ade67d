// SPDX-License-Identifier: Apache-2.0
// Text logs: all threads append to one file; each thread rotates its own file. System log: lines of all
// threads.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>

#include <gtest/gtest.h>

#include <unistd.h>

#include "platform/private_dev.h"
#include "support/scratch_folder.h"
#include "threads/in_parallel.h"
#include "varnel/debug_log.h"
#include "varnel/platform.h"
#include "varnel/text_log.h"

namespace {

using namespace varnel::test;

constexpr int threads = 4;
constexpr int rounds = 50;

/// How often `bytes` contains the complete message `text`.
long messages(const std::string &bytes, const std::string &text) {
    long found = 0;
    const std::string line = "\n\t" + text + "\n";
    for (std::size_t at = bytes.find(line); at != std::string::npos; at = bytes.find(line, at + 1)) {
        ++found;
    }
    return found;
}

TEST(log_threads, entries_of_all_threads_in_one_file_are_complete) {
    const scratch_folder folder;
    const std::string path = folder.file("log");
    in_parallel(threads, [&](int thread) {
        for (int round = 0; round < rounds; ++round) {
            EXPECT_EQ(log_str(path.c_str(), "entry of thread %d", thread), 0);
        }
    });
    const std::string bytes = read_file(path).value();
    for (int thread = 0; thread < threads; ++thread) {
        EXPECT_EQ(messages(bytes, "entry of thread " + std::to_string(thread)), rounds);
    }
    EXPECT_EQ(std::ranges::count(bytes, '\n'), 2 * threads * rounds);
}

TEST(log_threads, each_thread_can_rotate_its_own_file) {
    const scratch_folder folder;
    ASSERT_EQ(chdir(folder.path().c_str()), 0); // paths must be short
    in_parallel(threads, [&](int thread) {
        const std::string path = "log" + std::to_string(thread);
        for (int round = 0; round < 6; ++round) {
            EXPECT_EQ(log_str_size(path.c_str(), 0, "round %d", round), 0);
        }
        EXPECT_EQ(messages(read_file(path).value(), "round 5"), 1);
        EXPECT_EQ(messages(read_file(path + ".old").value(), "round 4"), 1);
    });
    EXPECT_EQ(folder.names().size(), 2U * threads);
    EXPECT_EQ(chdir("/"), 0);
}

TEST(log_threads, lines_of_all_threads_reach_the_system_log) {
    if (!has_private_dev()) {
        GTEST_SKIP() << "needs permission to mount a /dev (root, or user namespaces)";
    }
    constexpr long expected = 3L * threads * rounds; // a line, a dump of two
    std::atomic<long> lines = 0;
    std::jthread system_log([&lines](const std::stop_token &stop) {
        while (lines < expected && !stop.stop_requested()) {
            const std::string line = logged();
            lines +=
                line.find("from a thread") != std::string::npos || line.find("[t.c:") != std::string::npos;
            if (line.empty()) {
                std::this_thread::yield();
            }
        }
    });
    in_parallel(threads, [&](int thread) {
        const std::array<uint8_t, 4> bytes{1, 2, 3, 4};
        for (int round = 0; round < rounds; ++round) {
            IDBG_LINUXAPP_DbgLog(6, "from a thread: %d", thread); // the threads' first calls open the log
            IDBG_LINUXAPP_DbgLogBuf(7, "t.c", thread, bytes.data(), bytes.size());
        }
        EXPECT_GT(IDBG_LINUXAPP_DbgOut(0x82, "round %d\n", thread), 0);
    });
    system_log.join();
    EXPECT_EQ(lines, expected);
}

} // namespace
