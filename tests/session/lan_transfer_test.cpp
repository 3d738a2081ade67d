// SPDX-License-Identifier: Apache-2.0
#include "varnel/lan_transfer.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "support/captured_output.h"
#include "support/child_process.h"
#include "support/interposed.h"
#include "support/own_network.h"
#include "support/scratch_folder.h"

static_assert(sizeof(lan_transfer_arg) == 1 && offsetof(lan_transfer_arg, path) == 1);

namespace {

using namespace varnel::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr size_t chunk = 262144;

// --- The library's calls, recorded and made to fail on the thread under test only ---

interposed<int(int, int, int)> socket_call("socket");
interposed<int(int, int, int, const void *, socklen_t)> setsockopt_call("setsockopt");
interposed<int(int, const sockaddr *, socklen_t)> bind_call("bind");
interposed<int(int, int)> listen_call("listen");
interposed<int(int, sockaddr *, socklen_t *)> accept_call("accept");
interposed<int(int, const sockaddr *, socklen_t)> connect_call("connect");
interposed<ssize_t(int, const void *, size_t, int)> send_call("send");
interposed<ssize_t(int, void *, size_t, int)> recv_call("recv");
interposed<FILE *(const char *, const char *)> fopen_call("fopen");
interposed<int(FILE *)> fclose_call("fclose");
interposed<int(int)> close_call("close");
interposed<unsigned int(unsigned int)> sleep_call("sleep");

thread_local bool under_test = false;

struct call_log {
    std::vector<std::string> calls;
    std::map<std::string, int> failing; ///< errno by function name
    int own_socket = -1;
    std::vector<int> clients;
};

call_log seen;

std::string name_of(int fd) {
    if (fd == seen.own_socket) {
        return "socket";
    }
    const auto client = std::find(seen.clients.begin(), seen.clients.end(), fd);
    return client == seen.clients.end() ? std::to_string(fd)
                                        : "client" + std::to_string(client - seen.clients.begin() + 1);
}

/// Records a call; true when it is to fail.
bool fails(const std::string &call) {
    seen.calls.push_back(call);
    const auto found = seen.failing.find(call.substr(0, call.find(' ')));
    if (found != seen.failing.end()) {
        errno = found->second;
    }
    return found != seen.failing.end();
}

std::string numbers() { return ""; }
template <class... rest>
std::string numbers(long first, rest... others) {
    return " " + std::to_string(first) + numbers(others...);
}

std::string text_of(const sockaddr *address) {
    const auto *ip = reinterpret_cast<const sockaddr_in *>(address);
    return std::string(" ") + inet_ntoa(ip->sin_addr) + ":" + std::to_string(ntohs(ip->sin_port));
}

} // namespace

extern "C" {
int socket(int family, int type, int protocol) noexcept {
    if (!under_test) {
        return socket_call(family, type, protocol);
    }
    return seen.own_socket =
               fails("socket" + numbers(family, type, protocol)) ? -1 : socket_call(family, type, protocol);
}
int setsockopt(int fd, int level, int option, const void *value, socklen_t size) noexcept {
    const auto call = [&] {
        return "setsockopt " + name_of(fd) + numbers(level, option, *static_cast<const int *>(value));
    };
    return under_test && fails(call()) ? -1 : setsockopt_call(fd, level, option, value, size);
}
int bind(int fd, const sockaddr *address, socklen_t size) noexcept {
    return under_test && fails("bind " + name_of(fd) + text_of(address)) ? -1 : bind_call(fd, address, size);
}
int listen(int fd, int backlog) noexcept {
    return under_test && fails("listen " + name_of(fd) + numbers(backlog)) ? -1 : listen_call(fd, backlog);
}
int accept(int fd, sockaddr *address, socklen_t *size) {
    if (!under_test) {
        return accept_call(fd, address, size);
    }
    if (fails("accept " + name_of(fd))) {
        return -1;
    }
    seen.clients.push_back(accept_call(fd, address, size));
    return seen.clients.back();
}
int connect(int fd, const sockaddr *address, socklen_t size) {
    return under_test && fails("connect " + name_of(fd) + text_of(address)) ? -1
                                                                            : connect_call(fd, address, size);
}
ssize_t send(int fd, const void *bytes, size_t size, int flags) {
    return under_test && fails("send " + name_of(fd) + numbers(static_cast<long>(size), flags))
               ? -1
               : send_call(fd, bytes, size, flags);
}
ssize_t recv(int fd, void *bytes, size_t size, int flags) {
    return under_test && fails("recv " + name_of(fd) + numbers(static_cast<long>(size), flags))
               ? -1
               : recv_call(fd, bytes, size, flags);
}
FILE *fopen(const char *path, const char *mode) {
    return under_test && fails(std::string("fopen ") + mode) ? nullptr : fopen_call(path, mode);
}
int fclose(FILE *file) { return under_test && fails("fclose") ? -1 : fclose_call(file); }
int close(int fd) {
    if (under_test && (fails("close " + name_of(fd)) || fd == STDIN_FILENO)) {
        return -1; // the test program keeps its standard input
    }
    return close_call(fd);
}
unsigned int sleep(unsigned int seconds) {
    if (!under_test) {
        return sleep_call(seconds);
    }
    fails("sleep" + numbers(seconds));
    return 0;
}
}

