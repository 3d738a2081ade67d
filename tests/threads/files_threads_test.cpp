// SPDX-License-Identifier: Apache-2.0
// INI files, record files, device names: readers of one file, writers of one file each.
#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "threads/in_parallel.h"
#include "varnel/iniparser.h"
#include "varnel/ipmi_relay.h"
#include "varnel/logparser.h"

namespace {

using namespace varnel::test;

class files_threads : public ::testing::Test {
  protected:
    scratch_folder folder_;
};

TEST_F(files_threads, all_threads_read_settings_of_one_file) {
    const std::string path = folder_.file("daemon.ini");
    write_file(path, "[a]\nnumber=7\nword=seven\nflag=true\n[b]\nnumber=-8\n");
    in_parallel(4, [&](int) {
        for (int round = 0; round < 50; ++round) {
            int32_t number = 0;
            int32_t flag = 0;
            std::array<char, 256> word{};
            EXPECT_EQ(get_config_integer(path.c_str(), "b", "number", 10, &number), 0);
            EXPECT_EQ(get_config_boolean(path.c_str(), "a", "flag", &flag), 0);
            EXPECT_EQ(get_config_string(path.c_str(), "a", "word", word.data()), 0);
            EXPECT_EQ(number, -8);
            EXPECT_EQ(flag, 1);
            EXPECT_STREQ(word.data(), "seven");
        }
    });
}

TEST_F(files_threads, each_thread_can_write_its_own_file) {
    in_parallel(4, [&](int thread) {
        const std::string path = folder_.file("daemon" + std::to_string(thread) + ".ini");
        for (int round = 0; round < 50; ++round) {
            const std::string value = std::to_string(thread * 1000 + round);
            // In an existing section, the rest of the file is expanded as format text.
            ASSERT_EQ(set_config_string(path.c_str(), "s", ("key" + value).c_str(), value.c_str()), 0);
            std::array<char, 256> back{};
            ASSERT_EQ(get_config_string(path.c_str(), "s", ("key" + value).c_str(), back.data()), 0);
            EXPECT_EQ(back.data(), value);
        }
        EXPECT_EQ(set_section_string(path.c_str(), "s", "t"), 0);
    });
}

TEST_F(files_threads, one_thread_reads_records_while_others_read_names) {
    const std::string path = folder_.file("slots");
    write_file(path, "[slots]\ncpu <one> 1\nfan <two> 2\n");
    in_parallel(3, [&](int thread) {
        const auto table = std::make_unique<TABLE>();
        for (int round = 0; round < 20; ++round) {
            std::array<char, DEVICE_NAME_SIZE> name{};
            if (thread == 0) { // strtok(): one thread at a time
                table->count = 0;
                EXPECT_EQ(log_styled_file_parse(path.c_str(), " ", 1, table.get()), 0);
                EXPECT_EQ(table->count, 3);
            } else {
                EXPECT_EQ(get_device_name(path.c_str(), '<', '>', name.data(), thread), 0);
                EXPECT_STREQ(name.data(), thread == 1 ? "one" : "two");
            }
        }
    });
}

} // namespace
