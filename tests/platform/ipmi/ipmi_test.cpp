// SPDX-License-Identifier: Apache-2.0
// The IPMI adapter with third-party servers, the simulator ipmi_sim and pyghmi's BMC, on loopback in a
// network namespace of the test's own.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bmc_servers.h"
#include "ipmi/status.h"
#include "platform/namespaces.h"
#include "tools/varnel/controller_admin/controller_table_file.h"
#include "udp_proxy.h"
#include "varnel/ipmi_relay.h"
#include "varnel/platform.h"

namespace {

using namespace varnel::test;
using namespace std::chrono_literals;
using varnel::platform::controller_record;
using varnel::platform::ipmi_status;
using varnel::tools::controller_records;
using bytes = std::vector<uint8_t>;
using stopwatch = std::chrono::steady_clock;

bool in_own_network = false;

// Commands of oem_commands.c.
constexpr uint8_t echo = 0x10;
constexpr uint8_t pattern = 0x11;
constexpr uint8_t identify = 0x12;
constexpr uint8_t fail = 0x13;
constexpr uint8_t drop = 0x14;
constexpr uint8_t pause_first = 0x15;
constexpr uint8_t executions = 0x16;

constexpr uint8_t administrator = 4;
constexpr uint8_t operator_level = 3;

constexpr uint16_t code(ipmi_status status) { return static_cast<uint16_t>(status); }

/// The result of a command.
struct response {
    int status;
    bytes data; ///< completion code first
    bool operator==(const response &) const = default;
};

void PrintTo(const response &got, std::ostream *out) {
    *out << "status 0x" << std::hex << got.status << std::dec << " data "
         << ::testing::PrintToString(got.data);
}

/// A session opened as the relay does, with the adapter's own statuses.
class session {
  public:
    session(const std::string &host, const std::string &user, const std::string &password,
            const uint8_t *privilege, uint8_t timeout_s = 5) {
        uint8_t level = privilege != nullptr ? *privilege : uint8_t{0};
        std::array<char, 16> user_field{};
        std::array<char, 20> password_field{};
        std::ranges::copy(user, user_field.begin());
        std::ranges::copy(password, password_field.begin());
        opened = LIBIPMI_Create_IPMI20_Session(
            block.data(), host.c_str(), 623, user_field.data(), password_field.data(), 6, nullptr, nullptr,
            privilege != nullptr ? &level : nullptr, 1, 0x81, 0x20, 0, 0, timeout_s);
    }
    session(const std::string &host, const std::string &user, const std::string &password,
            uint8_t privilege = administrator)
        : session(host, user, password, &privilege) {}
    explicit session(const std::string &host) : session(host, "admin", "secret") {}
    ~session() {
        if (opened == 0) {
            LIBIPMI_CloseSession(block.data());
        }
    }
    session(const session &) = delete;
    session &operator=(const session &) = delete;

    response send(uint8_t command, bytes request, std::size_t room = 1024) {
        bytes data(room);
        auto length = static_cast<uint32_t>(room);
        const int status =
            LIBIPMI_Send_RAW_IPMI2_0_Command(block.data(), 0, 0x38, command, request.data(),
                                             static_cast<uint32_t>(request.size()), data.data(), &length, 10);
        data.resize(length);
        return {status, data};
    }

    uint16_t opened;
    std::array<uint8_t, 32> block{};
};

controller_record make_record(const std::string &address, const std::string &user,
                              const std::string &password) {
    controller_record record{};
    record.present = 1;
    std::ranges::copy(address, record.address.begin());
    std::ranges::copy(user, record.login.begin() + 2);
    std::ranges::copy(password, record.login.begin() + 18);
    return record;
}

class ipmi : public ::testing::Test {
  protected:
    ipmi() : table("/varnel-test-ipmi-" + std::to_string(getpid())) {
        setenv("VARNEL_DEVICE_TABLE", table.c_str(), 1);
        records[1] = make_record(bmc_address(0), "admin", "secret");
    }
    ~ipmi() override { shm_unlink(table.c_str()); }
    void SetUp() override {
        if (!in_own_network) {
            GTEST_SKIP() << "this machine allows no network namespace";
        }
        publish();
    }

    void publish() const { varnel::tools::publish_controller_table(records, table); }
    void set_time_outs(std::chrono::milliseconds give_up, std::chrono::milliseconds retransmit) {
        records[1].give_up_after_ms = static_cast<uint32_t>(give_up.count());
        records[1].retransmit_after_ms = static_cast<uint32_t>(retransmit.count());
        publish();
    }
    void set_suite(uint8_t suite) {
        records[1].cipher_suite = suite;
        publish();
    }