namespace {

// --- Helpers ---

std::string bytes_of(size_t size) {
    std::string all(size, '\0');
    uint32_t state = 1;
    for (char &byte : all) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    return all;
}

std::string size_field(uint32_t size) { return {reinterpret_cast<const char *>(&size), sizeof size}; }

sockaddr_in transfer_address() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(7000);
    inet_aton("127.0.0.1", &address.sin_addr);
    return address;
}

/// A TCP connection of the test's own.
class connection {
  public:
    explicit connection(int fd) : fd_(fd) {}
    connection(connection &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    ~connection() { close_now(); }

    void send_all(const std::string &bytes) const {
        EXPECT_EQ(send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    /// Reads up to `size` bytes, fewer at the end of the stream.
    std::string read_up_to(size_t size) const {
        std::string all(size, '\0');
        size_t got = 0;
        for (ssize_t n = 0; got < size && (n = recv(fd_, all.data() + got, size - got, 0)) > 0;) {
            got += static_cast<size_t>(n);
        }
        all.resize(got);
        return all;
    }
    std::string read_all() const { return read_up_to(size_t{1} << 24); }
    bool has_the_transfer_port() const {
        const int yes = 1;
        const sockaddr_in address = transfer_address();
        return setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0 &&
               bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
               listen(fd_, 1) == 0;
    }
    bool nothing_to_read() const {
        pollfd input{fd_, POLLIN, 0};
        return poll(&input, 1, 0) == 0;
    }
    connection next_connection() const { return connection(accept(fd_, nullptr, nullptr)); }
    void close_now() {
        if (fd_ >= 0) {
            close(std::exchange(fd_, -1));
        }
    }
    /// Closes the connection with a reset.
    void reset_connection() {
        const linger at_once{1, 0};
        setsockopt(fd_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
        close_now();
    }

  private:
    int fd_;
};

connection connected() {
    for (;; sched_yield()) {
        const int fd = socket(AF_INET, SOCK_STREAM, 0);
        const sockaddr_in address = transfer_address();
        if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
            return connection(fd);
        }
        close(fd); // not listening yet
    }
}

/// Runs mma_lan_transfer as the code under test.
int received(const std::string &path, const char *ip = "127.0.0.1") {
    under_test = true;
    const int result = mma_lan_transfer(path.c_str(), ip);
    under_test = false;
    return result;
}

class transfer : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        static const std::string reason = enter_own_network();
        no_network = reason;
    }
    void SetUp() override {
        if (!no_network.empty()) {
            GTEST_SKIP() << no_network;
        }
        seen = {};
    }

    static bool is_open(int fd) { return fcntl(fd, F_GETFD) != -1; }

    scratch_folder folder;
    static std::string no_network;
};

std::string transfer::no_network;

// --- Sending ---

class transfer_server : public transfer {
  protected:
    transfer_server() { std::atomic_ref(g_transfer_server_ok).store(0); }
    ~transfer_server() override {
        for (const int fd : seen.clients) {
            close(fd); // the server leaves these open
        }
    }

    void serves(const std::string &content, uint8_t clients) {
        path = folder.file("sent");
        write_file(path, content);
        start(clients);
    }

    void start(uint8_t clients) {
        order.assign(1, static_cast<char>(clients));
        order.append(path).push_back('\0');
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, LAN_TRANSFER_STACK_SIZE);
        ASSERT_EQ(pthread_create(&thread, &attributes, run, this), 0);
        pthread_attr_destroy(&attributes);
    }

