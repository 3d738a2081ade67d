// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include "faults/faults.h"
#include "varnel/message.h"
#include "varnel/sem_lock.h"

namespace varnel::test {
namespace {

constexpr std::size_t payload = 1000;
using record = std::array<char, QUEUE_MESSAGE_HEADER_SIZE + payload>;

/// A record without a byte of 0.
const record sample = [] {
    record bytes;
    bytes.fill('x');
    const uint32_t length = payload;
    std::memcpy(&bytes[offsetof(queue_message, payload_len)], &length, sizeof length);
    return bytes;
}();

const queue_message *message() { return reinterpret_cast<const queue_message *>(sample.data()); }

class queue_faults : public faults {
  protected:
    ~queue_faults() override { close_queue(); }

    /// A new pipe, which has `content`.
    void make_queue(std::string_view content) {
        close_queue();
        std::remove(queue().c_str());
        mkfifo(queue().c_str(), 0600);
        fd_ = open(queue().c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
        ASSERT_EQ(write(fd_, content.data(), content.size()), static_cast<ssize_t>(content.size()));
        fcntl(fd_, F_SETFL, O_RDWR);
    }

    /// All of the record is in the pipe after 0 and nothing of it after -1, but for a write that was cut short.
    void try_post(const std::function<int()> &post) {
        try_all({[this] { make_queue(""); }, [post](answer &said) { said.numbers[0] = post(); },
                 [this](run &r) {
                     EXPECT_FALSE((fcntl(fd(), F_GETFL) & O_NONBLOCK) != 0 && !r.killed());
                     const std::string there = content();
                     const std::string_view whole(sample.data(), sample.size());
                     if (r.killed()) {
                         EXPECT_TRUE(there.empty() || there == whole);
                         return;
                     }
                     const bool failed = r.failed_on("write", queue()) || r.failed_on("openat", queue());
                     const bool cut = r.cut_short_on("write", queue());
                     EXPECT_EQ(r.said.numbers[0], failed || cut ? -1 : 0);
                     r.leaves_open(r.failed_on("openat", queue()) ? 1 : 0); // the socket of the system log
                     EXPECT_EQ(there, failed ? "" : whole.substr(0, cut ? whole.size() / 2 : whole.size()));
                 },
                 queue()});
    }

    [[nodiscard]] std::string queue() const { return path("queue"); }
    [[nodiscard]] int fd() const { return fd_; }

    [[nodiscard]] std::string content() const {
        fcntl(fd_, F_SETFL, O_RDWR | O_NONBLOCK);
        std::string bytes(65536, '\0');
        bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(read(fd_, bytes.data(), bytes.size()), 0)));
        return bytes;
    }

  private:
    void close_queue() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }

    int fd_ = -1;
};

TEST_F(queue_faults, post_message) {
    try_post([this] { return post_message(message(), fd()); });
}

TEST_F(queue_faults, post_message_non_block) {
    try_post([this] { return post_message_non_block(message(), fd()); });
}

TEST_F(queue_faults, post_message_to_named_queue) {
    try_post([this] { return post_message_to_named_queue(message(), queue().c_str()); });
}

/// What was taken from the pipe is in the buffer. Errors of read() are not reported: the header then has the zeros from
/// before, and an interrupted read is made again.
TEST_F(queue_faults, get_message) {
    try_all({[this] {
                 make_queue({sample.data(), sample.size()});
             },
             [this](answer &said) {
                 record got{};
                 said.numbers[0] = get_message(got.data(), fd(), 5);
                 const auto end = std::mismatch(got.begin(), got.end(), sample.begin()).first;
                 said.numbers[1] = end - got.begin();
                 said.numbers[2] = std::count(end, got.end(), '\0') == got.end() - end ? 1 : 0;
             },
             [this](run &r) {
                 const auto left = static_cast<int64_t>(content().size());
                 if (r.killed()) {
                     return;
                 }
                 EXPECT_EQ(r.said.numbers[0], r.failed("select") ? -1 : 0);
                 EXPECT_EQ(r.said.numbers[1], static_cast<int64_t>(sample.size()) - left);
                 EXPECT_EQ(r.said.numbers[2], 1);
                 EXPECT_TRUE(left == 0 || r.failed("select") || r.failed("read"));
                 EXPECT_TRUE(left == 0 || r.failed("select") || r.error() != EINTR);
             },
             queue()});
}

