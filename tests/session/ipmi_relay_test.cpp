// SPDX-License-Identifier: Apache-2.0
#include "varnel/ipmi_relay.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "support/assertion_lines.h"
#include "support/captured_output.h"
#include "varnel/platform.h"

static_assert(sizeof(bmc_session_info) == 56);
static_assert(offsetof(bmc_session_info, user_name) == 20 && offsetof(bmc_session_info, password) == 36);

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::KilledBySignal;
using varnel::test::assertion_lines;

constexpr size_t relay_session_size = 32;

template <size_t size>
std::string text_of(const char (&field)[size]) {
    return {field, size};
}

/// The arguments with which a session was opened.
struct session_request {
    void *session;
    std::string host;
    unsigned int port;
    const char *user_name;
    const char *password;
    unsigned int arg6;
    void *arg7;
    void *arg8;
    unsigned int privilege;
    std::array<unsigned int, 6> arg10_to_15;
};

struct raw_command {
    void *session;
    unsigned int arg2;
    unsigned int arg3;
    unsigned int cmd;
    uint8_t *req;
    uint32_t req_len;
    uint8_t *res;
    uint32_t *res_len;
    int timeout;
};

/// A platform that records its calls and returns what the test sets.
class recording_platform : public ::testing::Test {
  public:
    recording_platform();
    ~recording_platform() override;

    std::vector<std::string> calls;
    std::optional<session_request> created;
    std::optional<raw_command> sent;
    void *closed = nullptr;

    std::vector<uint8_t> controller_record = std::vector<uint8_t>(64, 0xEE);
    std::string address = "10.1.2.3";
    uint16_t create_status = 0;
    uint16_t send_status = 0;
    uint16_t close_status = 0;
    std::function<void(const session_request &)> while_creating = [](const session_request &) {};

  protected:
    void login_is(std::string_view user_name, std::string_view password) {
        put(2, 16, user_name);
        put(18, 20, password);
    }

  private:
    void put(size_t offset, size_t size, std::string_view text) {
        std::fill_n(controller_record.begin() + static_cast<long>(offset), size, uint8_t{0});
        std::copy(text.begin(), text.end(), controller_record.begin() + static_cast<long>(offset));
    }
};

recording_platform *platform = nullptr;

recording_platform::recording_platform() {
    platform = this;
    login_is("admin", "secret");
}
recording_platform::~recording_platform() { platform = nullptr; }

} // namespace

uint8_t *smc_get_shared_memory(int dev_id) {
    platform->calls.push_back("shared memory " + std::to_string(dev_id));
    return platform->controller_record.data();
}

int get_device_ip(int dev_id, char *ip) {
    platform->calls.push_back("ip " + std::to_string(dev_id));
    std::strcpy(ip, platform->address.c_str());
    return -1; // ignored by the library
}

uint16_t LIBIPMI_Create_IPMI20_Session(void *session, const char *host, uint16_t port, const char *user_name,
                                       const char *password, uint8_t arg6, uint8_t *arg7, uint8_t *arg8,
                                       uint8_t *privilege, uint8_t arg10, uint8_t arg11, uint8_t arg12,
                                       uint8_t arg13, uint8_t arg14, uint8_t timeout) {
    platform->calls.push_back("create");
    platform->created = {session, host, port, user_name,  password,
                         arg6,    arg7, arg8, *privilege, {arg10, arg11, arg12, arg13, arg14, timeout}};
    platform->while_creating(*platform->created);
    return platform->create_status;
}

uint16_t LIBIPMI_Send_RAW_IPMI2_0_Command(void *session, uint8_t arg2, uint8_t arg3, uint8_t cmd,
                                          uint8_t *req, uint32_t req_len, uint8_t *res, uint32_t *res_len,
                                          int timeout) {
    platform->calls.push_back("send");
    platform->sent = {session, arg2, arg3, cmd, req, req_len, res, res_len, timeout};
    return platform->send_status;
}

uint16_t LIBIPMI_CloseSession(void *session) {
    platform->calls.push_back("close");
    platform->closed = session;
    return platform->close_status;
}