    uint8_t count() { return std::atomic_ref(reinterpret_cast<uint8_t &>(order[0])).load(); }

    void ends() {
        void *value = this;
        ASSERT_EQ(pthread_join(thread, &value), 0);
        EXPECT_EQ(value, nullptr);
        EXPECT_FALSE(returned) << "it returned instead of ending the thread";
    }

    std::vector<std::string> calls_of(const std::string &name) const {
        std::vector<std::string> some;
        std::copy_if(seen.calls.begin(), seen.calls.end(), std::back_inserter(some),
                     [&name](const std::string &call) { return call.rfind(name, 0) == 0; });
        return some;
    }

    std::string path = folder.file("sent");
    std::string order; ///< a lan_transfer_arg

  private:
    static void *run(void *self) {
        auto *test = static_cast<transfer_server *>(self);
        under_test = true;
        lan_transfer_file(test->order.data());
        test->returned = true;
        return self;
    }

    pthread_t thread{};
    bool returned = false;
};

TEST_F(transfer_server, sends_size_and_content_and_nothing_else) {
    for (const size_t size : {size_t{0}, size_t{1}, chunk - 1, chunk, chunk + 1, 5 * chunk + 77}) {
        const std::string content = bytes_of(size);
        serves(content, 1);
        const std::string stream = connected().read_all();
        ends();
        EXPECT_TRUE(stream == size_field(static_cast<uint32_t>(size)) + content) << size;
    }
}

TEST_F(transfer_server, sends_chunks_of_262144_bytes_without_flags) {
    for (const auto &[size, sends] : std::vector<std::pair<size_t, std::vector<std::string>>>{
             {0, {"send client1 4 0"}},
             {5, {"send client1 4 0", "send client1 5 0"}},
             {chunk, {"send client1 4 0", "send client1 262144 0"}},
             {chunk + 1, {"send client1 4 0", "send client1 262144 0", "send client1 1 0"}}}) {
        seen = {};
        serves(bytes_of(size), 1);
        EXPECT_EQ(connected().read_all().size(), size + 4);
        ends();
        EXPECT_EQ(calls_of("send"), sends);
    }
}

TEST_F(transfer_server, makes_its_calls_in_the_documented_order) {
    serves("abc", 2);
    const connection first = connected();
    EXPECT_EQ(first.read_up_to(7), size_field(3) + "abc");
    EXPECT_EQ(connected().read_all(), size_field(3) + "abc");
    ends();
    EXPECT_THAT(seen.calls,
                ElementsAre("socket 2 1 0", "setsockopt socket 1 2 1", "bind socket 0.0.0.0:7000",
                            "fopen r",                                                                   //
                            "listen socket 10", "accept socket", "send client1 4 0", "send client1 3 0", //
                            "listen socket 10", "accept socket", "send client2 4 0", "send client2 3 0", //
                            "sleep 1", "fclose", "close client2", "close socket"));
}

const int ok_at_start = g_transfer_server_ok;

TEST_F(transfer_server, g_transfer_server_ok_is_0_at_first) { EXPECT_EQ(ok_at_start, 0); }

/// A daemon may have closed its standard input.
TEST_F(transfer_server, serves_through_descriptor_0) {
    for (const bool of_the_client : {false, true}) {
        child_process server([&] {
            const stand_in<int, int, int> listens(listen_call, [&](int fd, int backlog) {
                if (of_the_client) {
                    close_call.real(STDIN_FILENO);
                }
                return listen_call.real(fd, backlog);
            });
            if (!of_the_client) {
                close(STDIN_FILENO);
            }
            serves("abc", 1);
            ends();
            return HasFailure() ? 1 : 0;
        });
        EXPECT_EQ(connected().read_all(), size_field(3) + "abc");
        EXPECT_TRUE(server.exits_with(0));
    }
}

TEST_F(transfer_server, client_count_of_0_closes_descriptor_0) {
    serves("abc", 0);
    ends();
    EXPECT_THAT(seen.calls, ElementsAre("socket 2 1 0", "setsockopt socket 1 2 1", "bind socket 0.0.0.0:7000",
                                        "fopen r", "sleep 1", "fclose", "close 0", "close socket"));
    EXPECT_EQ(g_transfer_server_ok, 0);
}

