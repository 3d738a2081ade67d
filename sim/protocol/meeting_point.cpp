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
#include <unistd.h>

#include "sim/protocol/socket_address.h"

namespace varnel::sim {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view socket_suffix = ".socket";
constexpr std::string_view lock_suffix = ".lock";
constexpr std::string_view private_prefix = "private-";

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

void check(const socket_address &address, const std::string &path) {
    if (!address.valid()) {
        fail(path);
    }
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

meeting_point meeting_point::of_new_private_board() {
    std::string folder = fmt::format("{}/{}XXXXXX", own_directory(), private_prefix);
    if (mkdtemp(folder.data()) == nullptr) {
        fail(folder);
    }
    return meeting_point(fmt::format("{}/board{}", folder, socket_suffix));
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
    const socket_address address(socket_path_.c_str());
    if (!address.valid() && errno == ENOENT) {
        return descriptor{};
    }
    check(address, socket_path_);
    descriptor socket = new_socket(0);
    int result = 0;
    do {
        result = ::connect(socket.get(), address.get(), socket_address::size());
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
    const socket_address address(socket_path_.c_str());
    check(address, socket_path_);
    descriptor socket = new_socket(SOCK_NONBLOCK);
    unlink(socket_path_.c_str());
    if (bind(socket.get(), address.get(), socket_address::size()) != 0 ||
        ::listen(socket.get(), SOMAXCONN) != 0) {
        fail(socket_path_);
    }
    return socket;
}

void meeting_point::remove() const {
    unlink(socket_path_.c_str());
    const fs::path folder = fs::path(socket_path_).parent_path();
    if (folder.filename().string().starts_with(private_prefix)) {
        unlink(lock_name().c_str());
        rmdir(folder.c_str());
    }
}

std::string meeting_point::lock_name() const { return fmt::format("{}{}", socket_path_, lock_suffix); }

descriptor meeting_point::lock(bool wait) const {
    const std::string name = lock_name();
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
