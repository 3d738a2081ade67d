// SPDX-License-Identifier: Apache-2.0
// file_lock_write() and file_unlock() with real processes and threads, on FIFOs and on regular files.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/child_process.h"
#include "support/interposed.h"
#include "support/pipe_ends.h"
#include "support/private_mounts.h"
#include "support/scratch_folder.h"
#include "support/shared_value.h"
#include "varnel/platform.h"

namespace {

using namespace varnel::test;

interposed<int(const timespec *, timespec *)> nanosleep_call("nanosleep");
#ifdef __GLIBC__ // calls it fstat64() where files may be large
interposed<int(int, struct stat *)> fstat_call("fstat64");
#else
interposed<int(int, struct stat *)> fstat_call("fstat");
#endif

} // namespace

extern "C" int nanosleep(const timespec *time, timespec *rest) { return nanosleep_call(time, rest); }
extern "C" int fstat(int fd, struct stat *file) noexcept { return fstat_call(fd, file); }

namespace {

/// Waits until /proc/locks has a line with `text` for a process that waits for a lock.
void wait_until_listed(const std::string &text) {
    for (;;) {
        std::ifstream locks("/proc/locks");
        for (std::string line; std::getline(locks, line);) {
            if (line.find("-> ") != std::string::npos && line.find(text) != std::string::npos) {
                return;
            }
        }
        std::this_thread::yield();
    }
}

/// Waits until process `pid` waits for a record lock.
void wait_until_waiting(pid_t pid) {
    wait_until_listed("POSIX  ADVISORY  WRITE " + std::to_string(pid) + " ");
}

/// Waits until any process or thread waits for a lock of this file.
void wait_until_waited_for(int fd) {
    struct stat file {};
    fstat(fd, &file);
    wait_until_listed(":" + std::to_string(file.st_ino) + " ");
}

enum class file_kind { regular, fifo };

class file_lock : public ::testing::Test {
  protected:
    file_lock() { make_file(); }

    void make_file(file_kind kind = file_kind::regular, const std::string &name = "file") {
        path = folder_.file(name);
        std::filesystem::remove(path);
        EXPECT_EQ(mknod(path.c_str(), 0600U | (kind == file_kind::fifo ? S_IFIFO : S_IFREG), 0), 0);
    }
    [[nodiscard]] std::string scratch_file(const std::string &name) const { return folder_.file(name); }
    // Opened for reading and writing, a FIFO needs no other process.
    [[nodiscard]] int open_file() const { return open(path.c_str(), O_RDWR | O_CLOEXEC); }

    std::string path;

