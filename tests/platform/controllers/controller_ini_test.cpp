// SPDX-License-Identifier: Apache-2.0
// The INI file that the controller table is made from.
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "controller_ini.h"
#include "host/ini_file.h"

namespace {

using namespace varnel::tools;
using namespace varnel::platform;

controller_records read(const std::string &text) {
    std::istringstream input(text);
    return read_controller_ini(input, "controllers.ini");
}

std::string complaint_about(const std::string &text) {
    try {
        read(text);
    } catch (const varnel::host::bad_line &error) {
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
        bad_file{"[smc]\naddress\n", "2: neither a [section] nor KEY = VALUE"},
        bad_file{"address = 192.0.2.1\n", "1: 'address' comes before the first [section]"},
        bad_file{"[psu]\na = b\n", "1: [psu] is not a controller: smc, or bmc0 to bmc255"},
        bad_file{"[bmc256]\na = b\n", "1: [bmc256] is not a controller: smc, or bmc0 to bmc255"},
        bad_file{"[bmc01]\na = b\n", "1: [bmc01] is not a controller: smc, or bmc0 to bmc255"},
        bad_file{"[bmc0x1]\na = b\n", "1: [bmc0x1] is not a controller: smc, or bmc0 to bmc255"},
        bad_file{"[bmc-1]\na = b\n", "1: [bmc-1] is not a controller: smc, or bmc0 to bmc255"},
        bad_file{"[bmc4294967295]\na = b\n",
                 "1: [bmc4294967295] is not a controller: smc, or bmc0 to bmc255"},
        bad_file{"[bmc4294967296]\na = b\n",
                 "1: [bmc4294967296] is not a controller: smc, or bmc0 to bmc255"},
        bad_file{"[bmc]\na = b\n", "1: [bmc] is not a controller: smc, or bmc0 to bmc255"},
        bad_file{good + "colour = red\n", "3: colour: there is no such key"},
        bad_file{good + "address = 192.0.2.2\n", "3: 'address' is given twice, first on line 2"},
        bad_file{good + "[smc]\nuser = root\n", "3: [smc] is described twice, first on line 1"},
        bad_file{"[smc]\n\naddress = bmc.example\n", "3: address: 'bmc.example' is not an IPv4 address"},
        bad_file{"[smc]\naddress = 192.0.2.256\n", "2: address: '192.0.2.256' is not an IPv4 address"},
        bad_file{"[smc]\naddress = 0.0.0.0\n", "2: address: '0.0.0.0' is not an IPv4 address"},
        bad_file{"[smc]\naddress =\n", "2: address: '' is not an IPv4 address"},
        bad_file{good + "user = seventeen.letters\n", "3: user: 17 characters are more than 16"},
        bad_file{good + "password = twenty.one.characters\n", "3: password: 21 characters are more than 20"},
        bad_file{good + "cipher-suite = 0\n",
                 "3: cipher-suite: '0' is not a cipher suite with authentication"},
        bad_file{good + "cipher-suite = 3x\n",
                 "3: cipher-suite: '3x' is not a cipher suite with authentication"},
        bad_file{good + "give-up-after = 5\n", "3: give-up-after: '5' is not a time from 1ms to 600s"},
        bad_file{good + "give-up-after = s\n", "3: give-up-after: 's' is not a time from 1ms to 600s"},
        bad_file{good + "give-up-after = 0s\n", "3: give-up-after: '0s' is not a time from 1ms to 600s"},
        bad_file{good + "give-up-after = 601s\n", "3: give-up-after: '601s' is not a time from 1ms to 600s"},
        bad_file{good + "give-up-after = 11m\n", "3: give-up-after: '11m' is not a time from 1ms to 600s"},
        bad_file{good + "give-up-after = -1s\n", "3: give-up-after: '-1s' is not a time from 1ms to 600s"},
        bad_file{good + "give-up-after = 1 s\n", "3: give-up-after: '1 s' is not a time from 1ms to 600s"},
        bad_file{good + "give-up-after = 99999999999s\n",
                 "3: give-up-after: '99999999999s' is not a time from 1ms to 600s"},
        bad_file{good + "give-up-after = 5s\n", "1: [smc]: give-up-after and retransmit-after go together"},
        bad_file{good + "give-up-after = 5s\nretransmit-after = 6s\n",
                 "1: [smc]: retransmit-after is longer than give-up-after"},
        bad_file{"[bmc7]\nuser = admin\n", "1: [bmc7]: no address"},
        bad_file{"[bmc7]\n", "1: [bmc7]: no address"},
        bad_file{good + "password = " + std::string(300, 'x') + "\n", "3: the line is too long"}));

TEST(controller_ini, message_does_not_contain_the_password) {
    EXPECT_THAT(complaint_about(good + "password = a.very.secret.password\n"),
                ::testing::Not(::testing::HasSubstr("secret")));
}

} // namespace
