// SPDX-License-Identifier: Apache-2.0
// The IPMI adapter with a libfreeipmi that does what each test says.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <optional>
#include <vector>

#include <freeipmi/freeipmi.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "varnel/platform.h"

namespace {

using ::testing::ElementsAre;

struct time_outs {
    unsigned int give_up_after_ms;
    unsigned int retransmit_after_ms;
    bool operator==(const time_outs &) const = default;
};

struct {
    std::optional<int> error; ///< of all that can fail
    bool has_memory = true;
    std::vector<int> suites; ///< that a session was to be opened with
    time_outs last{};
    int contexts = 0;
} library;

auto *const only_context = reinterpret_cast<ipmi_ctx_t>(&library);

int result() { return library.error ? -1 : 0; }

} // namespace

extern "C" {
ipmi_ctx_t ipmi_ctx_create() {
    library.contexts += library.has_memory ? 1 : 0;
    return library.has_memory ? only_context : nullptr;
}
void ipmi_ctx_destroy(ipmi_ctx_t /*context*/) { --library.contexts; }
int ipmi_ctx_errnum(ipmi_ctx_t /*context*/) { return library.error.value_or(IPMI_ERR_SUCCESS); }
int ipmi_ctx_open_outofband_2_0(ipmi_ctx_t /*context*/, const char * /*host*/, const char * /*user_name*/,
                                const char * /*password*/, const unsigned char * /*k_g*/,
                                unsigned int /*k_g_length*/, uint8_t /*privilege*/, uint8_t suite,
                                unsigned int give_up_after_ms, unsigned int retransmit_after_ms,
                                unsigned int /*workarounds*/, unsigned int /*flags*/) {
    library.suites.push_back(suite);
    library.last = {give_up_after_ms, retransmit_after_ms};
    return result();
}
int ipmi_cmd_raw(ipmi_ctx_t /*context*/, uint8_t /*lun*/, uint8_t /*net_function*/, const void * /*request*/,
                 unsigned int /*request_size*/, void * /*response*/, unsigned int /*room*/) {
    return result();
}
int ipmi_ctx_close(ipmi_ctx_t /*context*/) { return result(); }
}

namespace {

/// docs/porting.md lists the statuses.
constexpr uint16_t out_of_memory = 0x0109;
constexpr uint16_t failed = 0x010C;
const std::map<int, uint16_t> statuses = {
    {IPMI_ERR_PARAMETERS, 0x0101},
    {IPMI_ERR_HOSTNAME_INVALID, 0x0101},
    {IPMI_ERR_USERNAME_INVALID, 0x0102},
    {IPMI_ERR_PASSWORD_INVALID, 0x0103},
    {IPMI_ERR_PRIVILEGE_LEVEL_INSUFFICIENT, 0x0104},
    {IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED, 0x0104},
    {IPMI_ERR_CIPHER_SUITE_ID_UNAVAILABLE, 0x0105},
    {IPMI_ERR_IPMI_2_0_UNAVAILABLE, 0x0105},
    {IPMI_ERR_PASSWORD_VERIFICATION_TIMEOUT, 0x0106},
    {IPMI_ERR_CONNECTION_TIMEOUT, 0x0106},
    {IPMI_ERR_SESSION_TIMEOUT, 0x0106},
    {IPMI_ERR_MESSAGE_TIMEOUT, 0x0106},
    {IPMI_ERR_SYSTEM_ERROR, 0x0107},
    {IPMI_ERR_BMC_BUSY, 0x0108},
    {IPMI_ERR_OUT_OF_MEMORY, out_of_memory},
};

uint16_t status_of(int error) {
    const auto found = statuses.find(error);
    return found == statuses.end() ? failed : found->second;
}

class ipmi_session : public ::testing::Test {
  protected:
    ipmi_session() {
        setenv("VARNEL_DEVICE_TABLE", "/varnel-test-none", 1);
        library = {};
    }
    ~ipmi_session() override { EXPECT_EQ(library.contexts, 0) << "contexts left"; }

    uint16_t open(uint8_t timeout_s = 5) {
        return LIBIPMI_Create_IPMI20_Session(storage.data(), "127.0.0.1", 623, "admin", "secret", 6, nullptr,
                                             nullptr, nullptr, 1, 0x81, 0x20, 0, 0, timeout_s);
    }
    uint16_t send() {
        uint32_t length = 0;
        return LIBIPMI_Send_RAW_IPMI2_0_Command(storage.data(), 0, 0x38, 1, nullptr, 0, nullptr, &length, 10);
    }
    uint16_t close() { return LIBIPMI_CloseSession(storage.data()); }

    std::array<uint8_t, 32> storage{};
};

TEST_F(ipmi_session, every_error_of_each_call_has_its_status) {
    // libfreeipmi reports success for some failures.
    for (int error = IPMI_ERR_SUCCESS; error <= IPMI_ERR_ERRNUMRANGE; ++error) {
        library.error = error;
        EXPECT_EQ(open(), status_of(error)) << error;
        library.error.reset();
        EXPECT_EQ(open(), 0);
        library.error = error;
        EXPECT_EQ(send(), status_of(error)) << error;
        EXPECT_EQ(close(), status_of(error)) << error;
        EXPECT_EQ(storage, (std::array<uint8_t, 32>{}));
    }
}

TEST_F(ipmi_session, without_memory_fails_with_0x0109) {
    library.has_memory = false;
    EXPECT_EQ(open(), out_of_memory);
}

TEST_F(ipmi_session, suite_3_is_tried_only_after_errors_that_may_refuse_suite_17) {
    for (int error = IPMI_ERR_SUCCESS; error <= IPMI_ERR_ERRNUMRANGE; ++error) {
        library.error = error;
        library.suites.clear();
        open();
        if (error == IPMI_ERR_CIPHER_SUITE_ID_UNAVAILABLE || error == IPMI_ERR_BAD_RMCPPLUS_STATUS_CODE ||
            error == IPMI_ERR_IPMI_ERROR) {
            EXPECT_THAT(library.suites, ElementsAre(17, 3)) << error;
        } else {
            EXPECT_THAT(library.suites, ElementsAre(17)) << error;
        }
    }
}

// libfreeipmi gives up at the first multiple of the retransmission time that is not below the other.
TEST_F(ipmi_session, callers_time_out_is_5_seconds_or_what_it_says) {
    const std::map<uint8_t, time_outs> expected = {
        {0, {2600, 2500}}, {1, {600, 500}}, {5, {2600, 2500}}, {255, {127600, 127500}}};
    for (const auto &[seconds, both] : expected) {
        EXPECT_EQ(open(seconds), 0);
        EXPECT_EQ(library.last, both) << int{seconds};
        EXPECT_EQ(close(), 0);
    }
}

} // namespace
