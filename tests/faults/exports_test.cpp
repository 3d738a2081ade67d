// SPDX-License-Identifier: Apache-2.0
// Each exported function has a scenario, or makes no system call of its own.
#include <algorithm>
#include <array>
#include <fstream>
#include <set>
#include <string>

#include <fnmatch.h>

#include <gtest/gtest.h>

namespace {

/// They transfer and relay by functions of the platform, which have their own tests; so do bus_torture.cpp and
/// session_torture.cpp.
constexpr std::array through_the_platform{"smbus_*",   "pca95*",    "car2512_*", "ds3232_*",
                                          "bmc_send*", "smc_send*", "lan_c*",    "get_bmc_session_info"};

/// They call malloc() at most; torture_test lets it fail.
constexpr std::array in_memory{"xml_*_new",
                               "xml_*_delete",
                               "xml_*_setup",
                               "xml_*_clone*",
                               "xml_sgs_*",
                               "xml_*_to_sgs",
                               "xml_node_add*",
                               "xml_node_get*",
                               "xml_node_insert*",
                               "xml_node_unlink",
                               "xml_iterator_*",
                               "xml_refiller_set_char",
                               "get_token_from_string",
                               "*et_bits_value",
                               "get_host_byte_order",
                               "numeral_*",
                               "g_transfer_server_ok",
                               "IDBG_LINUXAPP_DbgInit"};

bool matches(const auto &patterns, const std::string &name) {
    return std::ranges::any_of(patterns,
                               [&](const char *each) { return fnmatch(each, name.c_str(), 0) == 0; });
}

std::set<std::string> scenarios() {
    std::set<std::string> names;
    const auto &all = *::testing::UnitTest::GetInstance();
    for (int i = 0; i < all.total_test_suite_count(); ++i) {
        const auto &suite = *all.GetTestSuite(i);
        for (int k = 0; k < suite.total_test_count(); ++k) {
            names.insert(suite.GetTestInfo(k)->name());
        }
    }
    return names;
}

TEST(exports, have_a_scenario_or_make_no_system_call) {
    const std::set<std::string> tested = scenarios();
    std::ifstream list(EXPORTS);
    std::set<std::string> exports;
    for (std::string name; list >> name;) {
        exports.insert(name);
        EXPECT_NE(tested.contains(name), matches(through_the_platform, name) || matches(in_memory, name))
            << name;
    }
    EXPECT_FALSE(exports.empty());
}

} // namespace
