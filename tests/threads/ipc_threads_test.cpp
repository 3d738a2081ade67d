// SPDX-License-Identifier: Apache-2.0
// Queues and locks over libvarnel_platform's file locks: threads post on separate descriptors, on a shared
// one and by path; threads contend for semaphore locks.
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/lock_set.h"
#include "support/scratch_folder.h"
#include "threads/in_parallel.h"
#include "varnel/message.h"
#include "varnel/platform.h"
#include "varnel/sem_lock.h"

namespace {

using namespace varnel::test;

constexpr int writers = 4;
constexpr int records_each = 20;

/// A record that contains its writer and number; larger than the kernel writes as a whole.
class numbered_record {
  public:
    numbered_record(int writer, int number) {
        bytes_[0] = static_cast<uint8_t>(writer);
        bytes_[1] = static_cast<uint8_t>(number);
        constexpr uint32_t payload = payload_size;
        std::memcpy(bytes_.data() + 40, &payload, sizeof payload);
        std::memset(bytes_.data() + QUEUE_MESSAGE_HEADER_SIZE, writer, payload_size);
    }
    operator const queue_message *() const { return reinterpret_cast<const queue_message *>(bytes_.data()); }

  private:
    static constexpr std::size_t payload_size = 9000;
    std::array<uint8_t, QUEUE_MESSAGE_HEADER_SIZE + payload_size> bytes_{};
};

class queue_threads : public ::testing::Test {
  protected:
    queue_threads() : path_(folder_.file("queue")) {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        reader_ = open(path_.c_str(), O_RDWR);
    }
    ~queue_threads() override { close(reader_); }

    /// Posts from all threads while this one receives. Expects all records, complete and in order.
    template <class post_function>
    void exchange(post_function post) {
        std::jthread posting([&] {
            in_parallel(writers, [&](int writer) {
                for (int number = 0; number < records_each; ++number) {
                    EXPECT_EQ(post(writer, numbered_record(writer, number)), 0);
                }
            });
        });
        std::array<int, writers> next{};
        std::vector<uint8_t> record(QUEUE_MESSAGE_RECORD_MAX);
        for (int i = 0; i < writers * records_each; ++i) {
            ASSERT_EQ(get_message(record.data(), reader_, -1), 0);
            const int writer = record[0];
            ASSERT_LT(writer, writers);
            EXPECT_EQ(record[1], next[writer]++);
            EXPECT_EQ(record[QUEUE_MESSAGE_HEADER_SIZE], writer);
            EXPECT_EQ(record[QUEUE_MESSAGE_HEADER_SIZE + 8999], writer);
        }
    }

    scratch_folder folder_;
    std::string path_;
    int reader_ = -1;
};

TEST_F(queue_threads, posts_on_separate_descriptors_are_complete_and_in_order) {
    std::array<int, writers> queues{};
    for (int &each : queues) {
        each = open(path_.c_str(), O_WRONLY);
    }
    exchange([&](int writer, const queue_message *record) { return post_message(record, queues[writer]); });
    for (const int each : queues) {
        close(each);
    }
}

TEST_F(queue_threads, posts_on_one_descriptor_are_complete_and_in_order) {
    const int queue = open(path_.c_str(), O_WRONLY);
    exchange([&](int, const queue_message *record) { return post_message(record, queue); });
    close(queue);
}

TEST_F(queue_threads, posts_by_path_are_complete_and_in_order) {
    exchange(
        [&](int, const queue_message *record) { return post_message_to_named_queue(record, path_.c_str()); });
}

TEST_F(queue_threads, non_blocking_posts_are_complete_and_in_order) {
    // Each record needs three pages of the pipe: all fit, so none is written in part.
    ASSERT_GE(fcntl(reader_, F_SETPIPE_SZ, 1 << 20), 1 << 20);
    exchange([&](int, const queue_message *record) {
        const int queue = open(path_.c_str(), O_WRONLY);
        const int result = post_message_non_block(record, queue);
        close(queue);
        return result;
    });
}

class lock_threads : public ::testing::Test {
  protected:
    lock_threads() { EXPECT_NE(locks_, -1); }

    scratch_folder folder_;
    lock_set locks_{folder_.file("locks"), 4};
};

TEST_F(lock_threads, one_thread_at_a_time_holds_a_lock) {
    std::atomic<int> inside = 0;
    std::atomic<int> turns = 0;
    in_parallel(4, [&](int) {
        for (int round = 0; round < 100; ++round) {
            ASSERT_EQ(wait_sem_lock(locks_, 0), 0);
            EXPECT_EQ(++inside, 1);
            ++turns;
            --inside;
            ASSERT_EQ(release_sem_lock(locks_, 0), 0);
        }
    });
    EXPECT_EQ(turns, 400);
}

TEST_F(lock_threads, threads_can_try_each_others_locks) {
    in_parallel(4, [&](int thread) {
        for (int round = 0; round < 100; ++round) {
            EXPECT_EQ(get_sem_lock(folder_.file("locks").c_str(), 4), locks_);
            if (try_sem_lock(locks_, (thread + round) % 4) == 0) {
                ASSERT_EQ(release_sem_lock(locks_, (thread + round) % 4), 0);
            } else {
                EXPECT_EQ(errno, EAGAIN);
            }
        }
    });
}

} // namespace
