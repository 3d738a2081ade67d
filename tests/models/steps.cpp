// SPDX-License-Identifier: Apache-2.0
// The calls that are steps of actors: the library's calls come here first.
#include <cstdarg>
#include <string_view>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include "models/actor.h"
#include "support/interposed.h"

namespace {

using namespace varnel::models;
using varnel::test::interposed;

interposed<int(const char *, int, mode_t)> open_call("open");
interposed<int(int)> close_call("close");
interposed<key_t(const char *, int)> ftok_call("ftok");
interposed<int(key_t, int, int)> semget_call("semget");
interposed<int(int, sembuf *, size_t)> semop_call("semop");

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
int close(int fd) {
    return step("close", [=] { return close_call(fd); });
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
}
