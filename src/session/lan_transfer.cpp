// SPDX-License-Identifier: Apache-2.0
#include "varnel/lan_transfer.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

int g_transfer_server_ok = 0;

namespace {

constexpr uint16_t any_port = 0;
constexpr int waiting_clients = 10;

using chunk = std::array<char, LAN_TRANSFER_CHUNK>;

sockaddr_in address(uint16_t port) {
    sockaddr_in any{};
    any.sin_family = AF_INET;
    any.sin_addr.s_addr = htonl(INADDR_ANY);
    any.sin_port = htons(port);
    return any;
}

const sockaddr *generic(const sockaddr_in &ip) { return reinterpret_cast<const sockaddr *>(&ip); }

bool allow_reuse(int socket) {
    const int yes = 1;
    return setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0;
}

bool bind_to(int socket, uint16_t port) {
    const sockaddr_in local = address(port);
    return bind(socket, generic(local), sizeof local) == 0;
}

// --- Sending ---

/// A send to a client that has disconnected fails. The signal stays pending until the thread ends.
void block_broken_pipe_signal() {
    sigset_t broken_pipe;
    sigemptyset(&broken_pipe);
    sigaddset(&broken_pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &broken_pipe, nullptr);
}

// pthread_exit() runs no destructors here: close everything before it.
[[noreturn]] void end_thread(int listener) {
    close(listener);
    pthread_exit(nullptr);
}

int next_client(int listener) {
    std::atomic_ref(g_transfer_server_ok).store(1);
    return listen(listener, waiting_clients) == 0 ? accept(listener, nullptr, nullptr) : -1;
}

void send_size(std::FILE *file, int client) {
    std::fseek(file, 0, SEEK_END);
    const auto size = static_cast<int32_t>(std::ftell(file));
    send(client, &size, sizeof size, 0);
}

/// Each chunk is one send(): the bytes that a short one does not send are lost.
void send_content(std::FILE *file, int client) {
    chunk bytes; // on the stack, filled before it is sent
    std::fseek(file, 0, SEEK_SET);
    for (std::size_t n = 0; (n = std::fread(bytes.data(), 1, bytes.size(), file)) > 0;) {
        if (send(client, bytes.data(), n, 0) < 0) {
            return;
        }
    }
}

/// The connection of the last client, 0 without one. Earlier connections stay open: clients count bytes.
int serve_clients(std::FILE *file, std::atomic_ref<uint8_t> count, int listener) {
    int client = 0;
    for (; count.load() != 0; count.store(static_cast<uint8_t>(count.load() - 1))) {
        client = next_client(listener);
        if (client < 0) {
            end_thread(listener);
        }
        send_size(file, client);
        send_content(file, client);
    }
    return client;
}

// --- Receiving ---

int receive_content(int sender, std::FILE *file) {
    chunk bytes;
    int32_t remaining = 0;
    recv(sender, &remaining, sizeof remaining, 0);
    do {
        const ssize_t n = recv(sender, bytes.data(), bytes.size(), 0);
        if (n == 0) {
            break;
        }
        if (n < 0) {
            return LAN_TRANSFER_RECEIVE_FAILED;
        }
        const auto size = static_cast<std::size_t>(n);
        if (std::fwrite(bytes.data(), 1, size, file) < size) {
            return LAN_TRANSFER_WRITE_FAILED;
        }
        remaining = static_cast<int32_t>(static_cast<uint32_t>(remaining) - static_cast<uint32_t>(n));
    } while (remaining > 0);
    return LAN_TRANSFER_RECEIVED;
}

int receive_file(int socket, const sockaddr_in &sender, const char *path) {
    if (connect(socket, generic(sender), sizeof sender) != 0) {
        return LAN_TRANSFER_NO_CONNECTION;
    }
    std::FILE *file = std::fopen(path, "w");
    if (file == nullptr) {
        return LAN_TRANSFER_NO_FILE;
    }
    const int result = receive_content(socket, file);
    if (result == LAN_TRANSFER_RECEIVED) {
        std::fclose(file); // after a failure it stays open
    }
    return result;
}

} // namespace

void *lan_transfer_file(void *arg) {
    block_broken_pipe_signal();
    auto *order = static_cast<lan_transfer_arg *>(arg);
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    if (listener < 0) {
        pthread_exit(nullptr);
    }
    if (!allow_reuse(listener) || !bind_to(listener, LAN_TRANSFER_PORT)) {
        end_thread(listener);
    }
    std::FILE *file = std::fopen(order->path, "r");
    if (file == nullptr) {
        close(STDIN_FILENO);
        end_thread(listener);
    }
    const int last_client = serve_clients(file, std::atomic_ref(order->count), listener);
    sleep(1);
    std::fclose(file);
    close(last_client);
    end_thread(listener);
}

int mma_lan_transfer(const char *path, const char *ip) {
    const int connection = socket(AF_INET, SOCK_STREAM, 0);
    if (connection < 0) {
        return LAN_TRANSFER_NO_SOCKET;
    }
    if (!allow_reuse(connection)) {
        return LAN_TRANSFER_NO_REUSE;
    }
    if (!bind_to(connection, any_port)) {
        return LAN_TRANSFER_NO_LOCAL_PORT;
    }
    sockaddr_in sender = address(LAN_TRANSFER_PORT);
    if (inet_aton(ip, &sender.sin_addr) == 0) {
        return LAN_TRANSFER_BAD_ADDRESS;
    }
    const int result = receive_file(connection, sender, path);
    close(connection);
    return result;
}