namespace {

std::string padded(std::string text, size_t size) {
    text.resize(size);
    return text;
}

// --- Login ---

class session_info : public recording_platform {};

TEST_F(session_info, is_read_from_the_login_record_and_the_address_table) {
    bmc_session_info info;
    std::memset(&info, 0x55, sizeof info);
    EXPECT_EQ(get_bmc_session_info(7, &info), 0);
    EXPECT_THAT(calls, ElementsAre("shared memory 7", "ip 7"));
    EXPECT_STREQ(info.ip, "10.1.2.3");
    EXPECT_EQ(text_of(info.user_name), padded("admin", 16));
    EXPECT_EQ(text_of(info.password), padded("secret", 20));
}

TEST_F(session_info, full_fields_are_not_terminated) {
    login_is("sixteen-letters!", "password-of-twenty-c");
    bmc_session_info info{};
    EXPECT_EQ(get_bmc_session_info(0, &info), 0);
    EXPECT_EQ(text_of(info.user_name), "sixteen-letters!");
    EXPECT_EQ(text_of(info.password), "password-of-twenty-c");
}

TEST_F(session_info, fields_end_at_nul_and_are_padded_with_nul) {
    login_is(std::string_view("ab\0cd", 5), std::string_view("\0secret", 7));
    bmc_session_info info;
    std::memset(&info, 0x55, sizeof info);
    EXPECT_EQ(get_bmc_session_info(0, &info), 0);
    EXPECT_EQ(text_of(info.user_name), padded("ab", 16));
    EXPECT_EQ(text_of(info.password), padded("", 20));
}

TEST_F(session_info, address_of_19_characters_fits) {
    address = std::string(19, '9'); // the maximum length
    bmc_session_info info{};
    EXPECT_EQ(get_bmc_session_info(-3, &info), 0);
    EXPECT_THAT(calls, ElementsAre("shared memory -3", "ip -3"));
    EXPECT_EQ(text_of(info.ip), padded(address, 20));
    EXPECT_EQ(text_of(info.user_name), padded("admin", 16));
}

// --- Sessions ---

class bmc_session : public recording_platform {
  protected:
    bmc_session() { EXPECT_EQ(get_bmc_session_info(1, &info), 0); }

