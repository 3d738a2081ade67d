// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/exclusive.h"
#include "varnel/platform.h"

// Record locks belong to a process: they exclude every other process, also one that shares the descriptor,
// and none of the process's own threads. So a thread first takes the file among its own process's threads.

namespace varnel::platform {

namespace {

/// A file that a thread of this process has locked, or waits to lock.
struct taken_file {
    dev_t file_system;
    ino_t inode;
    pthread_t thread;
    bool used;

    [[nodiscard]] bool is(const struct stat &file) const {
        return used && file_system == file.st_dev && inode == file.st_ino;
    }
    [[nodiscard]] bool is_mine() const { return used && pthread_equal(thread, pthread_self()) != 0; }
};

constinit std::array<taken_file, 256> taken_files{};
pthread_mutex_t taken_files_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t file_released = PTHREAD_COND_INITIALIZER;

/// The child has none of its parent's record locks and none of its threads.
void forget_locks_in_child() {
    taken_files = {};
    taken_files_mutex = PTHREAD_MUTEX_INITIALIZER;
    file_released = PTHREAD_COND_INITIALIZER;
}

[[gnu::constructor]] void watch_fork() { pthread_atfork(nullptr, nullptr, forget_locks_in_child); }

taken_file *find(const struct stat &file) {
    auto *const found =
        std::ranges::find_if(taken_files, [&](const taken_file &each) { return each.is(file); });
    return found == taken_files.end() ? nullptr : found;
}

bool holds_another(const struct stat &file) {
    return std::ranges::any_of(taken_files,
                               [&](const taken_file &each) { return each.is_mine() && !each.is(file); });
}

/// Takes the file among this process's threads. Returns 0 or an errno; tells whether the thread had it before
/// and whether it has other files.
int take(const struct stat &file, bool &had_it, bool &has_others) {
    const exclusive table(taken_files_mutex);
    taken_file *holder = find(file);
    had_it = holder != nullptr && holder->is_mine();
    has_others = holds_another(file);
    if (had_it) {
        return 0;
    }
    for (; holder != nullptr; holder = find(file)) {
        pthread_cond_wait(&file_released, &taken_files_mutex);
    }
    auto *const place = std::ranges::find_if(taken_files, [](const taken_file &each) { return !each.used; });
    if (place == taken_files.end()) {
        return ENOLCK;
    }
    *place = {file.st_dev, file.st_ino, pthread_self(), true};
    return 0;
}

void release(const struct stat &file) {
    const exclusive table(taken_files_mutex);
    if (taken_file *holder = find(file); holder != nullptr) {
        *holder = {};
        pthread_cond_broadcast(&file_released);
    }
}

bool another_thread_holds(const struct stat &file) {
    const exclusive table(taken_files_mutex);
    const taken_file *holder = find(file);
    return holder != nullptr && !holder->is_mine();
}

int set_record_lock(int fd, int command, short type) {
    struct flock whole_file {};
    whole_file.l_type = type;
    whole_file.l_whence = SEEK_SET;
    return fcntl(fd, command, &whole_file) == 0 ? 0 : errno;
}

/// The kernel looks for deadlocks among processes: two processes whose different threads each hold one file
/// and wait for one are a deadlock to it although all of them will get on. A thread that holds nothing waits
/// on.
int wait_for_record_lock(int fd, bool has_others) {
    constexpr timespec pause{0, 1'000'000};
    for (;;) {
        const int error = set_record_lock(fd, F_SETLKW, F_WRLCK);
        if (error == EDEADLK && !has_others) {
            nanosleep(&pause, nullptr);
        } else if (error != EINTR) {
            return error;
        }
    }
}

int lock(int fd, const struct stat &file) {
    bool had_it = false;
    bool has_others = false;
    int error = take(file, had_it, has_others);
    if (error == 0) {
        error = wait_for_record_lock(fd, has_others);
        if (error != 0 && !had_it) {
            release(file);
        }
    }
    return error;
}

int unlock(int fd, const struct stat &file) {
    if (another_thread_holds(file)) {
        return EPERM;
    }
    const int error = set_record_lock(fd, F_SETLK, F_UNLCK);
    release(file);
    return error;
}

/// Ends a function of the port: errno changes on failure only.
int result(int error, int errno_before) {
    errno = error == 0 ? errno_before : error;
    return error == 0 ? 0 : -1;
}

/// Carries out `operation`; a thread cancelled half-way would leave the file locked for the others.
int with_file(int fd, int (*operation)(int, const struct stat &)) {
    const int errno_before = errno;
    int cancel_state = PTHREAD_CANCEL_ENABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state);
    struct stat file {};
    const int error = fstat(fd, &file) == 0 ? operation(fd, file) : errno;
    pthread_setcancelstate(cancel_state, nullptr);
    return result(error, errno_before);
}

} // namespace

} // namespace varnel::platform

int file_lock_write(int fd) { return varnel::platform::with_file(fd, varnel::platform::lock); }

int file_unlock(int fd) { return varnel::platform::with_file(fd, varnel::platform::unlock); }
