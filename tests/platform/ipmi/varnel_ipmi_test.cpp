// SPDX-License-Identifier: Apache-2.0
// The command varnel ipmi with the simulator ipmi_sim, on loopback in a network namespace of the test's own.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bmc_servers.h"
#include "platform/namespaces.h"
#include "support/scratch_folder.h"
#include "tools/varnel/controller_admin/controller_table_file.h"

namespace {

using namespace varnel::test;
using varnel::platform::controller_record;
using varnel::tools::controller_records;

bool in_own_network = false;

struct finished {
    int status;
    std::string text; ///< standard output and error
    bool operator==(const finished &) const = default;
};

void PrintTo(const finished &got, std::ostream *out) { *out << "status " << got.status << ": " << got.text; }

finished varnel_ipmi(const std::string &arguments) {
    // A sanitizer's dlopen() does not use the program's own search path.
    std::FILE *const pipe =
        popen(("LD_LIBRARY_PATH=" LIBRARIES " " VARNEL " ipmi " + arguments + " 2>&1").c_str(), "r");
    finished result{0, ""};
    std::array<char, 4096> piece{};
    for (std::size_t n = 0; (n = std::fread(piece.data(), 1, piece.size(), pipe)) > 0;) {
        result.text.append(piece.data(), n);
    }
    result.status = WEXITSTATUS(pclose(pipe));
    return result;
}

controller_record make_record(const std::string &address, const std::string &password) {
    const std::string user = "admin";
    controller_record record{};
    record.present = 1;
    std::ranges::copy(address, record.address.begin());
    std::ranges::copy(user, record.login.begin() + 2);
    std::ranges::copy(password, record.login.begin() + 18);
    record.give_up_after_ms = 2000;
    record.retransmit_after_ms = 1000;
    return record;
}

class ipmi_command : public ::testing::Test {
  protected:
    ipmi_command() : table("/varnel-test-command-" + std::to_string(getpid())) {
        setenv("VARNEL_DEVICE_TABLE", table.c_str(), 1);
        records[0] = make_record(bmc_address(1), "secret");
        records[1] = make_record(bmc_address(0), "secret");
        records[3] = make_record(bmc_address(0), "wrong");
        records[4] = make_record("127.0.9.1", "secret"); // no BMC at this address
        varnel::tools::publish_controller_table(records, table);
        write_file(password_file, "secret\n");
    }
    ~ipmi_command() override { shm_unlink(table.c_str()); }
    void SetUp() override {
        if (!in_own_network) {
            GTEST_SKIP() << "this machine allows no network namespace";
        }
    }

