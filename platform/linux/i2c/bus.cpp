// SPDX-License-Identifier: Apache-2.0
#include "i2c/bus.h"

#include <array>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "base/standard_streams.h"

namespace varnel::platform {

namespace {

constinit std::array<bus, 256> buses;

/// One errno for "no such adapter", whatever the state of /dev: ENXIO must mean only "no acknowledge".
int bus_error(int error) { return error == ENOENT || error == ENXIO ? ENODEV : error; }

int open_device(unsigned int number) {
    std::array<char, 24> path{};
    std::snprintf(path.data(), path.size(), "/dev/i2c-%u", number);
    return open(path.data(), O_RDWR | O_CLOEXEC);
}

void survive_fork_in_child() {
    for (bus &each : buses) {
        each.survive_fork();
    }
}

[[gnu::constructor]] void watch_fork() { pthread_atfork(nullptr, nullptr, survive_fork_in_child); }

} // namespace

bus &bus_number(unsigned char number) { return buses[number]; }

int bus::ready(unsigned int number) {
    if (open_) {
        switch (check()) {
        case condition::usable:
            return 0;
        case condition::removed:
            drop();
            break;
        case condition::not_ours:
            open_ = false;
            break;
        }
    }
    return open_adapter(number);
}

int bus::separate(unsigned int number) {
    if (!inherited_) {
        return 0;
    }
    const int shared = descriptor_;
    const int error = open_adapter(number);
    if (error == 0) {
        close(shared);
    }
    return error;
}

void bus::drop() {
    if (open_) {
        close(descriptor_);
        open_ = false;
    }
}

void bus::survive_fork() {
    mutex_ = PTHREAD_MUTEX_INITIALIZER;
    inherited_ = open_;
}

/// The kernel removes the node with the adapter, but finishes removing the adapter only when the last
/// descriptor is closed: close an open file that has no name.
bus::condition bus::check() const {
    struct stat now {};
    if (fstat(descriptor_, &now) != 0 || now.st_dev != file_system_ || now.st_ino != inode_ ||
        now.st_rdev != device_) {
        return condition::not_ours;
    }
    return now.st_nlink == 0 ? condition::removed : condition::usable;
}

int bus::open_adapter(unsigned int number) {
    // Output to the descriptor would reach the bus.
    const int descriptor = above_standard_streams(open_device(number));
    if (descriptor < 0) {
        return bus_error(errno);
    }
    struct stat file {};
    unsigned long functionality = 0;
    if (fstat(descriptor, &file) != 0 || ioctl(descriptor, I2C_FUNCS, &functionality) != 0) {
        const int error = errno;
        close(descriptor);
        return bus_error(error);
    }
    keep(descriptor, file, functionality);
    return 0;
}

void bus::keep(int descriptor, const struct stat &file, unsigned long functionality) {
    descriptor_ = descriptor;
    functionality_ = functionality;
    file_system_ = file.st_dev;
    inode_ = file.st_ino;
    device_ = file.st_rdev;
    inherited_ = false;
    open_ = true;
}

} // namespace varnel::platform
