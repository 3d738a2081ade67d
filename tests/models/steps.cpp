// SPDX-License-Identifier: Apache-2.0
// The calls that are steps of actors: the library's and the platform's calls come here first.
#undef _FILE_OFFSET_BITS // with 64, open() and open64() are one function
#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <string_view>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include "models/actor.h"
#include "support/interposed.h"
#include "varnel/platform.h"

namespace {

using namespace varnel::models;
using varnel::test::interposed;

interposed<int(const char *, int, mode_t)> open_call("open");
interposed<int(const char *, int, mode_t)> open64_call("open64");
interposed<int(int)> close_call("close");
interposed<ssize_t(int, void *, size_t)> read_call("read");
interposed<ssize_t(int, const void *, size_t)> write_call("write");
interposed<int(int, int, void *)> fcntl_call("fcntl");
interposed<int(int, int, void *)> fcntl64_call("fcntl64");
interposed<key_t(const char *, int)> ftok_call("ftok");
interposed<int(key_t, int, int)> semget_call("semget");
interposed<int(int, sembuf *, size_t)> semop_call("semop");
interposed<int(int)> lock_call("file_lock_write");
interposed<int(int)> unlock_call("file_unlock");

std::string_view name_of(int command) {
    switch (command) {
    case F_SETLKW:
        return "F_SETLKW";
    case F_SETLK:
        return "F_SETLK";
    case F_OFD_SETLKW:
        return "F_OFD_SETLKW";
    case F_OFD_SETLK:
        return "F_OFD_SETLK";
    case F_GETFL:
        return "F_GETFL";
    case F_SETFL:
        return "F_SETFL";
    default:
        return "fcntl";
    }
}

/// A step of which only success matters: whatever identifier or flags it returns, it reports 0.
template <typename call>
auto step_that_succeeds(std::string_view name, call take) {
    if (!acting()) {
        return take();
    }
    stop_before(name);
    const auto result = take();
    report_result(name, result < 0 ? -1 : 0);
    return result;
}

} // namespace

extern "C" {
int open(const char *path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : mode_t{};
    va_end(rest);
    return step_that_succeeds("open", [=] { return open_call(path, flags, mode); });
}
int open64(const char *path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : mode_t{};
    va_end(rest);
    return step_that_succeeds("open", [=] { return open64_call(path, flags, mode); });
}
int fcntl(int fd, int command, ...) {
    va_list rest;
    va_start(rest, command);
    void *const argument = command == F_GETFL ? nullptr : va_arg(rest, void *);
    va_end(rest);
    return step_that_succeeds(name_of(command), [=] { return fcntl_call(fd, command, argument); });
}
int fcntl64(int fd, int command, ...) {
    va_list rest;
    va_start(rest, command);
    void *const argument = command == F_GETFL ? nullptr : va_arg(rest, void *);
    va_end(rest);
    return step_that_succeeds(name_of(command), [=] { return fcntl64_call(fd, command, argument); });
}
int close(int fd) {
    return step("close", [=] { return close_call(fd); });
}
ssize_t read(int fd, void *bytes, size_t size) {
    return step("read", [=] { return read_call(fd, bytes, size); });
}
ssize_t write(int fd, const void *bytes, size_t size) {
    return step("write", [=] { return write_call(fd, bytes, size); });
}
key_t ftok(const char *path, int project) noexcept {
    return step_that_succeeds("ftok", [=] { return ftok_call(path, project); });
}
int semget(key_t key, int count, int flags) noexcept {
    return step_that_succeeds("semget", [=] { return semget_call(key, count, flags); });
}
int semop(int set, sembuf *operations, size_t count) noexcept {
    return step("semop", [=] { return semop_call(set, operations, count); });
}
int file_lock_write(int fd) {
    return step("file_lock_write", [=] { return lock_call(fd); });
}
int file_unlock(int fd) {
    return step("file_unlock", [=] { return unlock_call(fd); });
}
}
