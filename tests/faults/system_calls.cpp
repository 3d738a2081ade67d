// SPDX-License-Identifier: Apache-2.0
#include "faults/system_calls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <initializer_list>

#include <fcntl.h>
#include <sys/syscall.h>

namespace varnel::test {

namespace {

using enum effect::shape;

/// What can happen to a call beside an error.
enum class ways { fails, moves_bytes, receives_bytes, ends_and_fails };

struct call_kind {
    long number;
    std::string_view name;
    ways how;
    std::array<int, 9> errors; ///< likeliest first
};

constexpr std::array kinds{
    call_kind{SYS_openat,
              "openat",
              ways::fails,
              {EACCES, EINTR, EMFILE, ENOENT, ENFILE, ENOMEM, ENOSPC, EROFS, EIO}},
    call_kind{SYS_close, "close", ways::ends_and_fails, {EIO, EINTR, ENOSPC, EDQUOT}},
    call_kind{SYS_read, "read", ways::moves_bytes, {EIO, EINTR}},
    call_kind{SYS_write, "write", ways::moves_bytes, {ENOSPC, EINTR, EIO, EDQUOT}},
    call_kind{SYS_pwrite64, "pwrite64", ways::moves_bytes, {ENOSPC, EINTR, EIO, EDQUOT, EFBIG}},
    call_kind{SYS_ftruncate, "ftruncate", ways::fails, {EIO, EINTR, EPERM}},
    call_kind{SYS_newfstatat, "fstat", ways::fails, {EIO, EACCES, ENOMEM, EOVERFLOW}},
    call_kind{SYS_fstat, "fstat", ways::fails, {EIO, ENOMEM, EOVERFLOW}},
    call_kind{SYS_lseek, "lseek", ways::fails, {EINVAL, ESPIPE}},
    call_kind{SYS_fcntl, "fcntl", ways::fails, {ENOLCK}},
    call_kind{SYS_poll, "poll", ways::fails, {EINTR, ENOMEM}},
    call_kind{SYS_pselect6, "select", ways::fails, {EINTR, ENOMEM}},
    call_kind{SYS_semget, "semget", ways::fails, {ENOSPC, EACCES, ENOMEM, EINVAL}},
    call_kind{SYS_semtimedop, "semop", ways::fails, {EINTR, EIDRM, EINVAL, EAGAIN, ENOMEM, ENOSPC}},
    call_kind{SYS_semop, "semop", ways::fails, {EINTR, EIDRM, EINVAL, EAGAIN, ENOMEM, ENOSPC}},
    call_kind{SYS_vfork, "clone", ways::fails, {EAGAIN, ENOMEM}},
    call_kind{SYS_clone, "clone", ways::fails, {EAGAIN, ENOMEM}},
    call_kind{SYS_clone3, "clone", ways::fails, {EAGAIN, ENOMEM}},
    call_kind{SYS_wait4, "wait4", ways::ends_and_fails, {ECHILD}},
    call_kind{SYS_socket, "socket", ways::fails, {EMFILE, ENOBUFS, EACCES, ENFILE, ENOMEM}},
    call_kind{SYS_setsockopt, "setsockopt", ways::fails, {ENOMEM}},
    call_kind{SYS_bind, "bind", ways::fails, {EADDRINUSE, EACCES, ENOMEM}},
    call_kind{SYS_listen, "listen", ways::fails, {EADDRINUSE}},
    call_kind{SYS_accept, "accept", ways::fails, {EINTR, ECONNABORTED, EMFILE, ENFILE, ENOBUFS}},
    call_kind{
        SYS_connect, "connect", ways::fails, {ECONNREFUSED, EINTR, ETIMEDOUT, EHOSTUNREACH, ENETUNREACH}},
    call_kind{SYS_sendto, "send", ways::moves_bytes, {ECONNRESET, EINTR, ENOBUFS, ENOMEM}},
    call_kind{SYS_recvfrom, "recv", ways::receives_bytes, {ECONNRESET, EINTR, ETIMEDOUT, ENOMEM}},
// AddressSanitizer calls these, too, and ends the process when they fail.
#ifndef __SANITIZE_ADDRESS__
    call_kind{SYS_brk, "brk", ways::fails, {ENOMEM}},
    call_kind{SYS_mmap, "mmap", ways::fails, {ENOMEM}},
#endif
};

const call_kind *kind_of(long number) {
    const auto *const found = std::ranges::find(kinds, number, &call_kind::number);
    return found == kinds.end() ? nullptr : found;
}

void add_errors(std::vector<effect> &effects, effect::shape what, std::initializer_list<int> errors) {
    for (const int error : errors) {
        effects.push_back({what, error});
    }
}

/// Only locks: the flags of an open descriptor can always be read and set.
std::vector<effect> effects_of_fcntl(uint64_t command) {
    std::vector<effect> effects;
    switch (command) {
    case F_SETLKW:
    case F_OFD_SETLKW:
        add_errors(effects, error, {ENOLCK, EINTR, EDEADLK});
        break;
    case F_SETLK:
    case F_OFD_SETLK:
        add_errors(effects, error, {ENOLCK});
        break;
    case F_DUPFD:
    case F_DUPFD_CLOEXEC:
        add_errors(effects, error, {EMFILE});
        break;
    default:
        break;
    }
    return effects;
}

} // namespace

std::string_view name_of(long number) {
    const call_kind *const kind = kind_of(number);
    return kind != nullptr ? kind->name : std::string_view();
}

bool has_descriptor(long number) {
    static constexpr std::array numbers{SYS_close,     SYS_read,  SYS_write, SYS_pwrite64,
                                        SYS_ftruncate, SYS_fstat, SYS_lseek, SYS_fcntl};
    return std::ranges::find(numbers, number) != numbers.end();
}

std::vector<effect> effects_of(const system_call &call) {
    if (call.number == SYS_fcntl) {
        return effects_of_fcntl(call.arguments[1]);
    }
    const call_kind &kind = *kind_of(call.number);
    std::vector<effect> effects;
    for (const int number : kind.errors) {
        if (number != 0) {
            effects.push_back({kind.how == ways::ends_and_fails ? error_afterwards : error, number});
        }
    }
    const bool moves = kind.how == ways::moves_bytes || kind.how == ways::receives_bytes;
    if (moves && call.result >= 2) {
        effects.insert(effects.begin() + 1, {short_count});
    }
    if (kind.how == ways::receives_bytes && call.result > 0) {
        effects.push_back({end});
    }
    return effects;
}

} // namespace varnel::test
