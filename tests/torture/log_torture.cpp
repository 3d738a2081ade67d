// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "torture/torture.h"
#include "varnel/debug_log.h"
#include "varnel/text_log.h"

namespace {

using namespace varnel::test;

constexpr std::size_t one_write_entry = 16000;
const std::string old_entries = "date\n\told entry\n";

/// Old entries are in the file or in the one moved aside, and the new one is there when the result says so.
/// A file that cannot be opened drops the entry with result 0, and of an entry that takes several writes only
/// the last one's failure is reported (text_log.h).
void torture_log(int32_t limit, const std::string &message) {
    torture([&](trial &t) {
        const scratch_folder folder;
        const std::string path = folder.file("log");
        write_file(path, old_entries);
        int32_t result = 1;
        t.run([&] { result = log_str_size(path.c_str(), limit, "%s", message.c_str()); });
        const std::string all = read_file(path + ".old").value_or("") + read_file(path).value_or("");
        EXPECT_EQ(all.substr(0, old_entries.size()), old_entries);
        const bool one_write = message.size() < one_write_entry;
        const bool unreported = t.has_failed("fopen") || (t.has_failed("stream write") && !one_write);
        if (result == 0 && !unreported) {
            EXPECT_TRUE(all.ends_with("\n\t" + message + "\n"));
            EXPECT_EQ(all.size(), old_entries.size() + 24 + 3 + message.size());
        }
        if (!t.any_failed()) {
            EXPECT_EQ(result, 0);
        }
    });
}

TEST(LogTorture, Append) { torture_log(1000, "entry"); }
TEST(LogTorture, AppendLong) { torture_log(1000, std::string(50000, 'x')); }
TEST(LogTorture, MoveAside) { torture_log(1, "entry"); }

} // namespace