  private:
    scratch_folder folder_;
};

/// `length` 0: to the end of all files.
bool lockable_now(int fd, off_t start = 0, off_t length = 0) {
    struct flock range {};
    range.l_type = F_WRLCK;
    range.l_start = start;
    range.l_len = length;
    return fcntl(fd, F_SETLK, &range) == 0;
}

bool another_process_can_lock(int fd, off_t start = 0, off_t length = 0) {
    return child_process([&] { return lockable_now(fd, start, length) ? 0 : 1; }).exits_with(0);
}

bool is_open(int fd) { return fcntl(fd, F_GETFD) >= 0; }

/// The number that the next descriptor gets.
int next_descriptor() {
    const int next = dup(STDIN_FILENO);
    close(next);
    return next;
}

// Results.

TEST_F(file_lock, success_leaves_errno_unchanged) {
    const int fd = open_file();
    errno = E2BIG;
    EXPECT_EQ(file_lock_write(fd), 0);
    EXPECT_EQ(file_unlock(fd), 0);
    EXPECT_EQ(errno, E2BIG);
    close(fd);
}

TEST_F(file_lock, bad_descriptor_fails_with_ebadf) {
    EXPECT_EQ(file_lock_write(-1), -1);
    EXPECT_EQ(errno, EBADF);
    errno = 0;
    EXPECT_EQ(file_unlock(-1), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(file_lock, read_only_descriptor_fails_and_locks_nothing) {
    const int reading = open(path.c_str(), O_RDONLY);
    const int fd = open_file();
    EXPECT_EQ(file_lock_write(reading), -1);
    EXPECT_EQ(errno, EBADF);
    std::thread([&] {
        EXPECT_EQ(file_lock_write(fd), 0);
        EXPECT_EQ(file_unlock(fd), 0);
    }).join();
    close(reading);
    close(fd);
}

TEST_F(file_lock, unlocking_an_unlocked_file_succeeds) {
    const int fd = open_file();
    EXPECT_EQ(file_unlock(fd), 0);
    close(fd);
}

TEST_F(file_lock, one_unlock_releases_a_lock_acquired_twice) {
    const int fd = open_file();
    EXPECT_EQ(file_lock_write(fd), 0);
    EXPECT_EQ(file_lock_write(fd), 0);
    EXPECT_EQ(file_unlock(fd), 0);
    EXPECT_TRUE(another_process_can_lock(fd));
    close(fd);
}

TEST_F(file_lock, unlocking_another_threads_lock_fails_with_eperm) {
    const int fd = open_file();
    EXPECT_EQ(file_lock_write(fd), 0);
    std::thread([&] {
        EXPECT_EQ(file_unlock(fd), -1);
        EXPECT_EQ(errno, EPERM);
    }).join();
    EXPECT_FALSE(another_process_can_lock(fd));
    EXPECT_EQ(file_unlock(fd), 0);
    close(fd);
}

TEST_F(file_lock, locking_more_than_256_files_fails_with_enolck) {
    std::vector<int> descriptors;
    for (int i = 0; i < 256; ++i) {
        make_file(file_kind::regular, std::to_string(i));
        descriptors.push_back(open_file());
        ASSERT_EQ(file_lock_write(descriptors.back()), 0) << i;
    }
    make_file(file_kind::regular, "one more");
    descriptors.push_back(open_file());
    EXPECT_EQ(file_lock_write(descriptors.back()), -1);
    EXPECT_EQ(errno, ENOLCK);
    EXPECT_EQ(file_unlock(descriptors[7]), 0);
    EXPECT_EQ(file_lock_write(descriptors.back()), 0);
    for (const int fd : descriptors) {
        EXPECT_EQ(file_unlock(fd), 0);
        close(fd);
    }
}

// Exclusion.

struct sharing {
    const char *name;
    file_kind kind;
    bool inherited; ///< children use the parent's descriptor; otherwise each opens the file
};

class file_lock_exclusion : public file_lock, public ::testing::WithParamInterface<sharing> {
  protected:
    file_lock_exclusion() { make_file(GetParam().kind); }
    [[nodiscard]] int descriptor_for_another(int mine) const {
        return GetParam().inherited ? mine : open_file();
    }
};

TEST_P(file_lock_exclusion, process_waits_for_the_lock_of_another) {
    const int fd = open_file();
    ASSERT_EQ(file_lock_write(fd), 0);
    child_process child([&] { return file_lock_write(descriptor_for_another(fd)); });
    wait_until_waiting(child.id());
    EXPECT_EQ(file_unlock(fd), 0);
    EXPECT_TRUE(child.exits_with(0));
    close(fd);
}

/// Counts turns, and how often two threads were inside at the same time.
struct counters {
    std::atomic<int> inside;
    std::atomic<int> collisions;
    std::atomic<int> turns;
};

void take_turns(int fd, int turns, counters &count) {
    for (int i = 0; i < turns; ++i) {
        if (file_lock_write(fd) != 0) {
            count.collisions += 1000;
        }
        if (count.inside++ != 0) {
            ++count.collisions;
        }
        std::this_thread::yield();
        --count.inside;
        ++count.turns;
        file_unlock(fd);
    }
}

void in_threads(int count, const std::function<void()> &action) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back(action);
    }
    for (std::thread &each : threads) {
        each.join();
    }
}

TEST_P(file_lock_exclusion, threads_of_one_process_exclude_each_other) {
    const int fd = open_file();
    counters count{};
    in_threads(8, [&] { take_turns(descriptor_for_another(fd), 200, count); });
    EXPECT_EQ(count.collisions, 0);
    EXPECT_EQ(count.turns, 1600);
    close(fd);
}

TEST_P(file_lock_exclusion, threads_of_several_processes_exclude_each_other) {
    const int fd = open_file();
    shared_value<counters> count;
    std::vector<child_process> children;
    for (int i = 0; i < 3; ++i) {
        children.emplace_back([&] {
            const int mine = descriptor_for_another(fd);
            in_threads(3, [&] { take_turns(mine, 100, *count); });
            return 0;
        });
    }
    for (child_process &child : children) {
        EXPECT_TRUE(child.exits_with(0));
    }
    EXPECT_EQ(count->collisions, 0);
    EXPECT_EQ(count->turns, 900);
    close(fd);
}

INSTANTIATE_TEST_SUITE_P(files, file_lock_exclusion,
                         ::testing::Values(sharing{"regular_file_opened_by_each", file_kind::regular, false},
                                           sharing{"regular_file_inherited", file_kind::regular, true},
                                           sharing{"fifo_opened_by_each", file_kind::fifo, false},
                                           sharing{"fifo_inherited", file_kind::fifo, true}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(file_lock, long_records_of_several_writers_are_not_mixed) {
    constexpr std::size_t record_size = 20'000; // more than a FIFO writes as a whole
    constexpr int writers = 4;
    constexpr int records = 10;
    make_file(file_kind::fifo);
    const int reading = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    std::vector<child_process> children;
    for (int i = 0; i < writers; ++i) {
        children.emplace_back([&, i] {
            const int fd = open(path.c_str(), O_WRONLY);
            in_threads(2, [&] {
                const std::vector<char> record(record_size, static_cast<char>('a' + i));
                for (int n = 0; n < records; ++n) {
                    file_lock_write(fd);
                    EXPECT_EQ(write(fd, record.data(), record.size()), static_cast<ssize_t>(record.size()));
                    file_unlock(fd);
                }
            });
            return 0;
        });
    }
    fcntl(reading, F_SETFL, 0);
    for (int n = 0; n < writers * 2 * records; ++n) {
        std::vector<char> record(record_size);
        for (std::size_t got = 0; got < record.size();) {
            const ssize_t some = read(reading, record.data() + got, record.size() - got);
            got += static_cast<std::size_t>(std::max<ssize_t>(some, 0));
        }
        ASSERT_EQ(record, std::vector<char>(record_size, record.front())) << n;
    }
    for (child_process &child : children) {
        EXPECT_TRUE(child.exits_with(0));
    }
    close(reading);
}

// Waiting.

TEST_F(file_lock, wait_continues_after_signals) {
    static shared_value<std::atomic<int>> signals;
    const int fd = open_file();
    ASSERT_EQ(file_lock_write(fd), 0);
    child_process child([&] {
        struct sigaction count {};
        count.sa_handler = [](int) { ++*signals; }; // without SA_RESTART
        sigaction(SIGUSR1, &count, nullptr);
        return file_lock_write(fd);
    });
    for (int n = 1; n <= 3; ++n) {
        wait_until_waiting(child.id());
        kill(child.id(), SIGUSR1);
        while (*signals < n) {
            std::this_thread::yield();
        }
    }
    wait_until_waiting(child.id());
    EXPECT_EQ(file_unlock(fd), 0);
    EXPECT_TRUE(child.exits_with(0));
    close(fd);
}

TEST_F(file_lock, is_not_inherited_by_a_forked_child) {
    const int fd = open_file();
    std::mutex mutex;
    std::condition_variable changed;
    bool locked = false;
    bool forked = false;
    std::thread holder([&] {
        EXPECT_EQ(file_lock_write(fd), 0);
        std::unique_lock lock(mutex);
        locked = true;
        changed.notify_all();
        changed.wait(lock, [&] { return forked; });
        EXPECT_EQ(file_unlock(fd), 0);
    });
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return locked; });
    }
    child_process child([&] { return file_lock_write(fd); });
    wait_until_waiting(child.id()); // in the kernel, not for a thread that does not exist in the child
    {
        const std::lock_guard lock(mutex);
        forked = true;
        changed.notify_all();
    }
    EXPECT_TRUE(child.exits_with(0));
    holder.join();
    close(fd);
}

