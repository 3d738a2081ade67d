// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "torture/network.h"
#include "torture/torture.h"
#include "varnel/ipmi_relay.h"
#include "varnel/lan_transfer.h"

namespace {

using namespace varnel::test;

TEST(session_torture, relay) {
    torture([](trial &t) {
        int result = 1;
        t.run([&] { result = smc_send_command_to_bmc(3, 1, nullptr, 0, nullptr, nullptr); });
        const bool sent = !t.has_failed("device address") && !t.has_failed("create session") &&
                          !t.has_failed("send command");
        EXPECT_EQ(result, sent ? 0 : -1);
        EXPECT_EQ(t.count("close session"),
                  t.has_failed("device address") || t.has_failed("create session") ? 0U : 1U);
    });
}

TEST(session_torture, session_opened_by_the_caller) {
    torture([](trial &t) {
        bmc_session_info info{};
        uint8_t session[32]{};
        int results[2]{};
        t.run([&] {
            get_bmc_session_info(0, &info);
            results[0] = lan_create_session_over_udp(&info, session);
            results[1] = results[0] == 0 ? lan_close_session(session) : -1;
        });
        EXPECT_EQ(results[0], t.has_failed("device address") || t.has_failed("create session") ? -1 : 0);
        EXPECT_EQ(results[1], t.any_failed() ? -1 : 0);
    });
}

TEST(session_torture, device_name) {
    torture([](trial &t) {
        const scratch_folder folder;
        const std::string path = folder.file("slots");
        write_file(path, std::string(9000, '#') + "<cpu> <fan>");
        char name[DEVICE_NAME_SIZE] = "kept";
        int result = 1;
        t.run([&] { result = get_device_name(path.c_str(), '<', '>', name, 2); });
        EXPECT_EQ(result, t.has_failed("fopen") ? -1 : 0);
        const bool unreadable = t.has_error("stream read");
        EXPECT_STREQ(name, t.has_failed("fopen") ? "kept" : unreadable ? "" : "fan");
    });
}

/// What a sender puts on the wire.
std::string on_the_wire(const std::string &content) {
    const auto size = static_cast<int32_t>(content.size());
    std::string wire(sizeof size, '\0');
    std::memcpy(wire.data(), &size, sizeof size);
    return wire + content;
}

std::string numbered_lines(size_t size) {
    std::string text;
    for (int i = 0; text.size() < size; ++i) {
        text += std::to_string(i) + "\n";
    }
    return text;
}

bool leaves_socket_open(int result) {
    return result == LAN_TRANSFER_NO_REUSE || result == LAN_TRANSFER_NO_LOCAL_PORT ||
           result == LAN_TRANSFER_BAD_ADDRESS;
}

bool leaves_file_open(int result) {
    return result == LAN_TRANSFER_RECEIVE_FAILED || result == LAN_TRANSFER_WRITE_FAILED;
}

int result_of(const trial &t) {
    const std::vector<std::pair<const char *, int>> in_order{{"socket", LAN_TRANSFER_NO_SOCKET},
                                                             {"setsockopt", LAN_TRANSFER_NO_REUSE},
                                                             {"bind", LAN_TRANSFER_NO_LOCAL_PORT},
                                                             {"connect", LAN_TRANSFER_NO_CONNECTION},
                                                             {"fopen", LAN_TRANSFER_NO_FILE}};
    for (const auto &[kind, result] : in_order) {
        if (t.has_failed(kind)) {
            return result;
        }
    }
    return LAN_TRANSFER_RECEIVED;
}

TEST(session_torture, receive) {
    const std::string content = numbered_lines(2 * LAN_TRANSFER_CHUNK + 1000);
    torture([&](trial &t) {
        const scratch_folder folder;
        const std::string path = folder.file("received");
        the_network.incoming = on_the_wire(content);
        int result = -1;
        t.run([&] { result = mma_lan_transfer(path.c_str(), "192.0.2.1"); });
        t.leaves_open(leaves_socket_open(result) || leaves_file_open(result) ? 1 : 0);
        if (!leaves_file_open(result)) {
            EXPECT_EQ(result, result_of(t));
        } else {
            EXPECT_TRUE(t.has_failed(result == LAN_TRANSFER_RECEIVE_FAILED ? "recv" : "stream write"));
        }
        close_streams_left_open();
        t.leaves_open(leaves_socket_open(result) ? 1 : 0);
        const std::string got = read_file(path).value_or("");
        EXPECT_LE(got.size(), content.size() + sizeof(int32_t));
        if (result == LAN_TRANSFER_RECEIVED && !t.has_failed("recv") && !t.has_failed("stream write")) {
            EXPECT_EQ(got, content);
        }
    });
}

/// Serves in a new thread, which lan_transfer_file() ends.
void serve(trial &t, lan_transfer_arg *order) {
    struct call {
        trial *run;
        lan_transfer_arg *order;
    } both{&t, order};
    pthread_t server{};
    const auto start = [](void *argument) -> void * {
        const auto *const c = static_cast<call *>(argument);
        c->run->arm();
        return lan_transfer_file(c->order);
    };
    pthread_create(&server, nullptr, start, &both);
    pthread_join(server, nullptr);
}

TEST(session_torture, send) {
    const std::string content = numbered_lines(LAN_TRANSFER_CHUNK + 1000);
    torture([&](trial &t) {
        const scratch_folder folder;
        const std::string path = folder.file("sent");
        write_file(path, content);
        std::vector<uint8_t> order(1 + path.size() + 1);
        order[0] = 2;
        std::memcpy(&order[1], path.c_str(), path.size() + 1);
        the_network.sent.clear();
        const int standard_input = dup(STDIN_FILENO);
        serve(t, reinterpret_cast<lan_transfer_arg *>(order.data()));
        dup2(standard_input, STDIN_FILENO); // closed when the file cannot be opened (lan_transfer.h)
        close(standard_input);
        const bool stopped = t.has_failed("listen") || t.has_failed("accept");
        const size_t clients = the_network.sent.size();
        close_streams_left_open(); // after a failed listen or accept (lan_transfer.h)
        t.leaves_open(stopped ? clients : clients - std::min<size_t>(clients, 1)); // all but the last
        EXPECT_EQ(order[0], 2 - clients);
        const bool cut = t.has_failed("send") || t.has_failed("stream read") || t.has_failed("stream seek");
        for (const std::string &sent : the_network.sent) {
            if (!cut) {
                EXPECT_EQ(sent, on_the_wire(content));
            }
        }
        if (!t.any_failed()) {
            EXPECT_EQ(clients, 2U);
        }
    });
}

} // namespace