    std::string table;
    controller_records records{};
};

response relay(uint8_t slot, uint8_t command, bytes request) {
    bytes data(1024);
    auto length = static_cast<uint32_t>(data.size());
    const int status = smc_send_command_to_bmc(slot, command, request.data(),
                                               static_cast<uint32_t>(request.size()), data.data(), &length);
    data.resize(length);
    return {status, data};
}

std::size_t open_descriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

bytes counting(std::size_t n) {
    bytes all(n);
    std::iota(all.begin(), all.end(), uint8_t{0});
    return all;
}

/// A successful response: the completion code 0 and data.
response success(const bytes &data) {
    bytes all{0};
    all.insert(all.end(), data.begin(), data.end());
    return {0, all};
}

// Commands and answers.

TEST_F(ipmi, relays_requests_and_responses_unchanged) {
    const simulated_bmcs bmcs;
    EXPECT_EQ(relay(0, echo, {}), success({}));
    EXPECT_EQ(relay(0, echo, {0xFF, 0x00, 0x80}), success({0xFF, 0x00, 0x80}));
    EXPECT_EQ(relay(0, echo, counting(200)), success(counting(200)));
    EXPECT_EQ(relay(0, pattern, {0xF4, 1}), success(counting(500)));
}

TEST_F(ipmi, user_of_16_and_password_of_20_characters_are_used_in_full) {
    const simulated_bmcs bmcs;
    records[1] = make_record(bmc_address(0), "sixteen.letters.", "twenty.letters.long.");
    publish();
    EXPECT_EQ(relay(0, echo, {1}), success({1}));
    records[1].login.back() = '!'; // the twentieth character is compared, too
    publish();
    EXPECT_EQ(relay(0, echo, {1}).status, -1);
}

TEST_F(ipmi, completion_codes_are_returned_with_their_data) {
    const simulated_bmcs bmcs;
    session open(bmc_address(0));
    EXPECT_EQ(open.send(fail, {0xD5}), (response{0xD5, {0xD5, 0xA5}}));
    EXPECT_EQ(open.send(0x77, {}), (response{0xC1, {0xC1}}));
    EXPECT_EQ(open.send(echo, {1}), success({1}));
    EXPECT_EQ(relay(0, fail, {0xD5}), (response{-1, {0xD5, 0xA5}}));
}

TEST_F(ipmi, response_larger_than_the_buffer_is_cut_and_reported) {
    const simulated_bmcs bmcs;
    session open(bmc_address(0));
    EXPECT_EQ(open.send(echo, {1, 2, 3}, 4), success({1, 2, 3}));
    EXPECT_EQ(open.send(echo, {1, 2, 3}, 3), (response{code(ipmi_status::answer_too_long), {0, 1, 2}}));
    EXPECT_EQ(open.send(echo, {1, 2, 3}, 0), (response{code(ipmi_status::answer_too_long), {}}));
    uint32_t length = 8;
    EXPECT_EQ(
        LIBIPMI_Send_RAW_IPMI2_0_Command(open.block.data(), 0, 0x38, echo, nullptr, 0, nullptr, &length, 10),
        code(ipmi_status::answer_too_long));
    EXPECT_EQ(length, 0U);
}

TEST_F(ipmi, session_storage_needs_no_alignment_and_no_zeros) {
    const simulated_bmcs bmcs;
    alignas(16) std::array<uint8_t, 40> place{};
    place.fill(0xEE); // not zero either
    uint8_t privilege = administrator;
    uint8_t *const unaligned = place.data() + 1;
    ASSERT_EQ(LIBIPMI_Create_IPMI20_Session(unaligned, bmc_address(0).c_str(), 623, "admin", "secret", 6,
                                            nullptr, nullptr, &privilege, 4, 0x81, 0x20, 0, 0, 5),
              0);
    EXPECT_EQ(LIBIPMI_CloseSession(unaligned), 0);
    EXPECT_EQ(place[33], 0xEE) << "wrote more than 32 bytes";
}

TEST_F(ipmi, session_without_a_privilege_is_an_administrators) {
    const simulated_bmcs bmcs;
    session open(bmc_address(0), "admin", "secret", nullptr);
    ASSERT_EQ(open.opened, 0);
    EXPECT_EQ(open.send(echo, {1}), success({1}));
}

// Refusals.

TEST_F(ipmi, wrong_password_and_unknown_user_have_different_statuses) {
    const simulated_bmcs bmcs;
    const session wrong_password(bmc_address(0), "admin", "Secret");
    const session wrong_user(bmc_address(0), "nobody", "secret");
    EXPECT_EQ(wrong_password.opened, code(ipmi_status::password_wrong));
    EXPECT_EQ(wrong_user.opened, code(ipmi_status::user_unknown));
    EXPECT_EQ(wrong_user.block, (std::array<uint8_t, 32>{}));
    records[1] = make_record(bmc_address(0), "admin", "Secret");
    publish();
    EXPECT_EQ(relay(0, echo, {1}).status, -1);
}

TEST_F(ipmi, insufficient_privilege_returns_completion_code_0xd4) {
    const simulated_bmcs bmcs;
    session open(bmc_address(0), "admin", "secret", operator_level);
    ASSERT_EQ(open.opened, 0);
    EXPECT_EQ(open.send(echo, {1}), (response{0xD4, {0xD4}}));
}

TEST_F(ipmi, refuses_bad_arguments) {
    const session no_address("bmc.example");
    EXPECT_EQ(no_address.opened, code(ipmi_status::bad_argument));
    EXPECT_EQ(session("localhost").opened, code(ipmi_status::bad_argument));
    EXPECT_EQ(session("").opened, code(ipmi_status::bad_argument));
    EXPECT_EQ(session("127.0.0.1", "admin", "secret", 9).opened, code(ipmi_status::bad_argument));
    EXPECT_EQ(LIBIPMI_CloseSession(nullptr), code(ipmi_status::bad_argument));

    std::array<uint8_t, 32> block{};
    std::array<uint8_t, 1024> data{};
    uint32_t length = data.size();
    const auto send = [&](uint8_t *request, uint32_t request_length, uint32_t *response_length) {
        return LIBIPMI_Send_RAW_IPMI2_0_Command(block.data(), 0, 0x38, echo, request, request_length,
                                                data.data(), response_length, 10);
    };
    const auto open = [](void *session, const char *host, const char *user, const char *password) {
        uint8_t no_privilege = 9;
        return LIBIPMI_Create_IPMI20_Session(session, host, 623, user, password, 6, nullptr, nullptr,
                                             &no_privilege, 1, 0x81, 0x20, 0, 0, 5);
    };
    EXPECT_EQ(open(nullptr, "127.0.0.1", "admin", "secret"), code(ipmi_status::bad_argument));
    EXPECT_EQ(open(block.data(), nullptr, "admin", "secret"), code(ipmi_status::bad_argument));
    EXPECT_EQ(open(block.data(), "127.0.0.1", nullptr, nullptr), code(ipmi_status::bad_argument));
    EXPECT_EQ(
        LIBIPMI_Send_RAW_IPMI2_0_Command(nullptr, 0, 0x38, echo, data.data(), 1, data.data(), &length, 10),
        code(ipmi_status::bad_argument));
    EXPECT_EQ(send(nullptr, 1, &length), code(ipmi_status::bad_argument));
    EXPECT_EQ(send(data.data(), 1025, &length), code(ipmi_status::bad_argument));
    EXPECT_EQ(send(data.data(), 1, nullptr), code(ipmi_status::bad_argument));
    EXPECT_EQ(send(data.data(), 1024, &length), code(ipmi_status::not_open));
    EXPECT_EQ(LIBIPMI_CloseSession(block.data()), code(ipmi_status::not_open));
}

TEST_F(ipmi, closing_a_session_twice_fails) {
    const simulated_bmcs bmcs;
    session open(bmc_address(0));
    EXPECT_EQ(LIBIPMI_CloseSession(open.block.data()), 0);
    EXPECT_EQ(open.block, (std::array<uint8_t, 32>{}));
    EXPECT_EQ(LIBIPMI_CloseSession(open.block.data()), code(ipmi_status::not_open));
    open.opened = code(ipmi_status::not_open);
}

// Cipher suites.

const std::string sha256_address = "127.0.2.1";

class cipher_suites : public ipmi {
  protected:
    static bmc_server sha256_bmc() {
        return bmc_server({PYTHON, SHA256_BMC, sha256_address}, {sha256_address});
    }
    /// Its BMC is interpreted and may take long to answer; a request that is sent again meanwhile fails the session.
    void controller_is(const std::string &address) {
        records[1] = make_record(address, "admin", "secret");
        set_time_outs(20s, 15s);
    }
};

TEST_F(cipher_suites, suite_17_is_tried_first) {
    const bmc_server server = sha256_bmc();
    controller_is(sha256_address);
    EXPECT_EQ(relay(0, echo, counting(100)), success(counting(100)));
    set_suite(17);
    EXPECT_EQ(relay(0, echo, {1, 2}), success({1, 2}));
}

TEST_F(cipher_suites, suite_3_is_tried_when_17_is_refused) {
    const simulated_bmcs bmcs;
    EXPECT_EQ(relay(0, echo, {1}), success({1}));
    set_suite(3);
    EXPECT_EQ(relay(0, echo, {2}), success({2}));
}

TEST_F(cipher_suites, suite_in_the_device_table_is_the_only_one_tried) {
    const simulated_bmcs bmcs;
    const bmc_server server = sha256_bmc();
    set_suite(17);
    EXPECT_NE(session(bmc_address(0)).opened, 0);
    controller_is(sha256_address);
    set_suite(3);
    EXPECT_EQ(session(sha256_address).opened, code(ipmi_status::cipher_suite_refused));
}

// Silence.

/// A host that receives packets and does not answer.
class silent_host {
  public:
    explicit silent_host(uint16_t port = 623) : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        const sockaddr_in at{AF_INET, htons(port), {inet_addr(address)}, {}};
        EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr *>(&at), sizeof at), 0);
    }
    ~silent_host() { close(socket_); }
    silent_host(const silent_host &) = delete;
    silent_host &operator=(const silent_host &) = delete;

    /// Whether a packet has arrived.
    [[nodiscard]] bool was_asked() const {
        uint8_t byte = 0;
        return recv(socket_, &byte, 1, MSG_DONTWAIT) >= 0;
    }

    static constexpr const char *address = "127.0.3.1";

  private:
    int socket_;
};

