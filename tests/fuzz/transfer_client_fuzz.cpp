// SPDX-License-Identifier: Apache-2.0
// A sender that sends any bytes, in any pieces, and may reset the connection. The receiver's file and result
// must be those of a reference model, and only what the header documents may stay open.

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fuzzer/FuzzedDataProvider.h>

#include "require.h"
#include "support/interposed.h"
#include "support/memory_file.h"
#include "varnel/lan_transfer.h"

namespace {

using varnel::test::interposed;
using varnel::test::memory_file;
using varnel::test::require;

constexpr std::size_t connection_reset = 0; ///< a piece of this size stands for a reset

/// One transfer: what the network does, and what the receiver has open.
struct transfer {
    int fails = LAN_TRANSFER_RECEIVED; ///< the step with this result fails
    std::string stream;
    std::vector<std::size_t> pieces; ///< sizes of the first receives; then the rest arrives
    std::size_t next = 0;
    int socket = -1;
    std::FILE *file = nullptr;
};

transfer *under_test = nullptr;

bool fails(lan_transfer_result step) {
    if (under_test->fails == step) {
        errno = EIO;
        return true;
    }
    return false;
}

interposed<int(int, int, int)> socket_call("socket");
interposed<int(int, int, int, const void *, socklen_t)> setsockopt_call("setsockopt");
interposed<int(int, const sockaddr *, socklen_t)> bind_call("bind");
interposed<int(int, const sockaddr *, socklen_t)> connect_call("connect");
interposed<ssize_t(int, void *, std::size_t, int)> recv_call("recv");
interposed<std::FILE *(const char *, const char *)> fopen_call("fopen");
interposed<int(std::FILE *)> fclose_call("fclose");
interposed<int(int)> close_call("close");

/// The receiver's end of a connection over which the whole stream was sent.
int connection_with(const std::string &stream) {
    std::array<int, 2> ends{};
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == 0, "socketpair");
    require(stream.empty() || send(ends[1], stream.data(), stream.size(), MSG_DONTWAIT) ==
                                  static_cast<ssize_t>(stream.size()),
            "send");
    close_call.real(ends[1]);
    return ends[0];
}

} // namespace

extern "C" {
int socket(int family, int type, int protocol) noexcept {
    if (under_test == nullptr) {
        return socket_call(family, type, protocol);
    }
    return under_test->socket = fails(LAN_TRANSFER_NO_SOCKET) ? -1 : connection_with(under_test->stream);
}
int setsockopt(int fd, int level, int option, const void *value, socklen_t size) noexcept {
    return under_test == nullptr ? setsockopt_call(fd, level, option, value, size)
                                 : -static_cast<int>(fails(LAN_TRANSFER_NO_REUSE));
}
int bind(int fd, const sockaddr *address, socklen_t size) noexcept {
    return under_test == nullptr ? bind_call(fd, address, size)
                                 : -static_cast<int>(fails(LAN_TRANSFER_NO_LOCAL_PORT));
}
int connect(int fd, const sockaddr *address, socklen_t size) {
    return under_test == nullptr ? connect_call(fd, address, size)
                                 : -static_cast<int>(fails(LAN_TRANSFER_NO_CONNECTION));
}
ssize_t recv(int fd, void *bytes, std::size_t size, int flags) {
    if (under_test != nullptr && under_test->next < under_test->pieces.size()) {
        const std::size_t piece = under_test->pieces[under_test->next++];
        if (piece == connection_reset) {
            errno = ECONNRESET;
            return -1;
        }
        size = std::min(size, piece);
    }
    return recv_call(fd, bytes, size, flags);
}
std::FILE *fopen(const char *path, const char *mode) {
    if (under_test == nullptr) {
        return fopen_call(path, mode);
    }
    return under_test->file = fails(LAN_TRANSFER_NO_FILE) ? nullptr : fopen_call(path, mode);
}
int fclose(std::FILE *file) {
    if (under_test != nullptr && file == under_test->file) {
        under_test->file = nullptr;
    }
    return fclose_call(file);
}
int close(int fd) {
    if (under_test != nullptr && fd == under_test->socket) {
        under_test->socket = -1;
    }
    return close_call(fd);
}
}

