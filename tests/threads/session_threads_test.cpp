// SPDX-License-Identifier: Apache-2.0
// File transfer: one sender and its clients, all threads of one process. IPMI relay: calls from several
// threads, each with its own session.
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>

#include <pthread.h>

#include <gtest/gtest.h>

#include "support/own_network.h"
#include "support/scratch_folder.h"
#include "threads/in_parallel.h"
#include "varnel/ipmi_relay.h"
#include "varnel/lan_transfer.h"
#include "varnel/platform.h"

namespace {

using namespace varnel::test;

// --- The relay's platform: a session contains the number of its controller ---

struct login_record {
    std::array<uint8_t, 38> bytes;
};

} // namespace

uint8_t *smc_get_shared_memory(int dev_id) {
    static thread_local login_record copy;
    copy = {};
    copy.bytes[2] = static_cast<uint8_t>('a' + dev_id);
    return copy.bytes.data();
}

int get_device_ip(int dev_id, char *ip) {
    std::strcpy(ip, ("192.0.2." + std::to_string(dev_id)).c_str());
    return 0;
}

uint16_t LIBIPMI_Create_IPMI20_Session(void *session, const char * /*host*/, uint16_t /*port*/,
                                       const char *user_name, const char * /*password*/,
                                       uint8_t /*argument6*/, uint8_t * /*argument7*/,
                                       uint8_t * /*argument8*/, uint8_t * /*privilege*/,
                                       uint8_t /*argument10*/, uint8_t /*argument11*/, uint8_t /*argument12*/,
                                       uint8_t /*argument13*/, uint8_t /*argument14*/, uint8_t /*timeout*/) {
    *static_cast<char *>(session) = *user_name;
    return 0;
}

uint16_t LIBIPMI_Send_RAW_IPMI2_0_Command(void *session, uint8_t /*lun*/, uint8_t /*net_function*/,
                                          uint8_t /*cmd*/, uint8_t * /*req*/, uint32_t /*req_len*/,
                                          uint8_t *res, uint32_t *res_len, int /*timeout*/) {
    *res = *static_cast<uint8_t *>(session);
    *res_len = 1;
    return 0;
}

uint16_t LIBIPMI_CloseSession(void * /*session*/) { return 0; }

namespace {

TEST(session_threads, each_thread_relays_to_its_own_controller) {
    in_parallel(4, [](int slot) {
        for (int round = 0; round < 100; ++round) {
            uint8_t response = 0;
            uint32_t length = sizeof response;
            ASSERT_EQ(smc_send_command_to_bmc(static_cast<uint8_t>(slot), 1, nullptr, 0, &response, &length),
                      0);
            EXPECT_EQ(response, 'a' + slot + 1);
        }
    });
}

TEST(session_threads, one_file_is_sent_to_clients_that_connect_at_the_same_time) {
    constexpr int clients = 4;
    if (const std::string reason = enter_own_network(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const scratch_folder folder;
    const std::string content(300000, 'x');
    write_file(folder.file("sent"), content);
    struct {
        uint8_t count;
        std::array<char, 200> path;
    } order{clients, {}};
    std::strcpy(order.path.data(), folder.file("sent").c_str());

    pthread_t sender{};
    ASSERT_EQ(pthread_create(&sender, nullptr, lan_transfer_file, &order), 0);
    while (std::atomic_ref(g_transfer_server_ok).load() == 0) {
        std::this_thread::yield();
    }
    in_parallel(clients, [&](int client) {
        const std::string path = folder.file(std::to_string(client));
        int result = 0;
        do { // refused until the sender listens
            result = mma_lan_transfer(path.c_str(), "127.0.0.1");
        } while (result == 5);
        EXPECT_EQ(result, 0);
        EXPECT_TRUE(read_file(path) == content);
    });
    EXPECT_EQ(pthread_join(sender, nullptr), 0);
    EXPECT_EQ(std::atomic_ref(order.count).load(), 0);
}

} // namespace
