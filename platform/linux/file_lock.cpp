// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <limits>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/exclusive.h"
#include "base/standard_streams.h"
#include "varnel/platform.h"

// A lock has three parts.
//
// - Among the process's threads: a table of the files that they have locked.
// - Record lock on all bytes but the first. It belongs to the process, so it is lost when any thread closes
//   any descriptor of the file. The kernel reports deadlocks of record locks and shows their holders
//   (/proc/locks).
// - Lock of an open file description on the first byte. The file is opened again for it, so no other process
//   shares the description, and closing other descriptors does not end the lock.
//
// Record locks of other programs on the whole file conflict with the last two.

namespace varnel::platform {

namespace {

constexpr int not_opened = -1;

/// A file that a thread of this process has locked, or waits to lock.
struct taken_file {
    dev_t file_system;
    ino_t inode;
    pthread_t thread;
    int locked_by; ///< the caller's descriptor
    int opened;    ///< descriptor that has the lock of the first byte, or not_opened
    bool used;

    [[nodiscard]] bool is(const struct stat &file) const {
        return used && file_system == file.st_dev && inode == file.st_ino;
    }
    [[nodiscard]] bool is_mine() const { return used && pthread_equal(thread, pthread_self()) != 0; }
};

constinit std::array<taken_file, 256> taken_files{};
pthread_mutex_t taken_files_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t file_released = PTHREAD_COND_INITIALIZER;

/// The child has none of its parent's threads. Its copies of their descriptors would keep the parent's locks
/// after the parent was killed.
void forget_locks_in_child() {
    for (const taken_file &each : taken_files) {
        if (each.used && each.opened != not_opened) {
            close(each.opened);
        }
    }
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

/// The calling thread's place in the table.
struct taking {
    taken_file *place; ///< null: the table is full
    bool had_it;
    bool has_others;
};

/// Waits for the lock of the file among the threads of this process.
taking lock_among_threads(int fd, const struct stat &file) {
    const exclusive table(taken_files_mutex);
    const bool has_others = holds_another(file);
    taken_file *holder = find(file);
    if (holder != nullptr && holder->is_mine()) {
        return {holder, true, has_others};
    }
    for (; holder != nullptr; holder = find(file)) {
        pthread_cond_wait(&file_released, &taken_files_mutex);
    }
    auto *const place = std::ranges::find_if(taken_files, [](const taken_file &each) { return !each.used; });
    if (place == taken_files.end()) {
        return {nullptr, false, has_others};
    }
    *place = {file.st_dev, file.st_ino, pthread_self(), fd, not_opened, true};
    return {place, false, has_others};
}

void give_back(taken_file &taken) {
    const exclusive table(taken_files_mutex);
    taken = {};
    pthread_cond_broadcast(&file_released);
}

struct holding {
    taken_file *mine; ///< null: the calling thread does not hold the file
    bool other_thread;
};

holding look_up(const struct stat &file) {
    const exclusive table(taken_files_mutex);
    taken_file *const holder = find(file);
    const bool mine = holder != nullptr && holder->is_mine();
    return {mine ? holder : nullptr, holder != nullptr && !mine};
}

/// The file that the calling thread has locked by that descriptor.
taken_file *find_mine(int fd) {
    const exclusive table(taken_files_mutex);
    auto *const found = std::ranges::find_if(
        taken_files, [fd](const taken_file &each) { return each.is_mine() && each.locked_by == fd; });
    return found == taken_files.end() ? nullptr : found;
}

struct byte_range {
    off_t start;
    off_t length; ///< 0: to the end of all files
};
constexpr byte_range first_byte{0, 1};
constexpr byte_range all_but_first{1, 0};
constexpr byte_range whole_file{0, 0};

int set_lock(int fd, int command, short type, byte_range range) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = range.start;
    lock.l_len = range.length;
    return fcntl(fd, command, &lock) == 0 ? 0 : errno;
}

bool is_held_by_another(int error) { return error == EAGAIN || error == EACCES; }

/// The kernel detects deadlocks among processes, not threads. It reports one when threads of two processes
/// hold one file each and other threads wait for them, although each will get its lock in the end. A thread
/// that holds no other file therefore waits again.
int wait_for_record_lock(int fd, byte_range range, bool has_others) {
    constexpr timespec pause{0, 1'000'000};
    for (;;) {
        const int error = set_lock(fd, F_SETLKW, F_WRLCK, range);
        if (error == EDEADLK && !has_others) {
            nanosleep(&pause, nullptr);
        } else if (error != EINTR) {
            return error;
        }
    }
}

/// A new open file description of the same file, or not_opened. Other files are not opened, because opening a
/// device may have effects.
int open_again(int fd, const struct stat &file) {
    if (!S_ISFIFO(file.st_mode) && !S_ISREG(file.st_mode)) {
        return not_opened;
    }
    std::array<char, sizeof "/proc/thread-self/fd/" + std::numeric_limits<int>::digits10 + 1> path{};
    std::snprintf(path.data(), path.size(), "/proc/thread-self/fd/%d", fd);
    return open(path.data(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
}

/// The calling thread has the record lock on the other bytes. It would wait for ever for a record lock of its
/// own process on this byte.
int wait_for_first_byte(int fd, int opened) {
    int error = set_lock(opened, F_OFD_SETLK, F_WRLCK, first_byte);
    if (is_held_by_another(error)) {
        set_lock(fd, F_SETLK, F_UNLCK, first_byte);
        do {
            error = set_lock(opened, F_OFD_SETLKW, F_WRLCK, first_byte);
        } while (error == EINTR);
    }
    return error;
}

/// A failed fstat() does not mean that the descriptor is closed.
bool is_open_at(int descriptor, const taken_file &taken) {
    struct stat file {};
    return descriptor != not_opened && (fstat(descriptor, &file) == 0 ? taken.is(file) : errno != EBADF);
}

/// Closing a descriptor of the file also ends the process's record locks on it. The check is for daemons that
/// have closed all their descriptors.
void unlock_in_kernel(int fd, const taken_file &taken) {
    if (is_open_at(taken.opened, taken)) {
        close(taken.opened);
    } else {
        set_lock(fd, F_SETLK, F_UNLCK, whole_file);
    }
}

/// For a thread that has the record lock on the other bytes.
int lock_first_byte(int fd, const struct stat &file, taken_file &taken, bool has_others) {
    const int opened = open_again(fd, file);
    taken.opened = above_standard_streams(opened); // output of other threads would go into the queue
    if (taken.opened == not_opened) {
        return wait_for_record_lock(fd, whole_file, has_others);
    }
    // A descriptor that was moved was closed, which ended the record lock.
    const int error = taken.opened == opened ? 0 : wait_for_record_lock(fd, all_but_first, has_others);
    return error == 0 ? wait_for_first_byte(fd, taken.opened) : error;
}

int lock_in_kernel(int fd, const struct stat &file, taken_file &taken, bool has_others) {
    int error = wait_for_record_lock(fd, all_but_first, has_others);
    if (error != 0) {
        return error;
    }
    error = lock_first_byte(fd, file, taken, has_others);
    if (error != 0) {
        unlock_in_kernel(fd, taken);
    }
    return error;
}

/// The process may have lost the record lock. Another process that has taken it waits for the first byte.
int lock_again(int fd, const taken_file &taken, bool has_others) {
    if (taken.opened == not_opened) {
        return wait_for_record_lock(fd, whole_file, has_others);
    }
    const int error = set_lock(fd, F_SETLK, F_WRLCK, all_but_first);
    return is_held_by_another(error) ? 0 : error;
}

int lock(int fd, const struct stat &file) {
    const taking taken = lock_among_threads(fd, file);
    if (taken.place == nullptr) {
        return ENOLCK;
    }
    if (taken.had_it) {
        return lock_again(fd, *taken.place, taken.has_others);
    }
    const int error = lock_in_kernel(fd, file, *taken.place, taken.has_others);
    if (error != 0) {
        give_back(*taken.place);
    }
    return error;
}

int refuse(int /*fd*/, int error) { return error; }

/// Does nothing for a thread that does not hold the lock, because another thread may take it at any moment.
int unlock(int fd, const struct stat &file) {
    const holding held = look_up(file);
    if (held.mine != nullptr) {
        unlock_in_kernel(fd, *held.mine);
        give_back(*held.mine);
    }
    return held.other_thread ? EPERM : 0;
}

/// The same when fstat() does not tell which file it is.
int unlock_unknown(int fd, int error) {
    taken_file *const mine = error != EBADF ? find_mine(fd) : nullptr;
    if (mine == nullptr) {
        return error;
    }
    unlock_in_kernel(fd, *mine);
    give_back(*mine);
    return 0;
}

/// The result of a platform function; errno changes only on failure.
int result(int error, int errno_before) {
    errno = error == 0 ? errno_before : error;
    return error == 0 ? 0 : -1;
}

/// Performs `operation` with cancellation disabled: a thread cancelled in it would leave the file locked.
int with_file(int fd, int (*operation)(int, const struct stat &), int (*without_status)(int, int)) {
    const int errno_before = errno;
    int cancel_state = PTHREAD_CANCEL_ENABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state);
    struct stat file {};
    const int error = fstat(fd, &file) == 0 ? operation(fd, file) : without_status(fd, errno);
    pthread_setcancelstate(cancel_state, nullptr);
    return result(error, errno_before);
}

} // namespace

} // namespace varnel::platform

int file_lock_write(int fd) {
    return varnel::platform::with_file(fd, varnel::platform::lock, varnel::platform::refuse);
}

int file_unlock(int fd) {
    return varnel::platform::with_file(fd, varnel::platform::unlock, varnel::platform::unlock_unknown);
}