TEST_F(ipmi, silent_host_fails_after_the_callers_five_seconds) {
    const silent_host host;
    const auto start = stopwatch::now();
    EXPECT_EQ(session(host.address).opened, code(ipmi_status::no_answer));
    EXPECT_GT(stopwatch::now() - start, 4s);
    EXPECT_LT(stopwatch::now() - start, 7s);
}

TEST_F(ipmi, silent_host_fails_after_the_callers_second) {
    const silent_host host;
    const auto start = stopwatch::now();
    EXPECT_EQ(session(host.address, "admin", "secret", nullptr, 1).opened, code(ipmi_status::no_answer));
    EXPECT_GT(stopwatch::now() - start, 700ms);
    EXPECT_LT(stopwatch::now() - start, 3s);
}

TEST_F(ipmi, time_out_of_the_device_table_is_used_only_if_it_is_whole) {
    const silent_host host;
    records[1] = make_record(host.address, "admin", "secret");
    set_time_outs(20s, 0s);
    const auto start = stopwatch::now();
    EXPECT_EQ(session(host.address, "admin", "secret", nullptr, 1).opened, code(ipmi_status::no_answer));
    set_time_outs(0s, 20s);
    EXPECT_EQ(session(host.address, "admin", "secret", nullptr, 1).opened, code(ipmi_status::no_answer));
    EXPECT_LT(stopwatch::now() - start, 5s);
}