TEST_F(queue_faults, message_number_in_queue) {
    static int file = -1;
    try_all({.prepare = [this] { write_file(queue(), std::string(2 * QUEUE_MESSAGE_RECORD_MAX, 'x')); },
             .call = [](answer &said) { said.numbers[0] = message_number_in_queue(file); },
             .judge =
                 [](run &r) {
                     if (!r.killed()) {
                         EXPECT_EQ(r.said.numbers[0], r.failed("fstat") ? 0 : 2);
                     }
                 },
             .begin = [this] { file = open(queue().c_str(), O_RDONLY | O_CLOEXEC); }});
}

class lock_faults : public faults {
  protected:
    ~lock_faults() override { remove(); }

    /// A set with one lock, which is free.
    void make_set() {
        remove();
        set_ = get_sem_lock(key_file().c_str(), 1);
        ASSERT_NE(set_, -1);
    }

    void remove() {
        if (set_ != -1) {
            semctl(set_, 0, IPC_RMID);
            set_ = -1;
        }
    }

    /// A lock that was taken is held until the process ends, however it ends; one that was not taken stays free.
    void try_taking(int32_t (*take)(int32_t, int32_t)) {
        try_all({[this] { make_set(); },
                 [this, take](answer &said) {
                     said.numbers = {take(set(), 0), semctl(set(), 0, GETVAL)};
                 },
                 [this](run &r) {
                     EXPECT_EQ(semctl(set(), 0, GETVAL), 0);
                     if (!r.killed()) {
                         EXPECT_EQ(r.said.numbers[0], r.failed("semop") ? -1 : 0);
                         EXPECT_EQ(r.said.numbers[1], r.failed("semop") ? 0 : 1);
                     }
                 }});
    }

    void adopt(int set) { set_ = set; }
    [[nodiscard]] int set() const { return set_; }
    [[nodiscard]] std::string key_file() const { return path("lock"); }

  private:
    int set_ = -1;
};

TEST_F(lock_faults, get_sem_lock) {
    try_all({[this] { std::remove(key_file().c_str()); },
             [this](answer &said) { said.numbers[0] = get_sem_lock(key_file().c_str(), 1); },
             [this](run &r) {
                 // The set is the one of the file, and stays until it is removed.
                 const key_t key = ftok(key_file().c_str(), '_');
                 adopt(key != -1 ? semget(key, 0, 0) : -1);
                 const bool failed = r.failed("openat") || r.failed("fstat") || r.failed("semget");
                 if (!r.killed()) {
                     EXPECT_EQ(r.said.numbers[0], failed ? -1 : set());
                     EXPECT_EQ(set() == -1, failed);
                 }
                 remove();
             }});
}

TEST_F(lock_faults, wait_sem_lock) { try_taking(wait_sem_lock); }

TEST_F(lock_faults, try_sem_lock) { try_taking(try_sem_lock); }

TEST_F(lock_faults, release_sem_lock) {
    try_all({.prepare = [this] { make_set(); },
             .call =
                 [this](answer &said) {
                     said.numbers = {release_sem_lock(set(), 0), semctl(set(), 0, GETVAL)};
                 },
             .judge =
                 [this](run &r) {
                     EXPECT_EQ(semctl(set(), 0, GETVAL), 0);
                     if (!r.killed()) {
                         EXPECT_EQ(r.said.numbers[0], r.failed("semop") ? -1 : 0);
                         EXPECT_EQ(r.said.numbers[1], r.failed("semop") ? 1 : 0);
                     }
                 },
             .begin = [this] { wait_sem_lock(set(), 0); }});
}

} // namespace
} // namespace varnel::test
