// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace varnel::sim {

/// The address of a Unix socket with a path of any length. An address has room for 107 bytes; a longer path is written as
/// /proc/self/fd/N/NAME, where N is its folder, which stays open as long as this object. Who may connect is still decided by
/// the permissions of the folder. Needs only the C library.
class socket_address {
  public:
    explicit socket_address(const char *path) {
        address_.sun_family = AF_UNIX;
        const std::size_t length = std::strlen(path);
        if (length < sizeof address_.sun_path) {
            std::memcpy(address_.sun_path, path, length);
        } else {
            shorten(path, length);
        }
    }
    ~socket_address() {
        if (folder_ >= 0) {
            const int saved_errno = errno;
            close(folder_);
            errno = saved_errno;
        }
    }
    socket_address(const socket_address &) = delete;
    socket_address &operator=(const socket_address &) = delete;

    /// Whether there is an address; if not, errno says why.
    [[nodiscard]] bool valid() const { return address_.sun_path[0] != '\0'; }
    [[nodiscard]] const sockaddr *get() const { return reinterpret_cast<const sockaddr *>(&address_); }
    [[nodiscard]] static constexpr socklen_t size() { return sizeof(sockaddr_un); }

  private:
    void shorten(const char *path, std::size_t length) {
        const char *const slash = std::strrchr(path, '/');
        char folder[PATH_MAX];
        if (slash == nullptr || length >= sizeof folder) {
            errno = ENAMETOOLONG;
            return;
        }
        const auto folder_length = static_cast<std::size_t>(slash - path);
        std::memcpy(folder, path, folder_length);
        folder[folder_length] = '\0';
        folder_ = open(folder_length == 0 ? "/" : folder, O_PATH | O_DIRECTORY | O_CLOEXEC);
        if (folder_ < 0) {
            return;
        }
        const int written = std::snprintf(address_.sun_path, sizeof address_.sun_path, "/proc/self/fd/%d/%s",
                                          folder_, slash + 1);
        if (written < 0 || static_cast<std::size_t>(written) >= sizeof address_.sun_path) {
            address_.sun_path[0] = '\0';
            errno = ENAMETOOLONG;
        }
    }

    sockaddr_un address_{};
    int folder_ = -1;
};

} // namespace varnel::sim