TEST_F(transfer_server, sets_g_transfer_server_ok_before_each_listen) {
    std::vector<int> flags;
    stand_in<int, int, int> listens(listen_call, [&flags](int fd, int backlog) {
        flags.push_back(std::atomic_ref(g_transfer_server_ok).exchange(0));
        return listen_call.real(fd, backlog);
    });
    serves("abc", 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(connected().read_up_to(7).size(), 7U);
    }
    ends();
    EXPECT_THAT(flags, ElementsAre(1, 1, 1));
}

TEST_F(transfer_server, never_clears_g_transfer_server_ok) {
    serves("abc", 1);
    while (std::atomic_ref(g_transfer_server_ok).load() == 0) {
        sched_yield();
    }
    EXPECT_EQ(connected().read_all().size(), 7U);
    ends();
    EXPECT_EQ(g_transfer_server_ok, 1);
}

TEST_F(transfer_server, decrements_the_callers_count_after_each_client) {
    std::vector<int> counts;
    stand_in<int, int, int> listens(listen_call, [&](int fd, int backlog) {
        counts.push_back(count());
        return listen_call.real(fd, backlog);
    });
    serves("abc", 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(connected().read_up_to(7).size(), 7U);
    }
    ends();
    EXPECT_THAT(counts, ElementsAre(3, 2, 1));
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(order.substr(1), path + '\0');
}

TEST_F(transfer_server, serves_255_clients) {
    serves("abc", 255);
    for (int i = 0; i < 255; ++i) {
        ASSERT_EQ(connected().read_up_to(7), size_field(3) + "abc");
    }
    ends();
    EXPECT_EQ(seen.clients.size(), 255U);
}

TEST_F(transfer_server, leaves_the_connections_of_earlier_clients_open) {
    serves("abc", 3);
    std::vector<connection> clients;
    for (int i = 0; i < 3; ++i) {
        clients.push_back(connected());
        EXPECT_EQ(clients.back().read_up_to(7).size(), 7U);
    }
    ends();
    EXPECT_TRUE(clients[0].nothing_to_read());
    EXPECT_TRUE(clients[1].nothing_to_read());
    EXPECT_EQ(clients[2].read_all(), ""); // closed
    EXPECT_TRUE(is_open(seen.clients[0]));
    EXPECT_TRUE(is_open(seen.clients[1]));
    EXPECT_FALSE(is_open(seen.clients[2]));
    seen.clients.pop_back();
}

TEST_F(transfer_server, closes_only_the_last_connection_after_an_empty_file) {
    serves("", 2);
    const connection first = connected();
    EXPECT_EQ(first.read_up_to(4), size_field(0));
    EXPECT_EQ(connected().read_all(), size_field(0)); // closed
    ends();
    EXPECT_TRUE(first.nothing_to_read());
}

TEST_F(transfer_server, reads_the_file_size_again_for_each_client) {
    serves("abc", 2);
    EXPECT_EQ(connected().read_up_to(7), size_field(3) + "abc");
    // The second client is not being served yet: it has not connected.
    write_file(path, "defgh");
    EXPECT_EQ(connected().read_all(), size_field(5) + "defgh");
    ends();
}

TEST_F(transfer_server, does_not_send_the_rest_after_a_short_send) {
    std::atomic<int> sends = 0;
    stand_in<ssize_t, int, const void *, size_t, int> short_one(
        send_call, [&sends](int fd, const void *bytes, size_t size, int flags) {
            return send_call.real(fd, bytes, ++sends == 2 ? 100 : size, flags);
        });
    const std::string content = bytes_of(chunk + 50);
    serves(content, 1);
    const std::string stream = connected().read_all();
    ends();
    EXPECT_EQ(stream, size_field(chunk + 50) + content.substr(0, 100) + content.substr(chunk));
}

TEST_F(transfer_server, ignores_a_failed_send_of_the_size) {
    stand_in<ssize_t, int, const void *, size_t, int> first_fails(
        send_call, [](int fd, const void *bytes, size_t size, int flags) {
            return size == 4 ? ssize_t{-1} : send_call.real(fd, bytes, size, flags);
        });
    serves("abcdefg", 1);
    EXPECT_EQ(connected().read_all(), "abcdefg");
    ends();
}