TEST_F(ipmi, silent_host_fails_after_the_time_out_of_the_device_table) {
    const silent_host host;
    records[1] = make_record(host.address, "admin", "secret");
    set_time_outs(900ms, 300ms);
    const auto start = stopwatch::now();
    EXPECT_EQ(relay(0, echo, {}).status, -1);
    EXPECT_GT(stopwatch::now() - start, 700ms);
    EXPECT_LT(stopwatch::now() - start, 3s);
}

TEST_F(ipmi, time_out_of_the_device_table_without_a_retransmission_time_is_not_used) {
    const simulated_bmcs bmcs;
    set_time_outs(1ms, 0ms);
    EXPECT_EQ(relay(0, echo, {1}), success({1}));
}

TEST_F(ipmi, requests_go_to_the_given_port) {
    const silent_host host(62300);
    records[1] = make_record(host.address, "admin", "secret");
    set_time_outs(300ms, 100ms);
    std::array<uint8_t, 32> block{};
    EXPECT_EQ(LIBIPMI_Create_IPMI20_Session(block.data(), host.address, 62300, "admin", "secret", 6, nullptr,
                                            nullptr, nullptr, 1, 0x81, 0x20, 0, 0, 5),
              code(ipmi_status::no_answer));
    EXPECT_TRUE(host.was_asked());
}