    std::string table;
    scratch_folder folder;
    std::string password_file = folder.file("password");
    controller_records records{};
};

TEST_F(ipmi_command, prints_the_response_of_the_controller) {
    const simulated_bmcs bmcs(2);
    EXPECT_EQ(varnel_ipmi("raw 0 0x10"), (finished{0, "00\n"}));
    EXPECT_EQ(varnel_ipmi("raw 0 0x10 0xff 0 128"), (finished{0, "00 ff 00 80\n"}));
    EXPECT_EQ(varnel_ipmi("raw 0 0x12"), (finished{0, "00 20\n"}));
    EXPECT_EQ(varnel_ipmi("raw smc 0x12"), (finished{0, "00 22\n"}));
    EXPECT_EQ(varnel_ipmi("raw 0 16 1 2 --json"), (finished{0, "{\n"
                                                               "  \"controller\": \"bmc0\",\n"
                                                               "  \"address\": \"127.0.1.1\",\n"
                                                               "  \"response\": [\n"
                                                               "    0,\n"
                                                               "    1,\n"
                                                               "    2\n"
                                                               "  ]\n"
                                                               "}\n"}));
}

TEST_F(ipmi_command, failed_command_prints_controller_address_and_reason) {
    const simulated_bmcs bmcs;
    EXPECT_EQ(varnel_ipmi("raw 0 0x13 0xD5"),
              (finished{1, "varnel: bmc0 (127.0.1.1): completion code 0xd5, see IPMI 2.0 table 5-2\n"}));
    EXPECT_EQ(varnel_ipmi("raw 2 0x10"),
              (finished{1, "varnel: bmc2 (127.0.1.1): no session: wrong password (status 0x0103)\n"}));
    EXPECT_EQ(varnel_ipmi("raw 3 0x10"),
              (finished{1, "varnel: bmc3 (127.0.9.1): no session: no answer in time (status 0x0106)\n"}));
    EXPECT_EQ(varnel_ipmi("raw 1 0x10"), (finished{1, "varnel: bmc1: no address; see varnel controllers\n"}));
}

TEST_F(ipmi_command, host_needs_no_table) {
    const simulated_bmcs bmcs;
    setenv("VARNEL_DEVICE_TABLE", "/varnel-test-none", 1);
    const std::string options = " --user admin --password-file " + password_file;
    EXPECT_EQ(varnel_ipmi("raw " + bmc_address(0) + " 0x12" + options), (finished{0, "00 20\n"}));
    EXPECT_EQ(varnel_ipmi("raw " + bmc_address(0) + " 0x12 --user admin --password-file - <" + password_file),
              (finished{0, "00 20\n"}));
    EXPECT_EQ(
        varnel_ipmi("raw " + bmc_address(0) + " 0x12 --user nobody --password-file " + password_file).status,
        1);
}

TEST_F(ipmi_command, any_network_function_can_be_sent) {
    const simulated_bmcs bmcs;
    const std::string device_id =
        varnel_ipmi("raw 0 1 --netfn 6").text; // Get Device ID, IPMI 2.0 section 20.1
    EXPECT_THAT(device_id, ::testing::StartsWith("00 "));
    EXPECT_EQ(device_id.size(), 16U * 3U) << device_id;
}

TEST_F(ipmi_command, cipher_suite_is_used_for_this_command_only) {
    const simulated_bmcs bmcs;
    EXPECT_EQ(varnel_ipmi("raw 0 0x12 --cipher-suite 3"), (finished{0, "00 20\n"}));
    EXPECT_EQ(varnel_ipmi("raw 0 0x12 --cipher-suite 17").status, 1); // ipmi_sim knows SHA-1 only
    EXPECT_EQ(varnel_ipmi("raw 0 0x12"), (finished{0, "00 20\n"}));
}

TEST_F(ipmi_command, bad_arguments_are_refused) {
    EXPECT_EQ(varnel_ipmi("raw 0 1 --netfn 0x40"),
              (finished{2, "varnel: --netfn: '0x40' is not a number from 0 to 63\n"}));
    EXPECT_EQ(varnel_ipmi("raw 127.0.1.1 1 --user 12345678901234567"),
              (finished{2, "varnel: --user: longer than 16 bytes\n"}));
    EXPECT_EQ(varnel_ipmi("raw 0 1 --password-file /none"),
              (finished{1, "varnel: /none: No such file or directory\n"}));
    EXPECT_EQ(varnel_ipmi("raw ::1 1"),
              (finished{2, "varnel: '::1' is an IPv6 address; only IPv4 is supported\n"}));
    EXPECT_EQ(varnel_ipmi("raw 256 1"),
              (finished{2, "varnel: SLOT: '256' is not a number from 0 to 255 (0xff)\n"}));
    EXPECT_EQ(varnel_ipmi("raw 0 0x100"),
              (finished{2, "varnel: CMD: '0x100' is not a number from 0 to 255 (0xff)\n"}));
    EXPECT_EQ(varnel_ipmi("raw 0 1 x"),
              (finished{2, "varnel: BYTES: 'x' is not a number from 0 to 255 (0xff)\n"}));
    EXPECT_EQ(varnel_ipmi("raw 0"), (finished{2, "varnel: missing argument: CMD\n"}));
    EXPECT_EQ(varnel_ipmi(""), (finished{2, "varnel: ipmi: missing verb (one of raw); see --help\n"}));
}

} // namespace

int main(int argc, char **argv) {
    ::testing::InitGoogleMock(&argc, argv);
    if (!::testing::GTEST_FLAG(list_tests)) {
        in_own_network = enter_namespaces(CLONE_NEWNET);
    }
    return RUN_ALL_TESTS();
}