TEST_F(transfer_server, failed_send_ends_only_that_client) {
    std::atomic<int> sends = 0;
    stand_in<ssize_t, int, const void *, size_t, int> one_fails(
        send_call, [&sends](int fd, const void *bytes, size_t size, int flags) {
            return ++sends == 2 ? ssize_t{-1} : send_call.real(fd, bytes, size, flags);
        });
    const std::string content = bytes_of(3 * chunk);
    serves(content, 2);
    const connection first = connected();
    EXPECT_EQ(first.read_up_to(4), size_field(3 * chunk));
    EXPECT_TRUE(connected().read_all() == size_field(3 * chunk) + content);
    ends();
    EXPECT_TRUE(first.nothing_to_read());
    EXPECT_EQ(calls_of("send client1").size(), 2U);
}

TEST_F(transfer_server, continues_after_clients_that_reset_during_the_transfer) {
    const std::string content = bytes_of(40 * chunk); // more than the sockets' buffers hold
    serves(content, 3);
    for (const size_t read_before : {size_t{4}, 3 * chunk}) {
        connection client = connected();
        EXPECT_EQ(client.read_up_to(read_before).size(), read_before);
        client.reset_connection();
    }
    EXPECT_TRUE(connected().read_all() == size_field(40 * chunk) + content);
    ends();
}

TEST_F(transfer_server, continues_after_a_client_that_resets_before_the_first_send) {
    // Reset before the first send: the second send gets EPIPE and would raise SIGPIPE.
    std::optional<connection> client;
    stand_in<int, int, sockaddr *, socklen_t *> accepts(
        accept_call, [&client](int fd, sockaddr *address, socklen_t *size) {
            const int accepted = accept_call.real(fd, address, size);
            if (client.has_value()) {
                client->reset_connection();
                client.reset();
            }
            return accepted;
        });
    int broken = 0;
    stand_in<ssize_t, int, const void *, size_t, int> sends(
        send_call, [&broken](int fd, const void *bytes, size_t size, int flags) {
            const ssize_t n = send_call.real(fd, bytes, size, flags);
            broken += n == -1 && errno == EPIPE ? 1 : 0;
            return n;
        });
    // The client must be connected before the server calls accept(), so the server waits in listen().
    std::atomic<bool> connected_already = false;
    stand_in<int, int, int> listens(listen_call, [&connected_already](int fd, int backlog) {
        const int result = listen_call.real(fd, backlog);
        while (!connected_already) {
            sched_yield();
        }
        return result;
    });
    serves("abc", 2);
    client.emplace(connected());
    connected_already = true;
    EXPECT_EQ(connected().read_all(), size_field(3) + "abc");
    ends();
    EXPECT_EQ(broken, 1);
}

TEST_F(transfer_server, blocks_sigpipe_and_no_other_signal) {
    sigset_t blocked;
    const stand_in<int, int, int, int> fails(socket_call, [&blocked](int, int, int) {
        pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
        return -1;
    });
    serves("abc", 1);
    ends();
    for (int signal = 1; signal < NSIG; ++signal) {
        EXPECT_EQ(sigismember(&blocked, signal), signal == SIGPIPE ? 1 : 0) << signal;
    }
}

TEST_F(transfer_server, ends_when_socket_fails) {
    seen.failing = {{"socket", EMFILE}};
    serves("abc", 1);
    ends();
    EXPECT_THAT(seen.calls, ElementsAre("socket 2 1 0"));
}

TEST_F(transfer_server, ends_when_setsockopt_fails) {
    seen.failing = {{"setsockopt", EPERM}};
    serves("abc", 1);
    ends();
    EXPECT_THAT(seen.calls, ElementsAre("socket 2 1 0", "setsockopt socket 1 2 1", "close socket"));
}

TEST_F(transfer_server, ends_when_the_port_is_in_use) {
    const connection other(socket(AF_INET, SOCK_STREAM, 0));
    ASSERT_TRUE(other.has_the_transfer_port());
    serves("abc", 1);
    ends();
    EXPECT_THAT(seen.calls, ElementsAre("socket 2 1 0", "setsockopt socket 1 2 1", "bind socket 0.0.0.0:7000",
                                        "close socket"));
    EXPECT_EQ(count(), 1);
}

