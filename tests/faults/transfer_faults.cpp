// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include "faults/faults.h"
#include "support/child_process.h"
#include "support/own_network.h"
#include "support/shared_value.h"
#include "varnel/lan_transfer.h"

namespace varnel::test {
namespace {

/// What a sender of this text puts on the wire.
std::string wire_of(const std::string &content) {
    const auto size = static_cast<int32_t>(content.size());
    std::string wire(sizeof size, '\0');
    std::memcpy(wire.data(), &size, sizeof size);
    return wire + content;
}

sockaddr_in sender_address() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(LAN_TRANSFER_PORT);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

class transfer_faults : public faults {
  protected:
    static void SetUpTestSuite() { refusal_ = enter_own_network(); }

    void SetUp() override {
        faults::SetUp();
        if (!refusal_.empty()) {
            GTEST_SKIP() << refusal_;
        }
    }

    [[nodiscard]] std::string file() const { return path("file"); }

    const std::string content_ = std::string(1000, 'x');
    const std::string wire_ = wire_of(content_);

  private:
    static inline std::string refusal_;
};

class receiving_faults : public transfer_faults {
  protected:
    void SetUp() override {
        transfer_faults::SetUp();
        if (IsSkipped()) {
            return;
        }
        listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int yes = 1;
        setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        const sockaddr_in address = sender_address();
        ASSERT_EQ(bind(listener_, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        ASSERT_EQ(listen(listener_, 1), 0);
        sender_ = child_process([this] { return serve(); });
    }

    void TearDown() override {
        close(listener_);
        faults::TearDown();
    }

  private:
    /// All of it by one call, so that it is received by the same calls in each run.
    int serve() const {
        for (;;) {
            const int receiver = accept(listener_, nullptr, nullptr);
            send(receiver, wire_.data(), wire_.size(), MSG_NOSIGNAL);
            char byte = 0;
            while (recv(receiver, &byte, 1, 0) > 0) {
            }
            close(receiver);
        }
    }

    int listener_ = -1;
    child_process sender_ = child_process::none();
};

int expected_result(const run &r, const std::string &file) {
    const std::array<std::pair<bool, int>, 6> failures{{{r.failed("socket"), LAN_TRANSFER_NO_SOCKET},
                                                        {r.failed("setsockopt"), LAN_TRANSFER_NO_REUSE},
                                                        {r.failed("bind"), LAN_TRANSFER_NO_LOCAL_PORT},
                                                        {r.failed("connect"), LAN_TRANSFER_NO_CONNECTION},
                                                        {r.failed_on("openat", file), LAN_TRANSFER_NO_FILE},
                                                        {r.failed("recv", 1), LAN_TRANSFER_RECEIVE_FAILED}}};
    for (const auto &[failed, result] : failures) {
        if (failed) {
            return result;
        }
    }
    return LAN_TRANSFER_RECEIVED;
}

TEST_F(receiving_faults, mma_lan_transfer) {
    const std::string old = "old";
    try_all({.prepare = [&] { write_file(file(), old); },
             .call = [&](answer &said) { said.numbers[0] = mma_lan_transfer(file().c_str(), "127.0.0.1"); },
             .judge =
                 [&](run &r) {
                     const std::string now = read_file(file()).value();
                     if (r.killed()) {
                         EXPECT_TRUE(now == old || content_.starts_with(now));
                         return;
                     }
                     const auto result = static_cast<int>(r.said.numbers[0]);
                     EXPECT_EQ(result, expected_result(r, file()));
                     r.leaves_open(result == LAN_TRANSFER_NO_REUSE || result == LAN_TRANSFER_NO_LOCAL_PORT ||
                                           result == LAN_TRANSFER_RECEIVE_FAILED
                                       ? 1
                                       : 0);
                     if (r.failed("recv", 0) || r.found_the_end("recv", 0)) {
                         EXPECT_EQ(now, wire_); // the size was not taken
                     } else if (r.cut_short("recv", 0)) {
                         EXPECT_EQ(now, wire_.substr(2));
                     } else if (result == LAN_TRANSFER_RECEIVED && !r.failed("write") &&
                                !r.found_the_end("recv", 1)) {
                         EXPECT_EQ(now, content_);
                     } else {
                         EXPECT_TRUE(now == old || now.empty());
                     }
                 },
             .file = file()});
}

constexpr uint8_t clients = 2;

/// What a client got.
struct received {
    std::array<char, 2048> bytes;
    std::size_t size;
};

class sending_faults : public transfer_faults {
  protected:
    void start_clients() {
        for (std::size_t i = 0; i < clients; ++i) {
            *got_[i] = {};
            clients_[i] = child_process([this, i] { return receive(*got_[i]); });
        }
    }

    /// Waits until all clients have got everything, or ends them.
    void end_clients(bool served) {
        for (child_process &client : clients_) {
            if (served) {
                EXPECT_TRUE(client.exits_with(0));
            } else {
                client = child_process::none();
            }
        }
    }

    [[nodiscard]] std::string got(std::size_t client) const {
        return {got_[client]->bytes.data(), got_[client]->size};
    }

  private:
    int receive(received &into) const {
        const int connection = connect_to_sender();
        while (into.size < wire_.size()) {
            const ssize_t n = recv(connection, into.bytes.data() + into.size, wire_.size() - into.size, 0);
            if (n <= 0) {
                return 1;
            }
            into.size += static_cast<std::size_t>(n);
        }
        return 0;
    }

    static int connect_to_sender() {
        const sockaddr_in address = sender_address();
        for (;;) {
            const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            if (connect(connection, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
                return connection;
            }
            close(connection);
            usleep(500); // refused until the sender listens
        }
    }

    std::array<shared_value<received>, clients> got_;
    std::array<child_process, clients> clients_{child_process::none(), child_process::none()};
};

/// How many descriptors a sender leaves: the connections of all clients but the last, and when it could not go on listening,
/// all connections and the file.
int left_by_sender(const run &r) {
    for (std::size_t nth = 0; nth < clients; ++nth) {
        if (r.failed("listen", nth) || r.failed("accept", nth)) {
            return static_cast<int>(nth) + 1;
        }
    }
    return r.said.numbers[0] == 0 ? clients - 1 : 0;
}

TEST_F(sending_faults, lan_transfer_file) {
    std::vector<char> order(1 + file().size() + 1);
    std::ranges::copy(file(), order.begin() + 1);
    try_all({.prepare =
                 [&] {
                     write_file(file(), content_);
                     start_clients();
                 },
             .call =
                 [&](answer &said) {
                     order[0] = clients;
                     struct noted {
                         answer &said;
                         const std::vector<char> &order;
                         ~noted() { said.numbers[0] = order[0]; }
                     };
                     const noted at_the_end{said, order}; // pthread_exit() unwinds this frame
                     lan_transfer_file(order.data());
                 },
             .judge =
                 [&](run &r) {
                     end_clients(r.undisturbed());
                     const bool other_bytes =
                         r.disturbed("send") || r.disturbed("read") || r.failed("lseek") || r.failed("fstat");
                     for (std::size_t i = 0; i < clients; ++i) {
                         EXPECT_TRUE(other_bytes || wire_.starts_with(got(i)));
                     }
                     if (r.killed()) {
                         return;
                     }
                     const bool refused = r.failed("socket") || r.failed("setsockopt") || r.failed("bind") ||
                                          r.failed_on("openat", file());
                     const bool stopped = r.failed("listen") || r.failed("accept");
                     r.leaves_open(left_by_sender(r));
                     r.closes(r.failed_on("openat", file()) ? 1 : 0); // standard input
                     EXPECT_EQ(r.said.numbers[0] == 0, !refused && !stopped);
                 },
             .file = file(),
             .begin = [] { dup2(STDOUT_FILENO, STDIN_FILENO); },
             .ends_thread = true});
}

} // namespace
} // namespace varnel::test