TEST_F(ipmi, host_without_a_route_fails_at_once) {
    const auto start = stopwatch::now();
    EXPECT_EQ(session("192.0.2.1").opened, code(ipmi_status::unreachable));
    EXPECT_LT(stopwatch::now() - start, 2s);
}

TEST_F(ipmi, lost_response_is_requested_again) {
    const simulated_bmcs bmcs;
    set_time_outs(20s, 1s);
    EXPECT_EQ(relay(0, drop, {1, 1}), success({2}));
    EXPECT_EQ(relay(0, executions, {1}), success({2}))
        << "the command of the lost response was executed as well";
}

TEST_F(ipmi, session_fails_for_good_when_all_responses_are_lost) {
    const simulated_bmcs bmcs;
    set_time_outs(1500ms, 500ms);
    session open(bmc_address(0));
    EXPECT_EQ(open.send(drop, {1, 255}), (response{code(ipmi_status::no_answer), {}}));
    EXPECT_EQ(open.send(echo, {1}), (response{code(ipmi_status::no_answer), {}}));
    LIBIPMI_CloseSession(open.block.data());
    open.opened = code(ipmi_status::not_open);
    EXPECT_EQ(relay(0, echo, {1}), success({1}));
}

TEST_F(ipmi, relays_without_a_response_leak_no_session_and_no_descriptor) {
    const simulated_bmcs bmcs; // has 63 sessions
    relay(0, echo, {1});
    const std::size_t before = open_descriptors();
    for (int i = 0; i < 80; ++i) {
        set_time_outs(20ms, 10ms);
        EXPECT_EQ(relay(0, drop, {static_cast<uint8_t>(i), 255}).status, -1);
    }
    EXPECT_EQ(open_descriptors(), before);
    set_time_outs(2s, 1s);
    EXPECT_EQ(relay(0, echo, {1}), success({1}));
}

TEST_F(ipmi, slow_command_runs_once_with_a_longer_retransmission_time) {
    const simulated_bmcs bmcs;
    set_time_outs(20s, 10s);
    EXPECT_EQ(relay(0, pause_first, {1, 12}), success({1})); // 600 ms
    EXPECT_EQ(relay(0, executions, {1}), success({1}));
}

TEST_F(ipmi, slow_command_runs_again_with_a_shorter_retransmission_time) {
    const simulated_bmcs bmcs;
    set_time_outs(1500ms, 300ms);
    relay(0, pause_first, {1, 9}); // 450 ms each; whether the newest one is answered in time is open
    set_time_outs(20s, 10s);
    EXPECT_GT(relay(0, executions, {1}).data.back(), 1);
}

// Daemons.

TEST_F(ipmi, signals_do_not_interrupt_a_call) {
    const simulated_bmcs bmcs;
    static std::atomic<int> signals;
    struct sigaction count {};
    count.sa_handler = [](int) { ++signals; }; // without SA_RESTART
    struct sigaction before {};
    sigaction(SIGALRM, &count, &before);
    const itimerval every_millisecond{{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &every_millisecond, nullptr);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(relay(0, pause_first, {static_cast<uint8_t>(i), 1}), success({1})); // 50 ms each
    }
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_GT(signals, 0) << "signals are blocked outside of calls as well";
}