TEST_F(transfer_server, closes_descriptor_0_when_the_file_cannot_be_opened) {
    path = folder.file("missing");
    start(1);
    ends();
    EXPECT_THAT(seen.calls, ElementsAre("socket 2 1 0", "setsockopt socket 1 2 1", "bind socket 0.0.0.0:7000",
                                        "fopen r", "close 0", "close socket"));
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(g_transfer_server_ok, 0);
}

TEST_F(transfer_server, ends_with_the_file_open_when_listen_fails) {
    seen.failing = {{"listen", EADDRINUSE}};
    serves("abc", 1);
    ends();
    EXPECT_THAT(seen.calls, ElementsAre("socket 2 1 0", "setsockopt socket 1 2 1", "bind socket 0.0.0.0:7000",
                                        "fopen r", "listen socket 10", "close socket"));
    EXPECT_EQ(g_transfer_server_ok, 1);
}

TEST_F(transfer_server, ends_with_the_file_open_when_accept_fails) {
    seen.failing = {{"accept", EINTR}};
    serves("abc", 1);
    ends();
    EXPECT_THAT(seen.calls, ElementsAre("socket 2 1 0", "setsockopt socket 1 2 1", "bind socket 0.0.0.0:7000",
                                        "fopen r", "listen socket 10", "accept socket", "close socket"));
    EXPECT_EQ(count(), 1);
}

TEST_F(transfer_server, prints_nothing) {
    captured_output output;
    path = folder.file("missing");
    start(1);
    ends();
    serves("abc", 1);
    EXPECT_EQ(connected().read_all().size(), 7U);
    ends();
    EXPECT_EQ(output.text(), "");
}

// --- Receiving ---

/// A sender of the test's own: accepts one connection and runs `act` on it.
class raw_server {
  public:
    explicit raw_server(std::function<void(connection &)> act) {
        EXPECT_TRUE(listener_.has_the_transfer_port());
        thread_ = std::thread([this, act = std::move(act)] {
            connection client = listener_.next_connection();
            act(client);
        });
    }
    ~raw_server() { thread_.join(); }

  private:
    connection listener_{socket(AF_INET, SOCK_STREAM, 0)};
    std::thread thread_;
};

class transfer_client : public transfer {
  protected:
    ~transfer_client() override {
        if (is_open(seen.own_socket)) {
            close(seen.own_socket);
        }
    }

    /// The result of receiving from a sender that sends these bytes and closes the connection.
    int result_of_stream(const std::string &stream) {
        raw_server server([&stream](connection &client) { client.send_all(stream); });
        return received(path);
    }

    std::string path = folder.file("received");
};

TEST_F(transfer_client, stores_what_the_server_sends) {
    for (const size_t size : {size_t{0}, size_t{1}, chunk, chunk + 1, 9 * chunk + 5}) {
        const std::string content = bytes_of(size);
        EXPECT_EQ(result_of_stream(size_field(static_cast<uint32_t>(size)) + content), 0);
        EXPECT_TRUE(read_file(path) == content) << size;
    }
}

TEST_F(transfer_client, makes_its_calls_in_the_documented_order) {
    EXPECT_EQ(result_of_stream(size_field(3) + "abc"), 0);
    EXPECT_THAT(seen.calls, ElementsAre("socket 2 1 0", "setsockopt socket 1 2 1", "bind socket 0.0.0.0:0",
                                        "connect socket 127.0.0.1:7000", "fopen w", "recv socket 4 0",
                                        "recv socket 262144 0", "fclose", "close socket"));
}

TEST_F(transfer_client, receives_through_descriptor_0) {
    raw_server server([](connection &client) { client.send_all(size_field(3) + "abc"); });
    child_process client([&] {
        close(STDIN_FILENO);
        return received(path);
    });
    EXPECT_TRUE(client.exits_with(0));
    EXPECT_EQ(read_file(path), "abc");
}

TEST_F(transfer_client, stops_at_the_announced_size) {
    std::atomic<bool> done = false;
    raw_server server([&done](connection &client) {
        client.send_all(size_field(3) + "abc");
        while (!done) { // the connection stays open
            sched_yield();
        }
    });
    EXPECT_EQ(received(path), 0);
    done = true;
    EXPECT_EQ(read_file(path), "abc");
}

TEST_F(transfer_client, stores_extra_bytes_received_with_the_last_chunk) {
    EXPECT_EQ(result_of_stream(size_field(3) + "abcdefgh"), 0);
    EXPECT_EQ(read_file(path), "abcdefgh");
}