TEST_F(file_lock, is_kept_when_another_descriptor_of_the_file_is_closed) {
    const int fd = open_file();
    ASSERT_EQ(file_lock_write(fd), 0);
    close(open_file());
    EXPECT_FALSE(another_process_can_lock(fd));
    EXPECT_EQ(file_unlock(fd), 0);
    EXPECT_TRUE(another_process_can_lock(fd));
    close(fd);
}

TEST_P(file_lock_exclusion, lock_is_kept_when_another_descriptor_is_closed) {
    const int fd = open_file();
    const int child_is_inside = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    ASSERT_EQ(file_lock_write(fd), 0);
    close(open_file());
    child_process child([&] {
        const int mine = descriptor_for_another(fd);
        const int result = file_lock_write(mine);
        eventfd_write(child_is_inside, 1);
        return result;
    });
    wait_until_waited_for(fd);
    eventfd_t inside = 0;
    EXPECT_EQ(eventfd_read(child_is_inside, &inside), -1);
    EXPECT_EQ(file_unlock(fd), 0);
    EXPECT_TRUE(child.exits_with(0));
    close(child_is_inside);
    close(fd);
}

TEST_F(file_lock, is_released_when_its_process_ends_before_a_forked_child) {
    const int fd = open_file();
    const pipe_ends child_runs;
    pipe_ends test_runs;
    child_process holder([&] {
        EXPECT_EQ(file_lock_write(fd), 0);
        if (fork() == 0) {
            test_runs.close_writer();
            child_runs.notify();
            EXPECT_FALSE(test_runs.await()); // until the test closes it
            _exit(0);
        }
        pause();
        return 0;
    });
    ASSERT_TRUE(child_runs.await());
    holder.kill();
    EXPECT_TRUE(WIFSIGNALED(holder.wait()));
    EXPECT_EQ(file_lock_write(fd), 0);
    EXPECT_EQ(file_unlock(fd), 0);
    close(fd);
}

