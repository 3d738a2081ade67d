// SPDX-License-Identifier: Apache-2.0
// The INI file that the controller table is made from.
#include <cstdio>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "controller_ini.h"

namespace {

using namespace varnel::tools;
using namespace varnel::platform;

controller_records read(std::string text) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> stream(fmemopen(text.data(), text.size(), "r"),
                                                                  std::fclose);
    return read_controller_ini(stream.get(), "controllers.ini");
}

std::string complaint_about(const std::string &text) {
    try {
        read(text);
    } catch (const controller_error &error) {
        return error.what();
    }
    return "";
}

std::string user_of(const controller_record &record) {
    return std::string(login_text(record, LOGIN_USER_NAME_OFFSET, LOGIN_USER_NAME_SIZE));
}
std::string password_of(const controller_record &record) {
    return std::string(login_text(record, LOGIN_PASSWORD_OFFSET, LOGIN_PASSWORD_SIZE));
}

TEST(controller_ini, all_keys_of_controllers_are_read) {
    const auto records = read("; the rack\n"
                              "[smc]\n"
                              "address = 192.0.2.1\n"
                              "user = admin\n"
                              "password = pass word\n"
                              "[bmc0]\n"
                              "address = 192.0.2.10 ; the first\n"
                              "cipher-suite = 3\n"
                              "give-up-after = 11s\n"
                              "retransmit-after = 10500ms\n"
                              "[bmc255]\n"
                              "user = sixteen.letters.\n"
                              "password = twenty.letters.long.\n"
                              "address = 192.0.2.255");
    EXPECT_EQ(records[0].present, 1);
    EXPECT_STREQ(records[0].address.data(), "192.0.2.1");
    EXPECT_EQ(user_of(records[0]), "admin");
    EXPECT_EQ(password_of(records[0]), "pass word");
    EXPECT_EQ(records[0].cipher_suite, 0);
    EXPECT_EQ(records[0].give_up_after_ms, 0U);
    EXPECT_EQ(records[1].cipher_suite, 3);
    EXPECT_EQ(records[1].give_up_after_ms, 11'000U);
    EXPECT_EQ(records[1].retransmit_after_ms, 10'500U);
    EXPECT_EQ(records[2].present, 0);
    EXPECT_STREQ(records[256].address.data(), "192.0.2.255");
    EXPECT_EQ(user_of(records[256]), "sixteen.letters.");
    EXPECT_EQ(password_of(records[256]), "twenty.letters.long.");
}

TEST(controller_ini, empty_file_is_accepted) { EXPECT_EQ(complaint_about("\n"), ""); }

struct bad_file {
    std::string text;
    std::string complaint;
};

class bad_controller_ini : public ::testing::TestWithParam<bad_file> {};

TEST_P(bad_controller_ini, is_refused_with_line_and_reason) {
    EXPECT_EQ(complaint_about(GetParam().text), "controllers.ini:" + GetParam().complaint);
}

const std::string good = "[smc]\naddress = 192.0.2.1\n";

INSTANTIATE_TEST_SUITE_P(
    files, bad_controller_ini,
    ::testing::Values(
        bad_file{"[smc]\naddress\n", "2: neither a [section] nor key = value"},
        bad_file{"address = 192.0.2.1\n", "1: no such controller: []; smc, or bmc0 to bmc255"},
        bad_file{"[psu]\na = b\n", "2: no such controller: [psu]; smc, or bmc0 to bmc255"},
        bad_file{"[bmc256]\na = b\n", "2: no such controller: [bmc256]; smc, or bmc0 to bmc255"},
        bad_file{"[bmc01]\na = b\n", "2: no such controller: [bmc01]; smc, or bmc0 to bmc255"},
        bad_file{"[bmc-1]\na = b\n", "2: no such controller: [bmc-1]; smc, or bmc0 to bmc255"},
        bad_file{"[bmc4294967296]\na = b\n",
                 "2: no such controller: [bmc4294967296]; smc, or bmc0 to bmc255"},
        bad_file{"[bmc]\na = b\n", "2: no such controller: [bmc]; smc, or bmc0 to bmc255"},
        bad_file{good + "colour = red\n", "3: no such key: \"colour\""},
        bad_file{good + "address = 192.0.2.2\n", "3: \"address\" given twice in [smc]"},
        bad_file{"[smc]\n\naddress = bmc.example\n", "3: not an IPv4 address: \"bmc.example\""},
        bad_file{"[smc]\naddress = 192.0.2.256\n", "2: not an IPv4 address: \"192.0.2.256\""},
        bad_file{"[smc]\naddress = 0.0.0.0\n", "2: not an IPv4 address: \"0.0.0.0\""},
        bad_file{"[smc]\naddress =\n", "2: not an IPv4 address: \"\""},
        bad_file{good + "user = seventeen.letters\n", "3: longer than 16 characters: 17"},
        bad_file{good + "password = twenty.one.characters\n", "3: longer than 20 characters: 21"},
        bad_file{good + "cipher-suite = 0\n", "3: not a cipher suite with authentication: \"0\""},
        bad_file{good + "cipher-suite = 3x\n", "3: not a cipher suite with authentication: \"3x\""},
        bad_file{good + "give-up-after = 5\n", "3: not a time from 1ms to 600s: \"5\""},
        bad_file{good + "give-up-after = s\n", "3: not a time from 1ms to 600s: \"s\""},
        bad_file{good + "give-up-after = 0s\n", "3: not a time from 1ms to 600s: \"0s\""},
        bad_file{good + "give-up-after = 601s\n", "3: not a time from 1ms to 600s: \"601s\""},
        bad_file{good + "give-up-after = -1s\n", "3: not a time from 1ms to 600s: \"-1s\""},
        bad_file{good + "give-up-after = 1 s\n", "3: not a time from 1ms to 600s: \"1 s\""},
        bad_file{good + "give-up-after = 99999999999s\n", "3: not a time from 1ms to 600s: \"99999999999s\""},
        bad_file{good + "give-up-after = 5s\n", "2: give-up-after and retransmit-after go together"},
        bad_file{good + "give-up-after = 5s\nretransmit-after = 6s\n",
                 "2: retransmit-after is longer than give-up-after"},
        bad_file{"[bmc7]\nuser = admin\n", "2: no address"},
        bad_file{good + "password = " + std::string(300, 'x') + "\n", "3: line longer than 198 characters"}));

TEST(controller_ini, message_does_not_contain_the_password) {
    EXPECT_THAT(complaint_about(good + "password = a.very.secret.password\n"),
                ::testing::Not(::testing::HasSubstr("secret")));
}

} // namespace