TEST_F(transfer_client, returns_0_with_a_short_file_when_the_sender_closes) {
    EXPECT_EQ(result_of_stream(size_field(1000) + "abc"), 0);
    EXPECT_EQ(read_file(path), "abc");
}

TEST_F(transfer_client, returns_0_with_an_empty_file_when_the_size_is_missing) {
    EXPECT_EQ(result_of_stream(""), 0);
    EXPECT_EQ(read_file(path), "");
    EXPECT_EQ(result_of_stream("\x05"), 0); // one byte of the size: 5 bytes announced
    EXPECT_EQ(read_file(path), "");
}

TEST_F(transfer_client, size_0_still_receives_once) {
    EXPECT_EQ(result_of_stream(size_field(0)), 0);
    EXPECT_EQ(read_file(path), "");
    EXPECT_EQ(std::count(seen.calls.begin(), seen.calls.end(), "recv socket 262144 0"), 1);
}

TEST_F(transfer_client, stores_what_follows_a_size_of_zero) {
    EXPECT_EQ(result_of_stream(size_field(0) + "abc"), 0);
    EXPECT_EQ(read_file(path), "abc");
}

/// Each recv of the code under test returns at most `limit` bytes.
struct small_receives {
    size_t limit;
    stand_in<ssize_t, int, void *, size_t, int> receives{
        recv_call, [this](int fd, void *bytes, size_t size, int flags) {
            return recv_call.real(fd, bytes, under_test ? std::min(size, limit) : size, flags);
        }};
};

TEST_F(transfer_client, file_received_in_pieces_is_complete) {
    small_receives seven_bytes{7};
    const std::string content = bytes_of(1000);
    EXPECT_EQ(result_of_stream(size_field(1000) + content), 0);
    EXPECT_TRUE(read_file(path) == content);
}

TEST_F(transfer_client, reads_the_size_with_a_single_recv) {
    small_receives two_bytes{2};
    // Two bytes of the size are used, the other two are zero; the rest of the size is stored as content.
    EXPECT_EQ(result_of_stream(size_field(3).substr(0, 2) + "ABCDEF"), 0);
    const bool low_bytes_first = std::endian::native == std::endian::little;
    EXPECT_EQ(read_file(path), low_bytes_first ? "ABCD" : "AB");
}

TEST_F(transfer_client, treats_the_size_as_signed) {
    small_receives four_bytes{4};
    EXPECT_EQ(result_of_stream(size_field(0xFFFFFFFF) + "abcdefgh"), 0);
    EXPECT_EQ(read_file(path), "abcd");
    // The lowest number minus 1 wraps to the highest: receiving continues to the end.
    EXPECT_EQ(result_of_stream(size_field(0x80000000) + "abcdefgh"), 0);
    EXPECT_EQ(read_file(path), "abcdefgh");
}

TEST_F(transfer_client, overwrites_the_file) {
    write_file(path, "something longer");
    EXPECT_EQ(result_of_stream(size_field(3) + "abc"), 0);
    EXPECT_EQ(read_file(path), "abc");
}

TEST_F(transfer_client, ignores_a_failed_receive_of_the_size) {
    stand_in<ssize_t, int, void *, size_t, int> size_fails(
        recv_call, [](int fd, void *bytes, size_t size, int flags) {
            return size == 4 ? ssize_t{-1} : recv_call.real(fd, bytes, size, flags);
        });
    EXPECT_EQ(result_of_stream("abc"), 0);
    EXPECT_EQ(read_file(path), "abc");
}

TEST_F(transfer_client, returns_1_when_socket_fails) {
    seen.failing = {{"socket", EMFILE}};
    EXPECT_EQ(received(path), 1);
    EXPECT_THAT(seen.calls, ElementsAre("socket 2 1 0"));
}

TEST_F(transfer_client, returns_2_when_setsockopt_fails) {
    seen.failing = {{"setsockopt", EPERM}};
    EXPECT_EQ(received(path), 2);
    EXPECT_EQ(seen.calls.size(), 2U);
    EXPECT_TRUE(is_open(seen.own_socket));
}

TEST_F(transfer_client, returns_3_when_bind_fails) {
    seen.failing = {{"bind", EADDRINUSE}};
    EXPECT_EQ(received(path), 3);
    EXPECT_EQ(seen.calls.size(), 3U);
    EXPECT_TRUE(is_open(seen.own_socket));
}