TEST_F(ipmi, thousand_relays_leak_no_session_and_no_descriptor) {
    const simulated_bmcs bmcs; // has 63 sessions
    relay(0, echo, {1});
    const std::size_t before = open_descriptors();
    for (int i = 0; i < 1000; ++i) {
        const bytes request{static_cast<uint8_t>(i), static_cast<uint8_t>(i >> 8)};
        ASSERT_EQ(relay(0, echo, request), success(request)) << i;
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(ipmi, refused_sessions_leak_no_descriptor) {
    const simulated_bmcs bmcs;
    session(bmc_address(0), "nobody", "");
    const std::size_t before = open_descriptors();
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(session(bmc_address(0), "nobody", "").opened, code(ipmi_status::user_unknown));
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(ipmi, relays_with_descriptors_above_1024) {
    const simulated_bmcs bmcs;
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = std::max<rlim_t>(files.rlim_cur, 2000);
    if (setrlimit(RLIMIT_NOFILE, &files) != 0) {
        GTEST_SKIP() << "this machine allows no 2000 open files";
    }
    std::vector<int> opened;
    for (int fd = 0; fd < 1100; opened.push_back(fd)) {
        fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
        ASSERT_GE(fd, 0);
    }
    EXPECT_EQ(relay(0, echo, {1}), success({1}));
    std::ranges::for_each(opened, close);
}

TEST_F(ipmi, sixty_four_threads_relay_to_64_bmcs) {
    constexpr int count = 64;
    constexpr int rounds = 10;
    const simulated_bmcs bmcs(count);
    for (int n = 0; n < count; ++n) {
        records[static_cast<std::size_t>(n) + 1] = make_record(bmc_address(n), "admin", "secret");
    }
    publish();
    std::vector<std::thread> threads;
    for (int n = 0; n < count; ++n) {
        threads.emplace_back([n] {
            const auto slot = static_cast<uint8_t>(n);
            for (int i = 0; i < rounds; ++i) {
                EXPECT_EQ(relay(slot, identify, {}), success({static_cast<uint8_t>(0x20 + 2 * n)}));
                EXPECT_EQ(relay(slot, echo, {slot, static_cast<uint8_t>(i)}),
                          success({slot, static_cast<uint8_t>(i)}));
            }
        });
    }
    for (std::thread &each : threads) {
        each.join();
    }
}

// Packets that are lost, repeated, reordered or changed, as UDP allows.

struct packet_row {
    const char *name;
    mistreatment treatment;
};

void PrintTo(const packet_row &row, std::ostream *out) { *out << row.name; }

class damaged_packets : public ipmi, public ::testing::WithParamInterface<packet_row> {
  protected:
    static constexpr int count = 64;

    void SetUp() override {
        for (int n = 0; n < count; ++n) {
            controller_record &record = records[static_cast<std::size_t>(n)];
            record = make_record(proxied_address(n), "admin", "secret");
            record.give_up_after_ms = GetParam().treatment == mistreatment::none ? 20'000 : 600;
            record.retransmit_after_ms = GetParam().treatment == mistreatment::none ? 5'000 : 200;
        }
        ipmi::SetUp();
    }
};

/// Opens a session to BMC `n` through the proxy, and sends commands: what succeeds has brought its own
/// answer. Returns whether the session was opened.
bool use_session(int n, uint8_t mark) {
    session open(proxied_address(n));
    if (open.opened != 0) {
        EXPECT_EQ(open.block, (std::array<uint8_t, 32>{}));
        return false;
    }
    EXPECT_NE(open.block, (std::array<uint8_t, 32>{})) << "success without a session";
    for (uint8_t i = 0; i < 2; ++i) {
        const response got = open.send(echo, {mark, i});
        EXPECT_NE(got.status, code(ipmi_status::not_open));
        if (got.status == 0) {
            EXPECT_EQ(got, success({mark, i}));
        }
    }
    return true;
}

TEST_P(damaged_packets, session_opens_or_returns_an_error) {
    const simulated_bmcs bmcs;
    const std::size_t before = open_descriptors();
    {
        const udp_proxy proxy(GetParam().treatment);
        for (uint8_t i = 0; i < 6; ++i) {
            use_session(0, i);
        }
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST_P(damaged_packets, sixty_four_sessions_at_once_get_only_their_own_responses) {
    const simulated_bmcs bmcs(count);
    const udp_proxy proxy(GetParam().treatment, count);
    std::atomic<int> opened = 0;
    std::vector<std::jthread> threads;
    for (int n = 0; n < count; ++n) {
        threads.emplace_back([n, &opened] { opened += use_session(n, static_cast<uint8_t>(n)) ? 1 : 0; });
    }
    threads.clear();
    EXPECT_TRUE(GetParam().treatment != mistreatment::none || opened == count);
}

INSTANTIATE_TEST_SUITE_P(proxy, damaged_packets,
                         ::testing::Values(packet_row{"untouched", mistreatment::none},
                                           packet_row{"doubled", mistreatment::doubled},
                                           packet_row{"swapped", mistreatment::swapped},
                                           packet_row{"lost", mistreatment::lost},
                                           packet_row{"corrupted", mistreatment::corrupted},
                                           packet_row{"delayed", mistreatment::delayed},
                                           packet_row{"replayed", mistreatment::replayed},
                                           packet_row{"late", mistreatment::late}),
                         [](const auto &row) { return std::string(row.param.name); });

} // namespace

int main(int argc, char **argv) {
    ::testing::InitGoogleMock(&argc, argv);
    if (!::testing::GTEST_FLAG(list_tests)) {
        in_own_network = enter_namespaces(CLONE_NEWNET);
    }
    return RUN_ALL_TESTS();
}
