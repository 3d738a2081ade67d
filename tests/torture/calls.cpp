// SPDX-License-Identifier: Apache-2.0
// Replacements of the C library's functions that the library calls. The linker redirects its calls here
// (--wrap, see CMakeLists.txt); functions named __real_ are the C library's. Streams are opened over these
// functions, so that the calls that stdio makes can fail as well.
#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/ipc.h>
#include <sys/select.h>
#include <sys/sem.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "torture/network.h"
#include "torture/torture.h"

using namespace varnel::test;

namespace {

std::set<void *> &blocks() {
    static std::set<void *> all;
    return all;
}

std::set<FILE *> &streams() {
    static std::set<FILE *> all;
    return all;
}

/// How a call that transfers bytes fails, and its size: the shorter one when it is to be cut short.
struct moved {
    const effect *how;
    size_t size;
    [[nodiscard]] bool fails() const { return how != nullptr && how->what == effect::shape::error; }
    [[nodiscard]] bool ends() const { return how != nullptr && how->what == effect::shape::end; }
};

moved moving(const char *kind, size_t size) {
    const effect *const how = fault_of(kind);
    const bool cut = how != nullptr && how->what == effect::shape::short_count;
    return {how, cut ? (size + 1) / 2 : size};
}

/// How many bytes a read of a file would return; for a pipe, `size`.
size_t available(int fd, size_t size) {
    const off64_t at = lseek64(fd, 0, SEEK_CUR);
    if (at < 0) {
        return size;
    }
    const off64_t end = lseek64(fd, 0, SEEK_END);
    lseek64(fd, at, SEEK_SET);
    return std::min(size, static_cast<size_t>(end - at));
}

/// A read at the end of a file is not cut short.
moved reading(const char *kind, int fd, size_t size) {
    const int callers_errno = errno;
    const size_t there = available(fd, size);
    errno = callers_errno;
    moved m = moving(kind, there);
    m.size = m.size == there ? size : m.size;
    return m;
}

bool fails(const char *kind) { return fault_of(kind) != nullptr; }

template <class Result>
Result unless_it_fails(const char *kind, Result failure, auto call) {
    return fails(kind) ? failure : call();
}

} // namespace

size_t varnel::test::blocks_in_use() { return blocks().size(); }

extern "C" {
int __real_open(const char *path, int flags, ...);
int __real_open64(const char *path, int flags, ...);
int __real_close(int fd);
ssize_t __real_read(int fd, void *to, size_t size);
ssize_t __real_write(int fd, const void *from, size_t size);
ssize_t __real_pwrite64(int fd, const void *from, size_t size, off64_t offset);
int __real_fstat(int fd, struct stat *status);
int __real_fstat64(int fd, struct stat64 *status);
int __real_stat64(const char *path, struct stat64 *status);
int __real_ftruncate64(int fd, off64_t size);
int __real_fcntl(int fd, int command, ...);
int __real_select(int limit, fd_set *in, fd_set *out, fd_set *exceptions, timeval *wait);
int __real_poll(pollfd *fds, nfds_t count, int milliseconds);
int __real_semget(key_t key, int count, int flags);
int __real_semop(int set, sembuf *operations, size_t count);
key_t __real_ftok(const char *path, int project);
FILE *__real_fopen(const char *path, const char *mode);
FILE *__real_fopen64(const char *path, const char *mode);
int __real_fclose(FILE *stream);
int __real_system(const char *command);
unsigned int __real_sleep(unsigned int seconds);
void *__real_malloc(size_t size);
void *__real_realloc(void *block, size_t size);
void __real_free(void *block);
int __real_socket(int family, int type, int protocol);
}