TEST_F(transfer_client, returns_4_for_text_that_is_no_ipv4_address) {
    for (const char *text : {"256.1.1.1", "1.2.3.4.5", "bmc-1", "", "1.2.3.-4"}) {
        seen = {};
        EXPECT_EQ(received(path, text), 4) << text;
        EXPECT_EQ(seen.calls.size(), 3U); // socket, option, bind
        EXPECT_TRUE(is_open(seen.own_socket));
        close(seen.own_socket);
    }
}

TEST_F(transfer_client, returns_5_when_the_connection_is_refused) {
    EXPECT_EQ(received(path), 5);
    EXPECT_FALSE(is_open(seen.own_socket));
    EXPECT_EQ(access(path.c_str(), F_OK), -1);
}

TEST_F(transfer_client, returns_6_when_the_file_cannot_be_created) {
    path = folder.file("missing/file");
    EXPECT_EQ(result_of_stream(""), 6);
    EXPECT_FALSE(is_open(seen.own_socket));
    EXPECT_EQ(seen.calls.back(), "close socket");
}

TEST_F(transfer_client, returns_7_when_the_connection_is_reset) {
    // Resets only after the client is connected; otherwise its connect() fails.
    std::atomic<bool> receiving = false;
    stand_in<ssize_t, int, void *, size_t, int> receives(
        recv_call, [&receiving](int fd, void *bytes, size_t size, int flags) {
            receiving = true;
            receiving.notify_one();
            return recv_call.real(fd, bytes, size, flags);
        });
    raw_server server([&receiving](connection &client) {
        client.send_all(size_field(1000) + "abc");
        receiving.wait(false);
        client.reset_connection();
    });
    EXPECT_EQ(received(path), 7);
    EXPECT_FALSE(is_open(seen.own_socket));
    EXPECT_EQ(std::count(seen.calls.begin(), seen.calls.end(), "fclose"), 0); // the file stays open
}

TEST_F(transfer_client, returns_8_when_the_disk_is_full) {
    path = "/dev/full";
    EXPECT_EQ(result_of_stream(size_field(chunk) + bytes_of(chunk)), 8);
    EXPECT_FALSE(is_open(seen.own_socket));
    EXPECT_EQ(std::count(seen.calls.begin(), seen.calls.end(), "fclose"), 0);
}

TEST_F(transfer_client, ignores_a_write_error_on_close) {
    path = "/dev/full";
    EXPECT_EQ(result_of_stream(size_field(3) + "abc"), 0); // buffered until the file is closed
}

TEST_F(transfer_client, prints_nothing) {
    captured_output output;
    EXPECT_EQ(received(path), 5);
    EXPECT_EQ(received(path, "x"), 4);
    EXPECT_EQ(result_of_stream(size_field(3) + "abc"), 0);
    EXPECT_EQ(output.text(), "");
}

// --- Both ---

TEST_F(transfer_server, serves_clients_of_this_library_one_after_another) {
    const std::string content = bytes_of(11 * chunk + 3);
    serves(content, 3);
    for (int i = 0; i < 3; ++i) {
        const std::string copy = folder.file("copy") + std::to_string(i);
        int result = 5;
        while (result == 5) { // not listening yet
            result = mma_lan_transfer(copy.c_str(), "127.0.0.1");
        }
        EXPECT_EQ(result, 0);
        EXPECT_TRUE(read_file(copy) == content);
    }
    ends();
}

TEST_F(transfer_server, client_runs_with_the_stack_size_of_the_server) {
    serves("abc", 1);
    struct job {
        std::string path;
        int result = 5;
    } client{folder.file("copy")};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, LAN_TRANSFER_STACK_SIZE);
    pthread_t client_thread{};
    ASSERT_EQ(pthread_create(
                  &client_thread, &attributes,
                  [](void *argument) -> void * {
                      auto *work = static_cast<job *>(argument);
                      while (work->result == 5) {
                          work->result = mma_lan_transfer(work->path.c_str(), "127.0.0.1");
                      }
                      return nullptr;
                  },
                  &client),
              0);
    pthread_attr_destroy(&attributes);
    pthread_join(client_thread, nullptr);
    EXPECT_EQ(client.result, 0);
    EXPECT_EQ(read_file(client.path), "abc");
    ends();
}

} // namespace