TEST_F(file_lock, can_be_acquired_while_the_process_has_a_record_lock) {
    const int fd = open_file();
    ASSERT_TRUE(lockable_now(fd));
    EXPECT_EQ(file_lock_write(fd), 0);
    EXPECT_FALSE(another_process_can_lock(fd));
    EXPECT_EQ(file_unlock(fd), 0);
    EXPECT_TRUE(another_process_can_lock(fd));
    close(fd);
}

TEST_F(file_lock, waits_for_record_locks_of_other_programs) {
    const int fd = open_file();
    ASSERT_TRUE(lockable_now(fd));
    child_process child([&] { return file_lock_write(fd); });
    wait_until_waiting(child.id());
    struct flock none {};
    none.l_type = F_UNLCK;
    EXPECT_EQ(fcntl(fd, F_SETLK, &none), 0);
    EXPECT_TRUE(child.exits_with(0));
    close(fd);
}

/// A process may have the descriptor of a file that it has no permission to open.
TEST_F(file_lock, can_be_acquired_when_the_file_cannot_be_opened_again) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    const int fd = open_file();
    child_process child([&] {
        const bool became = setresuid(65534, 65534, 65534) == 0;
        const bool locked = became && open_file() == -1 && file_lock_write(fd) == 0;
        const bool excludes = !another_process_can_lock(fd, 0, 1) && !another_process_can_lock(fd, 1, 1);
        close(dup(fd)); // ends the record locks
        const bool again = file_lock_write(fd) == 0 && !another_process_can_lock(fd, 0, 1);
        return locked && excludes && again && file_unlock(fd) == 0 && another_process_can_lock(fd) ? 0 : 1;
    });
    EXPECT_TRUE(child.exits_with(0));
    close(fd);
}

TEST_F(file_lock, unlock_closes_every_descriptor_the_lock_opened) {
    const int fd = open_file();
    EXPECT_EQ(file_lock_write(fd), 0);
    const int while_locked = dup(fd);
    EXPECT_EQ(file_unlock(fd), 0);
    const int afterwards = dup(fd);
    EXPECT_LT(afterwards, while_locked);
    for (const int each : {fd, while_locked, afterwards}) {
        close(each);
    }
}

