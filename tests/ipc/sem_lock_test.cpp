// SPDX-License-Identifier: Apache-2.0
#include "varnel/sem_lock.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "support/captured_output.h"
#include "support/child_process.h"
#include "support/interposed.h"
#include "support/lock_set.h"
#include "support/pipe_ends.h"
#include "support/scratch_folder.h"
#include "support/shared_value.h"

namespace {

using namespace varnel::test;
using ::testing::ElementsAre;

interposed<int(const char *, int, mode_t)> open_call("open");
interposed<int(int)> close_call("close");
interposed<key_t(const char *, int)> ftok_call("ftok");
interposed<int(key_t, int, int)> semget_call("semget");
interposed<int(int, sembuf *, size_t)> semop_call("semop");

} // namespace

extern "C" {
int open(const char *path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : mode_t{};
    va_end(rest);
    return open_call(path, flags, mode);
}
int close(int fd) { return close_call(fd); }
key_t ftok(const char *path, int project) noexcept { return ftok_call(path, project); }
int semget(key_t key, int count, int flags) noexcept { return semget_call(key, count, flags); }
int semop(int set, sembuf *operations, size_t count) noexcept { return semop_call(set, operations, count); }
}

namespace {

constexpr int create_with_mode_0777 = 0x3FF; // IPC_CREAT | 0777
constexpr short undo = 0x1000;
constexpr short no_wait = 0x800;

/// Number, change, flags of one semaphore operation.
using operation = std::tuple<unsigned int, int, int>;

std::vector<operation> list_of(const sembuf *operations, size_t count) {
    std::vector<operation> all;
    for (size_t i = 0; i < count; ++i) {
        all.emplace_back(operations[i].sem_num, operations[i].sem_op, operations[i].sem_flg);
    }
    return all;
}

// --- System calls ---

TEST(get_sem_lock, calls_open_close_ftok_and_semget) {
    std::vector<std::string> calls;
    const auto call = [&calls](const std::string &text, auto result) {
        calls.push_back(text);
        return result;
    };
    stand_in<int, const char *, int, mode_t> opens(open_call, [&](const char *path, int flags, mode_t mode) {
        return call("open " + std::string(path) + " " + std::to_string(flags) + " " + std::to_string(mode),
                    77);
    });
    stand_in<int, int> closes(close_call, [&](int fd) { return call("close " + std::to_string(fd), 0); });
    stand_in<key_t, const char *, int> keys(ftok_call, [&](const char *path, int project) {
        return call("ftok " + std::string(path) + " " + std::to_string(project), key_t{0x5F010203});
    });
    stand_in<int, key_t, int, int> gets(semget_call, [&](key_t key, int count, int flags) {
        EXPECT_EQ(key, 0x5F010203);
        return call("semget " + std::to_string(count) + " " + std::to_string(flags), 4711);
    });
    EXPECT_EQ(get_sem_lock("/var/lock/bus", 3), 4711);
    EXPECT_THAT(calls,
                ElementsAre("open /var/lock/bus " + std::to_string(O_RDWR | O_CREAT) + " 511", "close 77",
                            "ftok /var/lock/bus 95", "semget 3 " + std::to_string(create_with_mode_0777)));
}

TEST(get_sem_lock, failed_open_returns_minus_1_without_further_calls) {
    stand_in<int, const char *, int, mode_t> opens(open_call, [](const char *, int, mode_t) {
        errno = EMFILE;
        return -1;
    });
    stand_in<int, int> closes(close_call, [](int) { return ADD_FAILURE(), -1; });
    stand_in<key_t, const char *, int> keys(ftok_call, [](const char *, int) { return ADD_FAILURE(), -1; });
    EXPECT_EQ(get_sem_lock("x", 1), -1);
    EXPECT_EQ(errno, EMFILE);
}

TEST(get_sem_lock, failed_ftok_returns_minus_1_without_semget) {
    const scratch_folder folder;
    stand_in<key_t, const char *, int> keys(ftok_call, [](const char *, int) {
        errno = ENOENT;
        return key_t{-1};
    });
    stand_in<int, key_t, int, int> gets(semget_call, [](key_t, int, int) { return ADD_FAILURE(), -1; });
    EXPECT_EQ(get_sem_lock(folder.file("key").c_str(), 1), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST(get_sem_lock, semget_result_and_errno_are_returned) {
    const scratch_folder folder;
    stand_in<int, key_t, int, int> gets(semget_call, [](key_t, int count, int) {
        EXPECT_EQ(count, -5);
        errno = ENOSPC;
        return -1;
    });
    EXPECT_EQ(get_sem_lock(folder.file("key").c_str(), -5), -1);
    EXPECT_EQ(errno, ENOSPC);
}

struct recorded_semop {
    int set = 0;
    std::vector<operation> operations;
    int result = 0;
    int error = 0;
    stand_in<int, int, sembuf *, size_t> calls{semop_call, [this](int s, sembuf *list, size_t count) {
                                                   set = s;
                                                   operations = list_of(list, count);
                                                   errno = error;
                                                   return result;
                                               }};
};

TEST(sem_lock, wait_is_wait_for_zero_then_plus_1_with_undo) {
    recorded_semop recorded;
    EXPECT_EQ(wait_sem_lock(12, 7), 0);
    EXPECT_EQ(recorded.set, 12);
    EXPECT_THAT(recorded.operations, ElementsAre(operation(7, 0, 0), operation(7, 1, undo)));
}

TEST(sem_lock, try_is_the_same_with_ipc_nowait) {
    recorded_semop recorded;
    EXPECT_EQ(try_sem_lock(12, 7), 0);
    EXPECT_EQ(recorded.set, 12);
    EXPECT_THAT(recorded.operations, ElementsAre(operation(7, 0, no_wait), operation(7, 1, undo)));
}

TEST(sem_lock, release_is_minus_1_with_undo) {
    recorded_semop recorded;
    EXPECT_EQ(release_sem_lock(12, 7), 0);
    EXPECT_EQ(recorded.set, 12);
    EXPECT_THAT(recorded.operations, ElementsAre(operation(7, -1, undo)));
}

TEST(sem_lock, only_the_low_16_bits_of_the_number_are_used) {
    recorded_semop recorded;
    EXPECT_EQ(wait_sem_lock(1, 65536), 0);
    EXPECT_THAT(recorded.operations, ElementsAre(operation(0, 0, 0), operation(0, 1, undo)));
    EXPECT_EQ(try_sem_lock(1, 0x7FFF0003), 0);
    EXPECT_THAT(recorded.operations, ElementsAre(operation(3, 0, no_wait), operation(3, 1, undo)));
    EXPECT_EQ(release_sem_lock(1, -1), 0);
    EXPECT_THAT(recorded.operations, ElementsAre(operation(65535, -1, undo)));
}

TEST(sem_lock, semop_result_and_errno_are_returned) {
    recorded_semop recorded;
    recorded.result = -1;
    recorded.error = EINTR;
    for (const auto function : {wait_sem_lock, try_sem_lock, release_sem_lock}) {
        errno = 0;
        EXPECT_EQ(function(1, 2), -1);
        EXPECT_EQ(errno, EINTR);
    }
}

// --- Real locks ---

class real_locks : public ::testing::Test {
  protected:
    int value(int number = 0) const { return semctl(locks, number, GETVAL); }

    /// Until `count` processes wait for lock 0 to become free (GETZCNT) or to be raised (GETNCNT).
    void until_waiting(int kind, int count = 1) const {
        while (semctl(locks, 0, kind) != count) {
            sched_yield();
        }
    }

    scratch_folder folder;
    std::string path = folder.file("key");
    lock_set locks{path, 3};
};

TEST_F(real_locks, new_set_is_free) {
    EXPECT_GE(locks, 0);
    EXPECT_EQ(value(0), 0);
    EXPECT_EQ(value(1), 0);
    EXPECT_EQ(value(2), 0);
}

TEST_F(real_locks, key_file_has_mode_0777_less_umask_and_is_never_written) {
    const mode_t mask = umask(0);
    const lock_set others(folder.file("open"), 1);
    umask(mask);
    struct stat status {};
    ASSERT_EQ(stat(folder.file("open").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, mode_t{0777});
    EXPECT_EQ(status.st_size, 0);

    write_file(folder.file("used"), "keep me");
    const lock_set used(folder.file("used"), 1);
    EXPECT_GE(used, 0);
    EXPECT_EQ(read_file(folder.file("used")), "keep me");
}

TEST_F(real_locks, set_has_mode_0777_with_any_umask) {
    semid_ds description{};
    ASSERT_EQ(semctl(locks, 0, IPC_STAT, &description), 0);
    EXPECT_EQ(description.sem_perm.mode & 0777U, 0777U);
}

TEST_F(real_locks, same_path_is_the_same_set_in_every_process) {
    EXPECT_EQ(get_sem_lock(path.c_str(), 3), locks);
    child_process other([this] { return get_sem_lock(path.c_str(), 3) == locks ? 0 : 1; });
    EXPECT_TRUE(other.exits_with(0));
}

TEST_F(real_locks, another_path_is_another_set) {
    const lock_set other(folder.file("other"), 3);
    EXPECT_NE(other, locks);
}

TEST_F(real_locks, existing_set_may_be_larger_than_requested_but_not_smaller) {
    EXPECT_EQ(get_sem_lock(path.c_str(), 1), locks);
    EXPECT_EQ(get_sem_lock(path.c_str(), 0), locks);
    EXPECT_EQ(get_sem_lock(path.c_str(), 4), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(real_locks, key_file_in_a_missing_folder_fails_with_enoent) {
    EXPECT_EQ(get_sem_lock(folder.file("missing/key").c_str(), 1), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(real_locks, value_is_1_while_locked_and_0_while_free) {
    EXPECT_EQ(wait_sem_lock(locks, 1), 0);
    EXPECT_EQ(value(1), 1);
    EXPECT_EQ(release_sem_lock(locks, 1), 0);
    EXPECT_EQ(value(1), 0);
    EXPECT_EQ(try_sem_lock(locks, 1), 0);
    EXPECT_EQ(value(1), 1);
}

TEST_F(real_locks, try_of_a_held_lock_fails_at_once) {
    EXPECT_EQ(try_sem_lock(locks, 0), 0);
    EXPECT_EQ(try_sem_lock(locks, 0), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(value(), 1);
}

TEST_F(real_locks, second_thread_of_the_holder_waits) {
    ASSERT_EQ(wait_sem_lock(locks, 0), 0);
    std::thread other([this] {
        EXPECT_EQ(wait_sem_lock(locks, 0), 0);
        EXPECT_EQ(value(), 1);
    });
    until_waiting(GETZCNT);
    EXPECT_EQ(release_sem_lock(locks, 0), 0);
    other.join();
    EXPECT_EQ(release_sem_lock(locks, 0), 0);
}

TEST_F(real_locks, locks_of_a_set_are_independent) {
    EXPECT_EQ(try_sem_lock(locks, 0), 0);
    EXPECT_EQ(try_sem_lock(locks, 1), 0);
    EXPECT_EQ(release_sem_lock(locks, 0), 0);
    EXPECT_EQ(value(0), 0);
    EXPECT_EQ(value(1), 1);
}

TEST_F(real_locks, number_65536_is_lock_0) {
    EXPECT_EQ(try_sem_lock(locks, 65536), 0);
    EXPECT_EQ(value(0), 1);
    EXPECT_EQ(release_sem_lock(locks, 131072), 0);
    EXPECT_EQ(value(0), 0);
}

TEST_F(real_locks, number_outside_the_set_fails_with_efbig) {
    for (const auto function : {wait_sem_lock, try_sem_lock, release_sem_lock}) {
        EXPECT_EQ(function(locks, 3), -1);
        EXPECT_EQ(errno, EFBIG);
    }
}

TEST_F(real_locks, waiter_gets_the_lock_when_the_holder_releases) {
    ASSERT_EQ(wait_sem_lock(locks, 0), 0);
    child_process waiter([this] { return wait_sem_lock(locks, 0) == 0 && value() == 1 ? 0 : 1; });
    until_waiting(GETZCNT);
    EXPECT_EQ(release_sem_lock(locks, 0), 0);
    EXPECT_TRUE(waiter.exits_with(0));
}

TEST_F(real_locks, release_of_a_free_lock_waits_and_frees_the_next_holders_lock) {
    child_process releaser([this] { return release_sem_lock(locks, 0) == 0 ? 0 : 1; });
    until_waiting(GETNCNT);
    EXPECT_EQ(try_sem_lock(locks, 0), 0);
    EXPECT_TRUE(releaser.exits_with(0));
    // The undo of the releasing process added its 1 again when it ended: try_sem_lock() holds the lock.
    EXPECT_EQ(value(), 1);
}

TEST_F(real_locks, death_of_the_holder_frees_the_lock) {
    const pipe_ends taken;
    child_process holder([this, &taken] {
        wait_sem_lock(locks, 0);
        taken.notify();
        return pause();
    });
    ASSERT_TRUE(taken.await());
    EXPECT_EQ(value(), 1);
    EXPECT_EQ(try_sem_lock(locks, 0), -1);
    holder.kill(SIGKILL);
    holder.wait();
    EXPECT_EQ(value(), 0);
    EXPECT_EQ(try_sem_lock(locks, 0), 0);
}

TEST_F(real_locks, exit_after_release_does_not_change_the_value) {
    child_process user([this] { return wait_sem_lock(locks, 0) == 0 ? release_sem_lock(locks, 0) : 1; });
    EXPECT_TRUE(user.exits_with(0));
    EXPECT_EQ(value(), 0);
}

TEST_F(real_locks, removed_set_fails_waiting_and_later_calls) {
    ASSERT_EQ(wait_sem_lock(locks, 0), 0);
    child_process waiter([this] { return wait_sem_lock(locks, 0) == -1 ? errno : 0; });
    until_waiting(GETZCNT);
    locks.remove();
    EXPECT_TRUE(waiter.exits_with(EIDRM));
    for (const auto function : {wait_sem_lock, try_sem_lock, release_sem_lock}) {
        EXPECT_EQ(function(locks, 0), -1);
        EXPECT_EQ(errno, EINVAL);
    }
}

TEST_F(real_locks, signal_ends_a_wait_with_eintr) {
    ASSERT_EQ(wait_sem_lock(locks, 0), 0);
    child_process waiter([this] {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        action.sa_flags = SA_RESTART; // has no effect on semop
        sigaction(SIGUSR1, &action, nullptr);
        return wait_sem_lock(locks, 0) == -1 ? errno : 0;
    });
    until_waiting(GETZCNT);
    waiter.kill(SIGUSR1);
    EXPECT_TRUE(waiter.exits_with(EINTR));
}

TEST_F(real_locks, nothing_is_printed) {
    captured_output output;
    EXPECT_EQ(get_sem_lock(folder.file("missing/key").c_str(), 1), -1);
    EXPECT_EQ(wait_sem_lock(locks, 5), -1);
    EXPECT_EQ(output.text(), "");
}

// --- Many processes ---

/// Shared by the processes; the lock protects `counter` and `holder`.
struct shared_state {
    std::atomic<int> counter;
    std::atomic<int> holder;
    std::atomic<int> overlaps; ///< how often two processes were inside at the same time
};

class shared_counter : public real_locks {
  protected:
    /// Increments the counter in several steps, so that a second process inside would be noticed.
    void increment(int who) const {
        state->holder = who;
        const int before = state->counter;
        sched_yield();
        state->counter = before + 1;
        if (state->holder != who || state->counter != before + 1) {
            ++state->overlaps;
        }
    }

    int increment_under_lock(int who, int times) const {
        for (int i = 0; i < times; ++i) {
            if (wait_sem_lock(locks, 0) != 0) {
                return 1;
            }
            increment(who);
            if (release_sem_lock(locks, 0) != 0) {
                return 2;
            }
        }
        return 0;
    }

    shared_value<shared_state> state;
};

TEST_F(shared_counter, no_increment_of_many_processes_is_lost) {
    constexpr int processes = 6;
    constexpr int times = 500;
    std::vector<child_process> workers;
    for (int who = 1; who <= processes; ++who) {
        workers.emplace_back([this, who] { return increment_under_lock(who, times); });
    }
    for (child_process &worker : workers) {
        EXPECT_TRUE(worker.exits_with(0));
    }
    EXPECT_EQ(state->counter, processes * times);
    EXPECT_EQ(state->overlaps, 0);
    EXPECT_EQ(value(), 0);
}

TEST_F(shared_counter, holder_killed_at_any_moment_frees_the_lock_for_one_process) {
    constexpr int processes = 4;
    constexpr int kills = 60;
    constexpr int for_long = 1'000'000;
    std::mt19937 random(1); // varies the moments beyond what the scheduler does
    std::vector<child_process> workers;
    int who = 0;
    const auto start_worker = [&] {
        ++who;
        return child_process([this, me = who] { return increment_under_lock(me, for_long); });
    };
    while (workers.size() < processes) {
        workers.push_back(start_worker());
    }
    for (int i = 0; i < kills; ++i) {
        // The other processes continued: the lock of the process killed before was released.
        const int goal = state->counter + 1 + static_cast<int>(random() % 20);
        while (state->counter < goal) {
            sched_yield();
        }
        child_process &victim = workers[random() % processes];
        victim.kill(SIGKILL);
        victim.wait();
        victim = start_worker();
    }
    workers.clear();
    EXPECT_EQ(state->overlaps, 0);
    EXPECT_EQ(value(), 0);
}

} // namespace