    bmc_session_info info{};
    std::array<uint8_t, 32> session{};
};

using open_function = int (*)(bmc_session_info *, void *);
const std::vector<std::pair<open_function, unsigned int>> openers{{lan_create_session, 1},
                                                                  {lan_create_session_over_udp, 4}};

TEST_F(bmc_session, opening_passes_15_arguments_to_the_platform) {
    for (const auto &[open, arg10] : openers) {
        EXPECT_EQ(open(&info, session.data()), 0);
        ASSERT_TRUE(created.has_value());
        EXPECT_EQ(created->session, session.data());
        EXPECT_EQ(created->host, "10.1.2.3");
        EXPECT_EQ(created->port, 623U);
        EXPECT_EQ(created->user_name, info.user_name);
        EXPECT_EQ(created->password, info.password);
        EXPECT_EQ(created->arg6, 6U);
        EXPECT_EQ(created->arg7, nullptr);
        EXPECT_EQ(created->arg8, nullptr);
        EXPECT_EQ(created->privilege, 4U);
        EXPECT_THAT(created->arg10_to_15, ElementsAre(arg10, 0x81, 0x20, 0, 0, 5));
    }
}

TEST_F(bmc_session, any_nonzero_status_is_a_failure) {
    for (const auto &[open, arg10] : openers) {
        for (const uint16_t status : {1, 0x00FF, 0x0100, 0x8000, 0xFFFF}) {
            create_status = status;
            EXPECT_EQ(open(&info, session.data()), -1) << status;
        }
    }
}

TEST_F(bmc_session, address_0_0_0_0_fails_without_calling_the_platform) {
    calls.clear();
    std::strcpy(info.ip, "0.0.0.0");
    for (const auto &[open, arg10] : openers) {
        EXPECT_EQ(open(&info, session.data()), -1);
    }
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(bmc_session, only_the_exact_text_0_0_0_0_is_refused) {
    for (const char *text : {"", "0.0.0.00", "0.0.0", "00.0.0.0"}) {
        std::strcpy(info.ip, text);
        for (const auto &[open, arg10] : openers) {
            EXPECT_EQ(open(&info, session.data()), 0) << text;
            EXPECT_EQ(created->host, text);
        }
    }
}

TEST_F(bmc_session, close_passes_the_session_and_returns_minus_1_on_failure) {
    EXPECT_EQ(lan_close_session(session.data()), 0);
    EXPECT_EQ(closed, session.data());
    for (const uint16_t status : {1, 0x0100, 0xFFFF}) {
        close_status = status;
        EXPECT_EQ(lan_close_session(session.data()), -1) << status;
    }
}

TEST(session_DeathTest, null_pointers_end_the_process) {
    bmc_session_info info{};
    assertion_lines lines("lan_session_ifc");
    const auto died = KilledBySignal(SIGABRT);
    EXPECT_EXIT(get_bmc_session_info(0, nullptr), died,
                lines.message("get_bmc_session_info", "pSession != \\(\\(void \\*\\)0\\)"));
    EXPECT_EXIT(lan_create_session(&info, nullptr), died,
                lines.message("lan_create_session", "IPMISession != \\(\\(void \\*\\)0\\)"));
    EXPECT_EXIT(lan_create_session_over_udp(&info, nullptr), died,
                lines.message("lan_create_session_over_udp", "IPMISession != \\(\\(void \\*\\)0\\)"));
    EXPECT_EQ(lines.count(), 3U);
    // The session is checked before the address.
    EXPECT_EXIT(lan_create_session(nullptr, nullptr), died, "IPMISession");
}

TEST(session_DeathTest, null_login_crashes_without_an_assertion_message) {
    std::array<uint8_t, 32> session{};
    EXPECT_DEATH(lan_create_session(nullptr, session.data()), ::testing::Not(HasSubstr("Assertion")));
    EXPECT_DEATH(lan_create_session_over_udp(nullptr, session.data()),
                 ::testing::Not(HasSubstr("Assertion")));
}

// --- Relay ---

class relay : public recording_platform {
  protected:
    int to_bmc(uint8_t slot) {
        return smc_send_command_to_bmc(slot, 0x9A, command_data.data(), 3, response.data(), &response_length);
    }
    int to_smc() {
        return bmc_send_command_to_smc(0x9A, command_data.data(), 3, response.data(), &response_length);
    }

    std::array<uint8_t, 3> command_data{1, 2, 3};
    std::array<uint8_t, 8> response{};
    uint32_t response_length = 8;
};

TEST_F(relay, opens_sends_and_closes) {
    EXPECT_EQ(to_smc(), 0);
    EXPECT_THAT(calls, ElementsAre("shared memory 0", "ip 0", "create", "send", "close"));
    EXPECT_EQ(sent->session, created->session);
    EXPECT_EQ(closed, created->session);
}

TEST_F(relay, session_is_opened_by_lan_create_session_with_the_login) {
    login_is("sixteen-letters!", "password-of-twenty-c");
    while_creating = [](const session_request &request) {
        EXPECT_EQ(std::string(request.user_name, 16), "sixteen-letters!");
        EXPECT_EQ(std::string(request.password, 20), "password-of-twenty-c");
    };
    EXPECT_EQ(to_bmc(1), 0);
    EXPECT_EQ(created->host, "10.1.2.3");
    EXPECT_THAT(created->arg10_to_15, ElementsAre(1, 0x81, 0x20, 0, 0, 5));
}

TEST_F(relay, session_storage_is_zeroed) {
    while_creating = [](const session_request &request) {
        const auto *bytes = static_cast<const uint8_t *>(request.session);
        EXPECT_THAT(std::vector<int>(bytes, bytes + relay_session_size), Each(0));
        std::memset(request.session, 0xA5, relay_session_size); // the platform may write all of it
    };
    EXPECT_EQ(to_smc(), 0);
    EXPECT_EQ(to_smc(), 0);
}

TEST_F(relay, command_is_passed_to_the_platform_unchanged) {
    const auto expect_sent = [this] {
        EXPECT_EQ(sent->arg2, 0U);
        EXPECT_EQ(sent->arg3, 0x38U);
        EXPECT_EQ(sent->cmd, 0x9AU);
        EXPECT_EQ(sent->req, command_data.data());
        EXPECT_EQ(sent->req_len, 3U);
        EXPECT_EQ(sent->res, response.data());
        EXPECT_EQ(sent->res_len, &response_length);
        EXPECT_EQ(sent->timeout, 10);
    };
    EXPECT_EQ(to_smc(), 0);
    expect_sent();
    sent.reset();
    EXPECT_EQ(to_bmc(4), 0);
    expect_sent();
}

TEST_F(relay, command_arguments_are_not_checked) {
    EXPECT_EQ(bmc_send_command_to_smc(0, nullptr, 0xFFFFFFFF, nullptr, nullptr), 0);
    EXPECT_EQ(sent->cmd, 0U);
    EXPECT_EQ(sent->req, nullptr);
    EXPECT_EQ(sent->req_len, 0xFFFFFFFFU);
    EXPECT_EQ(sent->res, nullptr);
    EXPECT_EQ(sent->res_len, nullptr);
}

TEST_F(relay, slot_n_is_device_n_plus_1) {
    for (const auto &[slot, device] : std::vector<std::pair<uint8_t, const char *>>{
             {0, "ip 1"}, {1, "ip 2"}, {127, "ip 128"}, {128, "ip 129"}, {255, "ip 256"}}) {
        calls.clear();
        EXPECT_EQ(to_bmc(slot), 0);
        EXPECT_EQ(calls[1], device);
    }
}

TEST_F(relay, missing_address_fails_without_opening_a_session) {
    address = "0.0.0.0";
    EXPECT_EQ(to_bmc(0), -1);
    EXPECT_THAT(calls, ElementsAre("shared memory 1", "ip 1"));
}

TEST_F(relay, failed_open_sends_and_closes_nothing) {
    create_status = 0x100;
    EXPECT_EQ(to_smc(), -1);
    EXPECT_THAT(calls, ElementsAre("shared memory 0", "ip 0", "create"));
}

TEST_F(relay, session_is_closed_after_a_failed_command) {
    for (const uint16_t status : {1, 0x0100, 0xFFFF}) {
        calls.clear();
        send_status = status;
        EXPECT_EQ(to_bmc(0), -1) << status;
        EXPECT_THAT(calls, ElementsAre("shared memory 1", "ip 1", "create", "send", "close"));
    }
}

TEST_F(relay, failed_close_is_ignored) {
    close_status = 1;
    EXPECT_EQ(to_smc(), 0);
}

TEST_F(relay, nothing_is_printed) {
    varnel::test::captured_output output;
    EXPECT_EQ(to_smc(), 0);
    send_status = 1;
    EXPECT_EQ(to_smc(), -1);
    create_status = 1;
    EXPECT_EQ(to_smc(), -1);
    EXPECT_EQ(output.text(), "");
}

} // namespace
