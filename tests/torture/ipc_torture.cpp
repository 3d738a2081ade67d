// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "torture/torture.h"
#include "varnel/message.h"
#include "varnel/sem_lock.h"

namespace {

using namespace varnel::test;

constexpr size_t payload = 1000;
constexpr size_t record_size = QUEUE_MESSAGE_HEADER_SIZE + payload;
using record = std::array<uint8_t, record_size>;

record sample() {
    record bytes;
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<uint8_t>(i);
    }
    const uint32_t length = payload;
    std::memcpy(&bytes[40], &length, sizeof length);
    return bytes;
}

const queue_message *message_in(const record &bytes) {
    return reinterpret_cast<const queue_message *>(bytes.data());
}

/// A pipe with both ends in this process.
class queue {
  public:
    queue() {
        mkfifo(path().c_str(), 0600);
        fd_ = open(path().c_str(), O_RDWR | O_CLOEXEC);
    }
    ~queue() { close(fd_); }
    queue(const queue &) = delete;
    queue &operator=(const queue &) = delete;

    [[nodiscard]] int fd() const { return fd_; }
    [[nodiscard]] std::string path() const { return folder_.file("queue"); }
    [[nodiscard]] int flags() const { return fcntl(fd_, F_GETFL); }

    [[nodiscard]] std::vector<uint8_t> content() const {
        fcntl(fd_, F_SETFL, flags() | O_NONBLOCK);
        std::vector<uint8_t> bytes(65536);
        const ssize_t n = read(fd_, bytes.data(), bytes.size());
        bytes.resize(n > 0 ? static_cast<size_t>(n) : 0);
        return bytes;
    }

  private:
    scratch_folder folder_;
    int fd_;
};

void expect_posted(const trial &t, const queue &q, int result) {
    const record bytes = sample();
    const std::vector<uint8_t> there = q.content();
    EXPECT_EQ(result, t.has_failed("write") || t.has_failed("open") ? -1 : 0);
    if (result == 0) {
        EXPECT_EQ(there, std::vector<uint8_t>(bytes.begin(), bytes.end()));
    } else if (!t.was_short("write")) {
        EXPECT_TRUE(there.empty()); // a part would desynchronise the queue
    }
}

TEST(ipc_torture, post) {
    torture([](trial &t) {
        const queue q;
        const record bytes = sample();
        int result = 1;
        t.run([&] { result = post_message(message_in(bytes), q.fd()); });
        expect_posted(t, q, result);
    });
}

TEST(ipc_torture, post_without_blocking) {
    torture([](trial &t) {
        const queue q;
        const int flags = q.flags();
        const record bytes = sample();
        int result = 1;
        t.run([&] { result = post_message_non_block(message_in(bytes), q.fd()); });
        if (!t.has_failed("fcntl")) {
            EXPECT_EQ(q.flags(), flags);
        }
        expect_posted(t, q, result);
    });
}

TEST(ipc_torture, post_by_name) {
    torture([](trial &t) {
        const queue q;
        const record bytes = sample();
        int result = 1;
        t.run([&] { result = post_message_to_named_queue(message_in(bytes), q.path().c_str()); });
        expect_posted(t, q, result);
    });
}

/// Errors other than an interruption and an empty pipe are not reported (message.h): what was not read keeps
/// the buffer's earlier content.
TEST(ipc_torture, get) {
    torture([](trial &t) {
        const queue q;
        const record bytes = sample();
        ASSERT_EQ(write(q.fd(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        record got{};
        int result = 1;
        int error = 0;
        t.run([&] {
            result = get_message(got.data(), q.fd(), 5);
            error = errno;
        });
        EXPECT_EQ(result, t.has_failed("select") ? -1 : 0);
        const std::vector<uint8_t> left = q.content();
        const size_t taken = bytes.size() - left.size();
        if (result == -1) {
            EXPECT_EQ(taken, 0U) << error;
        }
        EXPECT_TRUE(std::equal(got.begin(), got.begin() + static_cast<ptrdiff_t>(taken), bytes.begin()));
        EXPECT_EQ(std::count(got.begin() + static_cast<ptrdiff_t>(taken), got.end(), 0),
                  static_cast<ptrdiff_t>(left.size()));
        if (!t.any_failed() || t.was_short("read")) {
            EXPECT_TRUE(left.empty() || t.failed().size() > 1);
        }
    });
}

TEST(ipc_torture, number_in_queue) {
    torture([](trial &t) {
        const scratch_folder folder;
        write_file(folder.file("queue"), std::string(3 * QUEUE_MESSAGE_RECORD_MAX, 'x'));
        const int fd = open(folder.file("queue").c_str(), O_RDONLY | O_CLOEXEC);
        int number = -1;
        t.run([&] { number = message_number_in_queue(fd); });
        close(fd);
        EXPECT_EQ(number, t.any_failed() ? 0 : 3);
    });
}

TEST(ipc_torture, lock) {
    torture([](trial &t) {
        const scratch_folder folder;
        const std::string path = folder.file("lock");
        int set = -1;
        int taken = -1;
        int tried = -1;
        int released = -1;
        int value_taken = -1;
        t.run([&] {
            set = get_sem_lock(path.c_str(), 1);
            if (set != -1) {
                taken = wait_sem_lock(set, 0);
                value_taken = semctl(set, 0, GETVAL);
                released = taken == 0 ? release_sem_lock(set, 0) : -1;
                tried = try_sem_lock(set, 0);
            }
        });
        EXPECT_EQ(set == -1, t.has_failed("open") || t.has_failed("ftok") || t.has_failed("semget"));
        if (set == -1) {
            return;
        }
        EXPECT_EQ(value_taken, taken == 0 ? 1 : 0);
        const bool held = taken == 0 && released == -1; // then no other call gets it
        EXPECT_EQ(tried == 0, semctl(set, 0, GETVAL) == 1 && !held);
        if (!t.has_failed("semop")) {
            EXPECT_EQ(taken + released + tried, 0);
        }
        semctl(set, 0, IPC_RMID);
    });
}

} // namespace
