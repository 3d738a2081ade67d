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

/// Old entries are in the file or its backup, and the new one is there when the result is 0. Two exceptions
/// (text_log.h): when the file cannot be opened, the entry is dropped with result 0, and of an entry that
/// needs several writes only a failure of the last one is reported.
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

TEST(log_torture, append) { torture_log(1000, "entry"); }
TEST(log_torture, append_long) { torture_log(1000, std::string(50000, 'x')); }
TEST(log_torture, move_to_backup) { torture_log(1, "entry"); }

} // namespace