namespace {

struct outcome {
    int result;
    std::string content;
};

/// The reference model of receiving.
class model {
  public:
    explicit model(const transfer &what) : stream_(what.stream), pieces_(what.pieces) {}

    outcome receive() {
        std::string piece;
        int32_t remaining = 0;
        arrives(sizeof remaining, piece);
        std::memcpy(&remaining, piece.data(), piece.size());
        outcome seen{LAN_TRANSFER_RECEIVED, ""};
        do {
            if (!arrives(LAN_TRANSFER_CHUNK, piece)) {
                seen.result = LAN_TRANSFER_RECEIVE_FAILED;
                break;
            }
            seen.content += piece;
            remaining = static_cast<int32_t>(static_cast<uint32_t>(remaining) - piece.size());
        } while (remaining > 0 && !piece.empty());
        return seen;
    }

  private:
    bool arrives(std::size_t most, std::string &piece) {
        piece.clear();
        if (next_ < pieces_.size()) {
            const std::size_t size = pieces_[next_++];
            if (size == connection_reset) {
                return false;
            }
            most = std::min(most, size);
        }
        piece = stream_.substr(at_, most);
        at_ += piece.size();
        return true;
    }

    const std::string &stream_;
    const std::vector<std::size_t> &pieces_;
    std::size_t at_ = 0;
    std::size_t next_ = 0;
};

outcome expected(const transfer &what, const std::string &ip) {
    in_addr ignored{};
    const bool is_address = inet_aton(ip.c_str(), &ignored) != 0;
    if (!is_address && (what.fails == LAN_TRANSFER_RECEIVED || what.fails > LAN_TRANSFER_BAD_ADDRESS)) {
        return {LAN_TRANSFER_BAD_ADDRESS, ""};
    }
    return what.fails == LAN_TRANSFER_RECEIVED ? model(what).receive() : outcome{what.fails, ""};
}

void check_what_is_open(const transfer &after, int result) {
    const bool keeps_socket = result == LAN_TRANSFER_NO_REUSE || result == LAN_TRANSFER_NO_LOCAL_PORT ||
                              result == LAN_TRANSFER_BAD_ADDRESS;
    const bool keeps_file = result == LAN_TRANSFER_RECEIVE_FAILED || result == LAN_TRANSFER_WRITE_FAILED;
    require((after.socket >= 0) == keeps_socket, "the socket is closed");
    require((after.file != nullptr) == keeps_file, "the file is closed");
}

void close_what_is_open(const transfer &after) {
    if (after.socket >= 0) {
        close(after.socket);
    }
    if (after.file != nullptr) {
        std::fclose(after.file);
    }
}

int receive(transfer &what, const char *path, const std::string &ip) {
    under_test = &what;
    const int result = mma_lan_transfer(path, ip.c_str());
    under_test = nullptr;
    check_what_is_open(what, result);
    close_what_is_open(what);
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    static memory_file file;
    FuzzedDataProvider input(data, size);
    // Numbers come from the end of the input, the stream from its beginning.
    transfer what;
    const int step = input.ConsumeIntegralInRange<int>(0, 31); // mostly none fails
    what.fails =
        step <= LAN_TRANSFER_NO_FILE && step != LAN_TRANSFER_BAD_ADDRESS ? step : LAN_TRANSFER_RECEIVED;
    const bool disk_is_full = step == LAN_TRANSFER_WRITE_FAILED;
    for (int count = input.ConsumeIntegralInRange<int>(0, 7); count > 0; --count) {
        what.pieces.push_back(input.ConsumeIntegral<uint8_t>());
    }
    const std::string ip =
        step == LAN_TRANSFER_BAD_ADDRESS ? input.ConsumeRandomLengthString(20) : "127.0.0.1";
    what.stream = input.ConsumeRemainingBytesAsString();

    const outcome wanted = expected(what, ip);
    file.rewrite("");
    const int result = receive(what, disk_is_full ? "/dev/full" : file.path(), ip);
    if (disk_is_full) {
        require(result == wanted.result || result == LAN_TRANSFER_WRITE_FAILED, "the result on a full disk");
        return 0;
    }
    require(result == wanted.result, "the result");
    require(file.content() == wanted.content, "the file");
    return 0;
}