namespace {

int descriptor_of(void *cookie) { return static_cast<int>(reinterpret_cast<intptr_t>(cookie)); }

ssize_t stream_read(void *cookie, char *to, size_t size) {
    const moved m = reading("stream read", descriptor_of(cookie), size);
    return m.fails() ? -1 : __real_read(descriptor_of(cookie), to, m.size);
}

/// Continues after a short write, as stdio does.
ssize_t stream_write(void *cookie, const char *from, size_t size) {
    size_t done = 0;
    while (done < size) {
        const moved m = moving("stream write", size - done);
        const ssize_t n = m.fails() ? -1 : __real_write(descriptor_of(cookie), from + done, m.size);
        if (n < 0) {
            break;
        }
        done += static_cast<size_t>(n);
    }
    return static_cast<ssize_t>(done);
}

int stream_seek(void *cookie, off64_t *offset, int whence) {
    if (fails("stream seek")) {
        return -1;
    }
    *offset = lseek64(descriptor_of(cookie), *offset, whence);
    return *offset < 0 ? -1 : 0;
}

int stream_close(void *cookie) {
    const effect *const how = fault_of("stream close"); // the descriptor is closed even then: close(2)
    const int reported = errno;
    const int result = __real_close(descriptor_of(cookie));
    errno = how != nullptr ? reported : errno;
    return how != nullptr ? -1 : result;
}

FILE *opened(const char *path, const std::string &mode) {
    if (fails("fopen")) {
        return nullptr;
    }
    const int flags = mode[0] == 'r'   ? O_RDONLY
                      : mode[0] == 'w' ? O_WRONLY | O_CREAT | O_TRUNC
                                       : O_WRONLY | O_CREAT | O_APPEND;
    const int fd = __real_open(path, flags | O_CLOEXEC, 0666);
    if (fd < 0) {
        return nullptr;
    }
    FILE *const stream =
        fopencookie(reinterpret_cast<void *>(static_cast<intptr_t>(fd)), mode.substr(0, 1).c_str(),
                    {stream_read, stream_write, stream_seek, stream_close});
    streams().insert(stream);
    return stream;
}

} // namespace