TEST_F(file_lock, lock_of_a_device_does_not_open_it_again) {
    const int device = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const int next = next_descriptor();
    EXPECT_EQ(file_lock_write(device), 0);
    EXPECT_FALSE(is_open(next));
    EXPECT_EQ(file_unlock(device), 0);
    close(device);
}

TEST_F(file_lock, of_a_device_leaves_errno_of_a_forked_child_unchanged) {
    const int device = open("/dev/null", O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(file_lock_write(device), 0);
    errno = E2BIG;
    EXPECT_TRUE(child_process([] { return errno == E2BIG ? 0 : 1; }).exits_with(0));
    EXPECT_EQ(file_unlock(device), 0);
    close(device);
}

TEST_F(file_lock, lock_of_a_fifo_is_no_reader_of_it) {
    signal(SIGPIPE, SIG_IGN);
    make_file(file_kind::fifo);
    const int reading = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const int writing = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(file_lock_write(writing), 0);
    close(reading);
    EXPECT_EQ(write(writing, "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_EQ(file_unlock(writing), 0);
    close(writing);
    signal(SIGPIPE, SIG_DFL);
}

TEST_F(file_lock, is_of_the_whole_file_wherever_the_file_is_written_next) {
    const int fd = open_file();
    ASSERT_EQ(lseek(fd, 1000, SEEK_SET), 1000);
    EXPECT_EQ(file_lock_write(fd), 0);
    EXPECT_FALSE(another_process_can_lock(fd, 0, 1));
    EXPECT_FALSE(another_process_can_lock(fd, 1, 1));
    EXPECT_EQ(file_unlock(fd), 0);
    close(fd);
}

TEST_F(file_lock, second_lock_by_the_holder_renews_a_lost_record_lock) {
    const int fd = open_file();
    EXPECT_EQ(file_lock_write(fd), 0);
    close(open_file()); // ends the record locks
    EXPECT_TRUE(another_process_can_lock(fd, 1, 1));
    EXPECT_EQ(file_lock_write(fd), 0);
    EXPECT_FALSE(another_process_can_lock(fd, 1, 1));
    EXPECT_EQ(file_unlock(fd), 0);
    close(fd);
}

TEST_F(file_lock, second_lock_by_the_holder_does_not_wait_for_who_took_a_lost_record_lock) {
    const int fd = open_file();
    EXPECT_EQ(file_lock_write(fd), 0);
    close(open_file()); // ends the record locks
    child_process other([&] { return file_lock_write(open_file()); });
    wait_until_waited_for(fd);
    EXPECT_EQ(file_lock_write(fd), 0);
    EXPECT_EQ(file_unlock(fd), 0);
    EXPECT_TRUE(other.exits_with(0));
    close(fd);
}

TEST_F(file_lock, wait_for_a_lock_without_record_lock_continues_after_signals) {
    const int fd = open_file();
    EXPECT_EQ(file_lock_write(fd), 0);
    close(open_file()); // ends the record locks
    static shared_value<std::atomic<int>> signals;
    child_process other([&] {
        struct sigaction count {};
        count.sa_handler = [](int) { ++*signals; }; // without SA_RESTART
        sigaction(SIGUSR1, &count, nullptr);
        return file_lock_write(open_file());
    });
    wait_until_waited_for(fd);
    kill(other.id(), SIGUSR1);
    while (*signals == 0) {
        std::this_thread::yield();
    }
    wait_until_waited_for(fd);
    EXPECT_EQ(file_unlock(fd), 0);
    EXPECT_TRUE(other.exits_with(0));
    close(fd);
}

TEST_F(file_lock, unlock_closes_no_file_that_took_the_number_of_its_descriptor) {
    const int fd = open_file();
    const int next = next_descriptor();
    EXPECT_EQ(file_lock_write(fd), 0);
    ASSERT_TRUE(is_open(next));
    const pipe_ends other;
    dup2(other.writer(), next);
    EXPECT_EQ(file_unlock(fd), 0);
    EXPECT_TRUE(is_open(next));
    EXPECT_TRUE(another_process_can_lock(fd));
    close(next);
    close(fd);
}

int failing_fstat(int /*fd*/, struct stat * /*status*/) {
    errno = EIO;
    return -1;
}

TEST_F(file_lock, is_released_by_its_descriptor_when_fstat_fails) {
    const int fd = open_file();
    const int other = open_file();
    EXPECT_EQ(file_lock_write(fd), 0);
    const stand_in<int, int, struct stat *> failing(fstat_call, failing_fstat);
    EXPECT_EQ(file_unlock(other), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_FALSE(another_process_can_lock(fd));
    EXPECT_EQ(file_unlock(fd), 0);
    EXPECT_TRUE(another_process_can_lock(fd));
    close(other);
    close(fd);
}

TEST_F(file_lock, is_released_for_other_threads_when_fstat_fails) {
    const int fd = open_file();
    EXPECT_EQ(file_lock_write(fd), 0);
    {
        const stand_in<int, int, struct stat *> failing(fstat_call, failing_fstat);
        std::thread([&] {
            EXPECT_EQ(file_unlock(fd), -1) << "by another thread";
            EXPECT_EQ(errno, EIO);
        }).join();
        EXPECT_FALSE(another_process_can_lock(fd));
        EXPECT_EQ(file_unlock(fd), 0);
    }
    std::thread([&] { EXPECT_EQ(file_lock_write(fd), 0); }).join();
    close(fd);
}

TEST_F(file_lock, is_kept_when_unlocked_by_a_closed_descriptor) {
    const int fd = open_file();
    const int other = open_file();
    EXPECT_EQ(file_lock_write(fd), 0);
    close(fd);
    EXPECT_EQ(file_unlock(fd), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_FALSE(another_process_can_lock(other));
    EXPECT_EQ(file_unlock(other), 0);
    EXPECT_TRUE(another_process_can_lock(other));
    close(other);
}

TEST_F(file_lock, forked_child_keeps_its_standard_input) {
    ASSERT_TRUE(is_open(STDIN_FILENO));
    EXPECT_TRUE(child_process([] { return is_open(STDIN_FILENO) ? 0 : 1; }).exits_with(0));
}

TEST_F(file_lock, cancelled_thread_completes_its_call) {
    const int fd = open_file();
    pthread_t thread{};
    const auto body = [](void *file) -> void * {
        pthread_cancel(pthread_self());
        if (file_lock_write(*static_cast<int *>(file)) == 0) {
            pthread_testcancel();
        }
        return nullptr;
    };
    int file = fd;
    void *end = nullptr;
    ASSERT_EQ(pthread_create(&thread, nullptr, body, &file), 0);
    EXPECT_EQ(pthread_join(thread, &end), 0);
    EXPECT_EQ(end, PTHREAD_CANCELED);
    EXPECT_FALSE(another_process_can_lock(fd));
    close(fd);
}

TEST_F(file_lock, files_of_two_file_systems_with_one_inode_number_are_two_files) {
    const std::string one = scratch_file("one");
    const std::string two = scratch_file("two");
    for (const std::string &folder : {one, two}) {
        std::filesystem::create_directory(folder);
        if (!enter_private_mounts() || !mount_memory(folder, 1 << 16)) {
            GTEST_SKIP() << "needs permission to mount a file system (root, or user namespaces)";
        }
    }
    struct stat first {};
    struct stat second {};
    const int a = open((one + "/file").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const int b = open((two + "/file").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    fstat(a, &first);
    fstat(b, &second);
    EXPECT_EQ(first.st_ino, second.st_ino) << "this kernel numbers the files of its memory in another way";
    EXPECT_EQ(file_lock_write(a), 0);
    std::thread([&] {
        EXPECT_EQ(file_lock_write(b), 0);
        EXPECT_EQ(file_unlock(b), 0);
    }).join();
    EXPECT_EQ(file_unlock(a), 0);
    close(a);
    close(b);
    unmount(one);
    unmount(two);
}

TEST_F(file_lock, never_occupies_a_standard_descriptor) {
    const int fd = open_file();
    for (const std::vector<int> &closed :
         {std::vector{STDERR_FILENO}, std::vector{STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}}) {
        child_process child([&] {
            std::ranges::for_each(closed, close);
            const bool locked = file_lock_write(fd) == 0;
            const bool excludes = !another_process_can_lock(fd, 0, 1) && !another_process_can_lock(fd, 1, 1);
            const bool kept =
                std::ranges::all_of(closed, [](int standard) { return fcntl(standard, F_GETFD) == -1; });
            return locked && excludes && kept && file_unlock(fd) == 0 ? 0 : 1;
        });
        EXPECT_TRUE(child.exits_with(0));
    }
    close(fd);
}

TEST_F(file_lock, is_kept_while_other_threads_try_to_unlock_it) {
    const int fd = open_file();
    const int probe = open_file();
    std::atomic<bool> done = false;
    std::vector<std::jthread> unlocking;
    for (int i = 0; i < 8; ++i) {
        unlocking.emplace_back([&] {
            while (!done) {
                file_unlock(fd);
                sched_yield();
            }
        });
    }
    int lost = 0;
    for (int i = 0; i < 2'000; ++i) {
        EXPECT_EQ(file_lock_write(fd), 0);
        sched_yield();
        struct flock any {};
        any.l_type = F_WRLCK;
        lost += fcntl(probe, F_OFD_GETLK, &any) == 0 && any.l_type == F_UNLCK ? 1 : 0;
        EXPECT_EQ(file_unlock(fd), 0);
    }
    done = true;
    unlocking.clear();
    EXPECT_EQ(lost, 0);
    close(probe);
    close(fd);
}

/// Two files, and a pipe on which one process notifies the other.
class deadlock : public file_lock {
  protected:
    deadlock() {
        make_file(file_kind::regular, "y");
        y = open_file();
        make_file(file_kind::regular, "x");
        x = open_file();
    }
    ~deadlock() override {
        close(x);
        close(y);
    }

    int x;
    int y;
    pipe_ends line;
};

TEST_F(deadlock, threads_with_one_lock_each_get_theirs_despite_edeadlk) {
    // In each process one thread has a file locked, and another thread waits for the other process's file.
    const pid_t parent = getpid();
    child_process child([&] {
        bool kernel_reports_deadlock = false;
        int result = -1;
        EXPECT_EQ(file_lock_write(y), 0);
        line.notify();
        wait_until_waiting(parent);
        const stand_in<int, const timespec *, timespec *> pauses(
            nanosleep_call, [&](const timespec *time, timespec *rest) {
                if (!std::exchange(kernel_reports_deadlock, true)) {
                    line.notify();
                }
                return nanosleep_call.real(time, rest);
            });
        std::thread waiter([&] { result = file_lock_write(x); });
        waiter.join();
        return kernel_reports_deadlock && result == 0 && file_unlock(y) == 0 ? 0 : 1;
    });
    EXPECT_EQ(file_lock_write(x), 0);
    EXPECT_TRUE(line.await());
    std::thread waiter([&] {
        EXPECT_EQ(file_lock_write(y), 0);
        EXPECT_EQ(file_unlock(y), 0);
    });
    EXPECT_TRUE(line.await());
    EXPECT_EQ(file_unlock(x), 0);
    EXPECT_TRUE(child.exits_with(0));
    waiter.join();
}

TEST_F(deadlock, real_deadlock_of_two_processes_fails_with_edeadlk) {
    EXPECT_EQ(file_lock_write(x), 0);
    child_process child([&] {
        EXPECT_EQ(file_lock_write(y), 0);
        return file_lock_write(x);
    });
    wait_until_waiting(child.id());
    EXPECT_EQ(file_lock_write(y), -1);
    EXPECT_EQ(errno, EDEADLK);
    EXPECT_EQ(file_unlock(x), 0);
    EXPECT_TRUE(child.exits_with(0));
}

} // namespace
