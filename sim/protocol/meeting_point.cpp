// SPDX-License-Identifier: Apache-2.0
#include "sim/protocol/meeting_point.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace varnel::sim {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view socket_suffix = ".socket";

[[noreturn]] void fail(const std::string &what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::string directory_name() {
    const char *runtime = std::getenv("XDG_RUNTIME_DIR");
    const std::string parent = runtime != nullptr && *runtime == '/' ? runtime : "/tmp";
    return fmt::format("{}/varnel-sim-{}", parent, getuid());
}

/// Creates the directory; refuses one that others could meddle with.
std::string own_directory() {
    std::string name = directory_name();
    struct stat status {};
    if (mkdir(name.c_str(), 0700) != 0 && errno != EEXIST) {
        fail(name);
    }
    if (lstat(name.c_str(), &status) != 0) {
        fail(name);
    }
    if (!S_ISDIR(status.st_mode) || status.st_uid != getuid() || (status.st_mode & 077) != 0) {
        throw std::runtime_error(name + ": not a directory that only you can use");
    }
    return name;
}

sockaddr_un address_of(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw std::runtime_error(path + ": too long for the name of a socket");
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

descriptor new_socket(int flags) {
    descriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | flags, 0));
    if (!socket.is_open()) {
        fail("socket");
    }
    return socket;
}

} // namespace

meeting_point meeting_point::of_board(const std::string &file) {
    return meeting_point(
        fmt::format("{}/{:016x}{}", own_directory(), hash_of(canonical_name(file)), socket_suffix));
}

meeting_point meeting_point::at_socket(std::string path) { return meeting_point(std::move(path)); }

std::vector<meeting_point> meeting_point::all() {
    std::vector<meeting_point> found;
    for (const auto &entry : fs::directory_iterator(own_directory())) {
        if (entry.path().extension() == socket_suffix) {
            found.push_back(meeting_point(entry.path().string()));
        }
    }
    return found;
}

descriptor meeting_point::connect() const {
    const sockaddr_un address = address_of(socket_path_);
    descriptor socket = new_socket(0);
    int result = 0;
    do {
        result = ::connect(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
    } while (result != 0 && errno == EINTR);
    if (result == 0) {
        return socket;
    }
    if (errno == ENOENT || errno == ECONNREFUSED) {
        return descriptor{};
    }
    fail(socket_path_);
}

descriptor meeting_point::listen() const {
    const sockaddr_un address = address_of(socket_path_);
    descriptor socket = new_socket(SOCK_NONBLOCK);
    remove();
    if (bind(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        ::listen(socket.get(), SOMAXCONN) != 0) {
        fail(socket_path_);
    }
    return socket;
}

void meeting_point::remove() const { unlink(socket_path_.c_str()); }

descriptor meeting_point::lock(bool wait) const {
    const std::string name = socket_path_ + ".lock";
    descriptor file(open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!file.is_open()) {
        fail(name);
    }
    while (flock(file.get(), LOCK_EX | (wait ? 0 : LOCK_NB)) != 0) {
        if (errno == EWOULDBLOCK) {
            return descriptor{};
        }
        if (errno != EINTR) {
            fail(name);
        }
    }
    return file;
}

std::string canonical_name(const std::string &file) {
    std::error_code error;
    const fs::path name = fs::canonical(file, error);
    if (error) {
        throw std::runtime_error(fmt::format("{}: {}", file, error.message()));
    }
    return name.string();
}

uint64_t hash_of(std::string_view text) {
    uint64_t hash = 0xcbf29ce484222325;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    }
    return hash;
}

std::string contents_of(const std::string &file) {
    errno = fs::is_directory(file) ? EISDIR : 0;
    std::ifstream input(file, std::ios::binary);
    std::ostringstream text;
    if (errno == 0 && input) {
        text << input.rdbuf();
    }
    if (errno != 0) {
        throw std::runtime_error(fmt::format("{}: {}", file, std::strerror(errno)));
    }
    return text.str();
}

} // namespace varnel::sim
