// SPDX-License-Identifier: Apache-2.0
// Records of the largest size, posted by threads of several processes by name and by descriptor, under the
// file lock of libvarnel_platform: no two are mixed.
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/child_process.h"
#include "support/scratch_folder.h"
#include "varnel/message.h"

namespace {

using namespace varnel::test;

constexpr int records_each = 200;

/// A record in which every byte, except the length, is the poster's mark.
class marked_record {
  public:
    explicit marked_record(uint8_t mark) : bytes_(QUEUE_MESSAGE_RECORD_MAX, mark) {
        constexpr uint32_t payload = QUEUE_MESSAGE_PAYLOAD_MAX;
        std::memcpy(bytes_.data() + offsetof(queue_message, payload_len), &payload, sizeof payload);
    }
    operator const queue_message *() const { return reinterpret_cast<const queue_message *>(bytes_.data()); }
    bool operator==(const std::vector<uint8_t> &other) const { return bytes_ == other; }

  private:
    std::vector<uint8_t> bytes_;
};

class platform_queue : public ::testing::Test {
  protected:
    platform_queue() : path_(folder_.file("queue")) {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        queue_ = open(path_.c_str(), O_RDWR | O_CLOEXEC);
    }
    ~platform_queue() override { close(queue_); }

    using poster = std::function<int(const marked_record &)>;
    poster by_name() const {
        return [this](const marked_record &record) {
            return post_message_to_named_queue(record, path_.c_str());
        };
    }
    static poster through(int fd) {
        return [fd](const marked_record &record) { return post_message(record, fd); };
    }

    /// Starts a process with a thread for each poster. Marks are counted from 1 over all processes.
    void start(const std::function<std::vector<poster>()> &make_posters, int threads) {
        const int first_mark = marks_ + 1;
        marks_ += threads;
        processes_.emplace_back([make_posters, first_mark] {
            std::vector<std::jthread> posting;
            int mark = first_mark;
            for (const poster &post : make_posters()) {
                posting.emplace_back([post, record = marked_record(static_cast<uint8_t>(mark++))] {
                    for (int i = 0; i < records_each; ++i) {
                        post(record);
                    }
                });
            }
            return 0;
        });
    }

    void receive_all() {
        for (int i = 0; i < marks_ * records_each; ++i) {
            std::vector<uint8_t> record(QUEUE_MESSAGE_RECORD_MAX);
            uint32_t length = 0;
            read_fully(record.data(), record.size());
            std::memcpy(&length, record.data() + offsetof(queue_message, payload_len), sizeof length);
            ASSERT_EQ(length, uint32_t{QUEUE_MESSAGE_PAYLOAD_MAX}) << "record " << i;
            ASSERT_TRUE(marked_record(record[0]) == record) << "record " << i;
        }
        for (child_process &each : processes_) {
            EXPECT_TRUE(each.exits_with(0));
        }
    }

    int queue_;

    [[nodiscard]] int own_descriptor() const { return open(path_.c_str(), O_WRONLY | O_CLOEXEC); }

  private:
    void read_fully(uint8_t *to, std::size_t size) const {
        for (std::size_t got = 0; got < size;) {
            const ssize_t some = read(queue_, to + got, size - got);
            ASSERT_GT(some, 0);
            got += static_cast<std::size_t>(some);
        }
    }

    scratch_folder folder_;
    std::string path_;
    int marks_ = 0;
    std::vector<child_process> processes_;
};

TEST_F(platform_queue, records_posted_by_name_from_threads_are_not_mixed) {
    for (int i = 0; i < 2; ++i) {
        start([this] { return std::vector{by_name(), by_name()}; }, 2);
    }
    receive_all();
}

TEST_F(platform_queue, records_posted_by_name_and_by_descriptor_are_not_mixed) {
    for (int i = 0; i < 2; ++i) {
        start([this] { return std::vector{by_name(), through(own_descriptor())}; }, 2);
    }
    receive_all();
}

TEST_F(platform_queue, records_posted_by_inherited_descriptor_are_not_mixed) {
    start([this] { return std::vector{by_name(), through(queue_)}; }, 2);
    start([this] { return std::vector{through(queue_), by_name()}; }, 2);
    start([this] { return std::vector{through(queue_)}; }, 1);
    receive_all();
}

} // namespace