extern "C" {
int __wrap_open(const char *path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : mode_t{};
    va_end(rest);
    return unless_it_fails("open", -1, [&] { return __real_open(path, flags, mode); });
}
int __wrap_open64(const char *path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : mode_t{};
    va_end(rest);
    return unless_it_fails("open", -1, [&] { return __real_open64(path, flags, mode); });
}
int __wrap_close(int fd) {
    const effect *const how = fault_of("close"); // the descriptor is closed even then: close(2)
    const int reported = errno;
    const int result = __real_close(fd);
    errno = how != nullptr ? reported : errno;
    return how != nullptr ? -1 : result;
}
ssize_t __wrap_read(int fd, void *to, size_t size) {
    const moved m = reading("read", fd, size);
    return m.fails() ? -1 : __real_read(fd, to, m.size);
}
ssize_t __wrap_write(int fd, const void *from, size_t size) {
    const moved m = moving("write", size);
    return m.fails() ? -1 : __real_write(fd, from, m.size);
}
ssize_t __wrap_pwrite64(int fd, const void *from, size_t size, off64_t offset) {
    const moved m = moving("pwrite", size);
    return m.fails() ? -1 : __real_pwrite64(fd, from, m.size, offset);
}
int __wrap_fstat(int fd, struct stat *status) {
    return unless_it_fails("fstat", -1, [&] { return __real_fstat(fd, status); });
}
int __wrap_fstat64(int fd, struct stat64 *status) {
    return unless_it_fails("fstat", -1, [&] { return __real_fstat64(fd, status); });
}
int __wrap_stat64(const char *path, struct stat64 *status) {
    return unless_it_fails("stat", -1, [&] { return __real_stat64(path, status); });
}
int __wrap_ftruncate64(int fd, off64_t size) {
    return unless_it_fails("ftruncate", -1, [&] { return __real_ftruncate64(fd, size); });
}
/// F_GETFL cannot fail on an open descriptor: fcntl(2).
int __wrap_fcntl(int fd, int command, ...) {
    va_list rest;
    va_start(rest, command);
    void *const argument = command == F_SETFL ? va_arg(rest, void *) : nullptr;
    va_end(rest);
    return command == F_SETFL && fails("fcntl") ? -1 : __real_fcntl(fd, command, argument);
}
int __wrap_select(int limit, fd_set *in, fd_set *out, fd_set *exceptions, timeval *wait) {
    return unless_it_fails("select", -1, [&] { return __real_select(limit, in, out, exceptions, wait); });
}
int __wrap_poll(pollfd *fds, nfds_t count, int milliseconds) {
    return unless_it_fails("poll", -1, [&] { return __real_poll(fds, count, milliseconds); });
}
int __wrap_semget(key_t key, int count, int flags) {
    return unless_it_fails("semget", -1, [&] { return __real_semget(key, count, flags); });
}
int __wrap_semop(int set, sembuf *operations, size_t count) {
    return unless_it_fails("semop", -1, [&] { return __real_semop(set, operations, count); });
}
key_t __wrap_ftok(const char *path, int project) {
    return unless_it_fails("ftok", key_t{-1}, [&] { return __real_ftok(path, project); });
}
FILE *__wrap_fopen(const char *path, const char *mode) {
    return armed() == nullptr ? __real_fopen(path, mode) : opened(path, mode);
}
FILE *__wrap_fopen64(const char *path, const char *mode) {
    return armed() == nullptr ? __real_fopen64(path, mode) : opened(path, mode);
}
int __wrap_fclose(FILE *stream) {
    streams().erase(stream);
    return __real_fclose(stream);
}
int __wrap_system(const char *command) {
    return unless_it_fails("system", -1, [&] { return __real_system(command); });
}
unsigned int __wrap_sleep(unsigned int seconds) { return armed() == nullptr ? __real_sleep(seconds) : 0; }

void *__wrap_malloc(size_t size) {
    if (fails("malloc")) {
        return nullptr;
    }
    void *const block = __real_malloc(size);
    if (armed() != nullptr) {
        blocks().insert(block);
    }
    return block;
}
void *__wrap_realloc(void *block, size_t size) {
    if (fails("realloc")) {
        return nullptr;
    }
    const bool known = blocks().erase(block) > 0;
    void *const grown = __real_realloc(block, size);
    if (known || armed() != nullptr) {
        blocks().insert(grown);
    }
    return grown;
}
void __wrap_free(void *block) {
    blocks().erase(block);
    __real_free(block);
}

// The network: no byte leaves the process.

int __wrap_socket(int family, int type, int protocol) {
    if (armed() == nullptr) {
        return __real_socket(family, type, protocol);
    }
    return unless_it_fails("socket", -1, [] { return __real_open("/dev/null", O_RDWR | O_CLOEXEC); });
}
int __wrap_setsockopt(int /*fd*/, int /*level*/, int /*option*/, const void * /*value*/, socklen_t /*size*/) {
    return fails("setsockopt") ? -1 : 0;
}
int __wrap_bind(int /*fd*/, const sockaddr * /*address*/, socklen_t /*size*/) {
    return fails("bind") ? -1 : 0;
}
int __wrap_listen(int /*fd*/, int /*backlog*/) { return fails("listen") ? -1 : 0; }
int __wrap_connect(int /*fd*/, const sockaddr * /*address*/, socklen_t /*size*/) {
    return fails("connect") ? -1 : 0;
}
int __wrap_accept(int /*fd*/, sockaddr * /*address*/, socklen_t * /*size*/) {
    return unless_it_fails("accept", -1, [] {
        the_network.sent.emplace_back();
        return __real_open("/dev/null", O_RDWR | O_CLOEXEC);
    });
}
ssize_t __wrap_send(int /*fd*/, const void *from, size_t size, int /*flags*/) {
    const moved m = moving("send", size);
    if (m.fails()) {
        return -1;
    }
    the_network.sent.back().append(static_cast<const char *>(from), m.size);
    return static_cast<ssize_t>(m.size);
}
ssize_t __wrap_recv(int /*fd*/, void *to, size_t size, int /*flags*/) {
    const size_t there = std::min(size, the_network.incoming.size());
    const moved m = moving("recv", there);
    if (m.fails()) {
        return -1;
    }
    const size_t given = m.ends() ? 0 : the_network.incoming.copy(static_cast<char *>(to), m.size);
    the_network.incoming.erase(0, given);
    return static_cast<ssize_t>(given);
}
}

void varnel::test::close_streams_left_open() {
    for (FILE *const stream : std::exchange(streams(), {})) {
        __real_fclose(stream);
    }
}
