// SPDX-License-Identifier: Apache-2.0
#include "varnel/message.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <endian.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "support/captured_output.h"
#include "support/child_process.h"
#include "support/interposed.h"
#include "support/pipe_ends.h"
#include "support/scratch_folder.h"
#include "varnel/platform.h"

static_assert(sizeof(queue_message) == 44);
static_assert(offsetof(queue_message, payload_len) == 40 && offsetof(queue_message, payload) == 44);
static_assert(QUEUE_MESSAGE_RECORD_MAX == QUEUE_MESSAGE_HEADER_SIZE + QUEUE_MESSAGE_PAYLOAD_MAX);

namespace {

using namespace varnel::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// --- The calls that the library makes ---

interposed<int(const char *, int, mode_t)> open_call("open");
interposed<int(int)> close_call("close");
interposed<ssize_t(int, void *, size_t)> read_call("read");
interposed<ssize_t(int, const void *, size_t)> write_call("write");
interposed<int(int, int, void *)> fcntl_call("fcntl");
interposed<int(int, fd_set *, fd_set *, fd_set *, timeval *)> select_call("select");

/// A record lock of the whole queue, as a platform may use it.
int record_lock(int fd, short kind) {
    struct flock whole {};
    whole.l_type = kind;
    whole.l_whence = SEEK_SET;
    return fcntl_call.real(fd, F_SETLKW, &whole);
}

/// The platform's functions, which tests replace as they need.
struct scripted_platform {
    std::function<int(int)> lock = [](int fd) { return record_lock(fd, F_WRLCK); };
    std::function<int(int)> unlock = [](int fd) { return record_lock(fd, F_UNLCK); };
    std::string debug_output;
};

scripted_platform platform;

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
ssize_t read(int fd, void *bytes, size_t size) { return read_call(fd, bytes, size); }
ssize_t write(int fd, const void *bytes, size_t size) { return write_call(fd, bytes, size); }
int fcntl(int fd, int command, ...) {
    va_list rest;
    va_start(rest, command);
    void *argument = command == F_GETFL ? nullptr : va_arg(rest, void *);
    va_end(rest);
    return fcntl_call(fd, command, argument);
}
int select(int limit, fd_set *input, fd_set *output, fd_set *exceptions, timeval *wait) {
    return select_call(limit, input, output, exceptions, wait);
}

int file_lock_write(int fd) { return platform.lock(fd); }
int file_unlock(int fd) { return platform.unlock(fd); }
int IDBG_LINUXAPP_DbgOut(int level, const char *format, ...) {
    std::array<char, 256> text{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    platform.debug_output += std::to_string(level) + " " + text.data();
    return 0;
}
}

namespace {

void put_length(uint8_t *bytes, uint32_t length) {
    length = htole32(length);
    std::memcpy(bytes + offsetof(queue_message, payload_len), &length, sizeof length);
}

/// A record in a buffer, as a daemon keeps it.
class record {
  public:
    explicit record(uint32_t payload_len, size_t room) : bytes_(QUEUE_MESSAGE_HEADER_SIZE + room) {
        for (size_t i = 0; i < bytes_.size(); ++i) {
            bytes_[i] = static_cast<uint8_t>(i * 7 + 1);
        }
        put_length(bytes_.data(), payload_len);
    }
    explicit record(uint32_t payload_len) : record(payload_len, payload_len) {}

    operator const queue_message *() const { return reinterpret_cast<const queue_message *>(bytes_.data()); }
    std::string text(size_t size) const { return {bytes_.begin(), bytes_.begin() + static_cast<long>(size)}; }
    std::string text() const { return text(bytes_.size()); }

  private:
    std::vector<uint8_t> bytes_;
};

// --- Posting, over recorded calls ---

class posting_a_record : public ::testing::Test {
  protected:
    ~posting_a_record() override { platform = {}; }

    int record_call(const std::string &call, int result = 0) {
        calls.push_back(call);
        return result;
    }

    /// The write returns -1 with this error.
    void write_fails(int error) {
        write_result = [error](size_t) {
            errno = error;
            return ssize_t{-1};
        };
    }

    static constexpr int status_flags = O_WRONLY | O_APPEND;

    std::vector<std::string> calls;
    std::string written;
    std::function<ssize_t(size_t)> write_result = [](size_t size) { return static_cast<ssize_t>(size); };

  private:
    // Other descriptors are the test program's own.
    static constexpr int queue = 4000;

    bool prepare() {
        platform.lock = [this](int fd) { return record_call("lock " + std::to_string(fd)); };
        platform.unlock = [this](int fd) { return record_call("unlock " + std::to_string(fd)); };
        return true;
    }

    bool prepared_ = prepare();
    stand_in<int, const char *, int, mode_t> opens_{
        open_call, [this](const char *path, int flags, mode_t mode) {
            return std::string(path) == "queue" ? record_call("open " + std::to_string(flags), queue)
                                                : open_call.real(path, flags, mode);
        }};
    stand_in<int, int> closes_{
        close_call, [this](int fd) { return fd == queue ? record_call("close 4000") : close_call.real(fd); }};
    stand_in<ssize_t, int, const void *, size_t> writes_{
        write_call, [this](int fd, const void *bytes, size_t size) {
            if (fd != queue) {
                return write_call.real(fd, bytes, size);
            }
            record_call("write 4000 " + std::to_string(size));
            written.assign(static_cast<const char *>(bytes), size);
            return write_result(size);
        }};
    stand_in<int, int, int, void *> flags_{
        fcntl_call, [this](int fd, int command, void *argument) {
            if (fd != queue) {
                return fcntl_call.real(fd, command, argument);
            }
            const auto flags = static_cast<int>(reinterpret_cast<intptr_t>(argument));
            return command == F_GETFL
                       ? record_call("get flags", status_flags)
                       : record_call((command == F_SETFL ? "set flags " : "?? ") + std::to_string(flags));
        }};
};

TEST_F(posting_a_record, locks_writes_once_and_unlocks) {
    const record message(5);
    EXPECT_EQ(post_message(message, 4000), 0);
    EXPECT_THAT(calls, ElementsAre("lock 4000", "write 4000 49", "unlock 4000"));
    EXPECT_EQ(written, message.text());
}

TEST_F(posting_a_record, non_block_sets_and_restores_the_flags_inside_the_lock) {
    const record message(5);
    EXPECT_EQ(post_message_non_block(message, 4000), 0);
    EXPECT_THAT(calls, ElementsAre("lock 4000", "get flags",
                                   "set flags " + std::to_string(status_flags | O_NONBLOCK), "write 4000 49",
                                   "set flags " + std::to_string(status_flags), "unlock 4000"));
    EXPECT_EQ(written, message.text());
}

TEST_F(posting_a_record, named_queue_is_opened_for_writing_and_closed_after_unlock) {
    const record message(5);
    EXPECT_EQ(post_message_to_named_queue(message, "queue"), 0);
    EXPECT_THAT(calls, ElementsAre("open " + std::to_string(O_WRONLY), "lock 4000", "write 4000 49",
                                   "unlock 4000", "close 4000"));
    EXPECT_EQ(written, message.text());
}

int post_to_queue(const queue_message *message, int /*fd*/) {
    return post_message_to_named_queue(message, "queue");
}

const std::vector<std::pair<const char *, int (*)(const queue_message *, int)>> posts{
    {"post_message", post_message},
    {"post_message_non_block", post_message_non_block},
    {"named", post_to_queue}};

TEST_F(posting_a_record, record_size_is_computed_in_16_bits) {
    for (const auto &[name, post] : posts) {
        for (const auto &[payload_len, size] : std::vector<std::pair<uint32_t, size_t>>{{0, 44},
                                                                                        {1, 45},
                                                                                        {61440, 61484},
                                                                                        {65491, 65535},
                                                                                        {65492, 0},
                                                                                        {65500, 8},
                                                                                        {65535, 43},
                                                                                        {0x10004, 48},
                                                                                        {0xFFFF0000, 44},
                                                                                        {0xFFFFFFFF, 43}}) {
            SCOPED_TRACE(std::string(name) + " " + std::to_string(payload_len));
            const record message(payload_len, 65536);
            EXPECT_EQ(post(message, 4000), 0);
            EXPECT_EQ(written, message.text(size));
        }
    }
}

TEST_F(posting_a_record, record_needs_no_alignment) {
    const record message(5);
    std::vector<char> buffer(1 + QUEUE_MESSAGE_HEADER_SIZE + 5);
    std::memcpy(buffer.data() + 1, static_cast<const void *>(static_cast<const queue_message *>(message)),
                49);
    EXPECT_EQ(post_message(reinterpret_cast<const queue_message *>(buffer.data() + 1), 4000), 0);
    EXPECT_EQ(written, message.text());
}

TEST_F(posting_a_record, failed_write_is_printed_with_its_error) {
    write_fails(EPIPE);
    captured_output output;
    for (const auto &[name, post] : posts) {
        EXPECT_EQ(post(record(1), 4000), -1);
    }
    EXPECT_EQ(output.text(), "Message.c : PostMsg 20 Broken pipe\n"
                             "Message.c : PostMsgNonBlock -  Broken pipe\n"
                             "Message.c : PostMsg Broken pipe\n");
}

TEST_F(posting_a_record, short_write_fails_and_prints_the_errno_of_before) {
    for (const ssize_t less : {0, 44, 100}) {
        write_result = [less](size_t) { return less; };
        captured_output output;
        for (const auto &[name, post] : posts) {
            errno = EDOM;
            EXPECT_EQ(post(record(57), 4000), -1) << less;
        }
        EXPECT_EQ(output.text(), "Message.c : PostMsg 21 Numerical argument out of domain\n"
                                 "Message.c : PostMsgNonBlock -  Numerical argument out of domain\n"
                                 "Message.c : PostMsg Numerical argument out of domain\n");
    }
}

TEST_F(posting_a_record, interrupted_write_is_not_retried) {
    write_fails(EINTR);
    captured_output output;
    for (const auto &[name, post] : posts) {
        calls.clear();
        EXPECT_EQ(post(record(1), 4000), -1);
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "write 4000 45"), 1);
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "unlock 4000"), 1);
    }
}

TEST_F(posting_a_record, failed_lock_is_printed_and_the_record_still_written) {
    platform.lock = [this](int) { return record_call("lock", -1); };
    for (const auto &[name, post] : posts) {
        SCOPED_TRACE(name);
        const record message(5);
        written.clear();
        captured_output output;
        EXPECT_EQ(post(message, 4000), 0);
        EXPECT_EQ(output.text(), "Varnel message.c : Error locking Queue\n");
        EXPECT_EQ(written, message.text());
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "unlock 4000"), 1);
        calls.clear();
    }
}

TEST_F(posting_a_record, failed_unlock_is_printed_and_does_not_change_the_result) {
    platform.unlock = [](int) { return -1; };
    for (const auto &[name, post] : posts) {
        captured_output output;
        EXPECT_EQ(post(record(5), 4000), 0) << name;
        EXPECT_EQ(output.text(), "Varnel message.c : Error unlocking Queue\n");
    }
}

TEST_F(posting_a_record, lock_result_other_than_minus_1_is_success) {
    platform.lock = [](int) { return -2; };
    platform.unlock = [](int) { return 1; };
    captured_output output;
    for (const auto &[name, post] : posts) {
        EXPECT_EQ(post(record(5), 4000), 0) << name;
    }
    EXPECT_EQ(output.text(), "");
}

TEST_F(posting_a_record, failed_write_prints_the_errno_left_by_the_unlock) {
    write_fails(EPIPE);
    platform.unlock = [](int) {
        errno = ENOLCK;
        return -1;
    };
    captured_output output;
    for (const auto &[name, post] : posts) {
        EXPECT_EQ(post(record(1), 4000), -1);
    }
    EXPECT_EQ(output.text(), "Varnel message.c : Error unlocking Queue\n"
                             "Message.c : PostMsg 25 No locks available\n"
                             "Varnel message.c : Error unlocking Queue\n"
                             "Message.c : PostMsgNonBlock -  No locks available\n"
                             "Varnel message.c : Error unlocking Queue\n"
                             "Message.c : PostMsg No locks available\n");
}

TEST_F(posting_a_record, success_prints_nothing) {
    captured_output output;
    for (const auto &[name, post] : posts) {
        EXPECT_EQ(post(record(1), 4000), 0);
    }
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(platform.debug_output, "");
}

TEST(named_post, failed_open_is_printed_and_posting_uses_descriptor_minus_1) {
    std::vector<int> descriptors;
    const auto fails_for = [&descriptors](int fd) {
        descriptors.push_back(fd);
        errno = EBADF;
        return -1;
    };
    platform.lock = fails_for;
    platform.unlock = fails_for;
    stand_in<ssize_t, int, const void *, size_t> writes(write_call,
                                                        [&](int fd, const void *bytes, size_t size) {
                                                            if (fd == -1) {
                                                                descriptors.push_back(fd);
                                                            }
                                                            return write_call.real(fd, bytes, size);
                                                        });
    stand_in<int, int> closes(close_call, [&](int fd) {
        if (fd == -1) {
            descriptors.push_back(fd);
        }
        return close_call.real(fd);
    });
    ::testing::internal::CaptureStderr();
    captured_output output;
    EXPECT_EQ(post_message_to_named_queue(record(65492, 65536), "missing/queue"), -1); // 0 bytes fail as well
    EXPECT_EQ(output.text(), "Varnel message.c : Error locking Queue\n"
                             "Varnel message.c : Error unlocking Queue\n"
                             "Message.c : PostMsg Bad file descriptor\n");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "No such file or directory\n");
    EXPECT_EQ(platform.debug_output, "130 [message.c:103]Error opening named pipe missing/queue\n");
    EXPECT_THAT(descriptors, ElementsAre(-1, -1, -1, -1)); // lock, write, unlock, close
    platform = {};
}

// --- Receiving, over scripted reads ---

struct read_answer {
    std::string data;
    int error = 0;
};

class receiving_a_record : public ::testing::Test {
  protected:
    static constexpr int queue = 4000;

    std::vector<uint8_t> buffer = std::vector<uint8_t>(256, 0xEE);
    std::deque<read_answer> answers;
    /// Offset in the buffer and size of each read.
    std::vector<std::pair<ptrdiff_t, size_t>> reads;

    std::string received(size_t size) const {
        return {buffer.begin(), buffer.begin() + static_cast<long>(size)};
    }
    void preset_length(int32_t length) { put_length(buffer.data(), static_cast<uint32_t>(length)); }

    static std::string header(int32_t length) {
        std::array<uint8_t, QUEUE_MESSAGE_HEADER_SIZE> bytes;
        bytes.fill('h');
        put_length(bytes.data(), static_cast<uint32_t>(length));
        return {bytes.begin(), bytes.end()};
    }

  private:
    ssize_t answer(uint8_t *to, size_t size) {
        reads.emplace_back(to - buffer.data(), size);
        if (answers.empty()) {
            ADD_FAILURE() << "unexpected read";
            errno = EIO;
            return -1;
        }
        const read_answer next = answers.front();
        answers.pop_front();
        errno = next.error;
        std::copy(next.data.begin(), next.data.end(), to);
        return next.error != 0 ? -1 : static_cast<ssize_t>(next.data.size());
    }

    stand_in<ssize_t, int, void *, size_t> read_calls_{
        read_call, [this](int fd, void *to, size_t size) {
            return fd == queue ? answer(static_cast<uint8_t *>(to), size) : read_call.real(fd, to, size);
        }};
};

TEST_F(receiving_a_record, header_is_read_first_then_the_payload) {
    answers = {{header(3)}, {"abc"}};
    EXPECT_EQ(get_message(buffer.data(), queue, -1), 0);
    EXPECT_EQ(received(48), header(3) + "abc\xEE");
    EXPECT_THAT(reads, ElementsAre(std::pair(0, 44), std::pair(44, 3)));
}

TEST_F(receiving_a_record, record_read_in_pieces_is_complete) {
    answers = {{header(5).substr(0, 1)}, {header(5).substr(1, 41)}, {header(5).substr(42)}, {"ab"}, {"cde"}};
    EXPECT_EQ(get_message(buffer.data(), queue, -1), 0);
    EXPECT_EQ(received(50), header(5) + "abcde\xEE");
    EXPECT_THAT(reads, ElementsAre(std::pair(0, 44), std::pair(1, 43), std::pair(42, 2), std::pair(44, 5),
                                   std::pair(46, 3)));
}

TEST_F(receiving_a_record, end_of_file_eintr_and_eagain_are_retried) {
    answers = {{"", EINTR},  {"", EAGAIN}, {""},        {header(2)}, {""},
               {"", EAGAIN}, {"a"},        {"", EINTR}, {""},        {"b"}};
    EXPECT_EQ(get_message(buffer.data(), queue, -1), 0);
    EXPECT_EQ(received(47), header(2) + "ab\xEE");
    EXPECT_THAT(answers, IsEmpty());
}

TEST_F(receiving_a_record, length_of_0_or_less_reads_no_payload) {
    for (const int32_t length : {0, -1, INT32_MIN}) {
        reads.clear();
        answers = {{header(length)}};
        EXPECT_EQ(get_message(buffer.data(), queue, -1), 0);
        EXPECT_THAT(reads, ElementsAre(std::pair(0, 44)));
    }
}

TEST_F(receiving_a_record, payload_length_has_32_bits) {
    for (const int32_t length : {0x10004, INT32_MAX}) {
        reads.clear();
        answers = {{header(length)}, {"", EIO}};
        EXPECT_EQ(get_message(buffer.data(), queue, -1), 0);
        EXPECT_THAT(reads, ElementsAre(std::pair(0, 44), std::pair<ptrdiff_t, size_t>(44, length)));
    }
}

TEST_F(receiving_a_record, error_in_the_header_uses_the_length_in_the_buffer) {
    preset_length(3);
    answers = {{"1234"}, {"", EIO}, {"xyz"}};
    captured_output output;
    EXPECT_EQ(get_message(buffer.data(), queue, -1), 0);
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(received(5), "1234\xEE");
    EXPECT_EQ(std::string(buffer.begin() + 44, buffer.begin() + 48), "xyz\xEE");
    EXPECT_THAT(reads, ElementsAre(std::pair(0, 44), std::pair(4, 40), std::pair(44, 3)));
}

TEST_F(receiving_a_record, error_in_the_header_with_length_0_returns_an_empty_record) {
    preset_length(0);
    answers = {{"", EBADF}};
    EXPECT_EQ(get_message(buffer.data(), queue, -1), 0);
    EXPECT_THAT(reads, ElementsAre(std::pair(0, 44)));
}

TEST_F(receiving_a_record, error_in_the_payload_is_not_reported) {
    answers = {{header(6)}, {"ab"}, {"", EIO}};
    captured_output output;
    EXPECT_EQ(get_message(buffer.data(), queue, -1), 0);
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(received(47), header(6) + "ab\xEE");
}

// --- Waiting with a time-out ---

struct recorded_select {
    int limit = 0;
    std::vector<int> input;
    long seconds = -99;
    long microseconds = -99;
    int calls = 0;
    int result = 0;
    int error = 0;

    stand_in<int, int, fd_set *, fd_set *, fd_set *, timeval *> stand_in_{
        select_call, [this](int n, fd_set *in, fd_set *out, fd_set *exceptions, timeval *wait) {
            ++calls;
            limit = n;
            input.clear();
            for (int fd = 0; fd < FD_SETSIZE; ++fd) {
                if (FD_ISSET(fd, in)) {
                    input.push_back(fd);
                }
            }
            EXPECT_EQ(out, nullptr);
            EXPECT_EQ(exceptions, nullptr);
            seconds = wait->tv_sec;
            microseconds = wait->tv_usec;
            errno = error;
            return result;
        }};
};

TEST_F(receiving_a_record, time_out_is_converted_to_32_bit_microseconds) {
    recorded_select recorded;
    for (const auto &[timeout, microseconds] :
         std::vector<std::pair<int16_t, long>>{{0, 0},
                                               {1, 1'000'000},
                                               {2147, 2'147'000'000},
                                               {2148, -2'146'967'296},
                                               {4295, 32'704},
                                               {32767, -1'592'738'368},
                                               {-2, -2'000'000},
                                               {-32768, 1'591'738'368}}) {
        EXPECT_EQ(get_message(buffer.data(), 5, timeout), -1);
        EXPECT_EQ(recorded.limit, 6);
        EXPECT_THAT(recorded.input, ElementsAre(5));
        EXPECT_EQ(recorded.seconds, 0);
        EXPECT_EQ(recorded.microseconds, microseconds) << timeout;
    }
    EXPECT_EQ(recorded.calls, 8);
    EXPECT_THAT(reads, IsEmpty());
}

TEST_F(receiving_a_record, descriptors_0_and_1023_can_be_waited_for) {
    recorded_select recorded;
    for (const int fd : {0, 1023}) {
        EXPECT_EQ(get_message(buffer.data(), fd, 1), -1);
        EXPECT_EQ(recorded.limit, fd + 1);
        EXPECT_THAT(recorded.input, ElementsAre(fd));
    }
}

TEST_F(receiving_a_record, time_out_prints_nothing) {
    recorded_select recorded;
    captured_output output;
    EXPECT_EQ(get_message(buffer.data(), 5, 1), -1);
    EXPECT_EQ(output.text(), "");
}

TEST_F(receiving_a_record, failed_select_is_printed) {
    recorded_select recorded;
    recorded.result = -1;
    recorded.error = EINTR;
    captured_output output;
    EXPECT_EQ(get_message(buffer.data(), 5, 1), -1);
    EXPECT_EQ(output.text(), "Message.c : Error waiting on Queue Interrupted system call\n");
    EXPECT_THAT(reads, IsEmpty());
}

TEST_F(receiving_a_record, time_out_of_minus_1_does_not_call_select) {
    recorded_select recorded;
    answers = {{header(0)}};
    EXPECT_EQ(get_message(buffer.data(), queue, -1), 0);
    EXPECT_EQ(recorded.calls, 0);
}

TEST_F(receiving_a_record, descriptors_outside_the_fd_set_are_refused) {
    recorded_select recorded;
    for (const int fd : {-1, INT_MIN, 1024, 4000, INT_MAX}) {
        captured_output output;
        EXPECT_EQ(get_message(buffer.data(), fd, 1), -1);
        EXPECT_EQ(errno, EBADF);
        EXPECT_EQ(output.text(), "Message.c : Error waiting on Queue Bad file descriptor\n") << fd;
    }
    EXPECT_EQ(recorded.calls, 0);
    EXPECT_THAT(reads, IsEmpty());
}

TEST(get_message, closed_descriptor_fails_only_with_a_time_out) {
    std::vector<uint8_t> buffer(QUEUE_MESSAGE_RECORD_MAX);
    captured_output output;
    const int closed = dup(STDIN_FILENO);
    close(closed);
    EXPECT_EQ(get_message(buffer.data(), closed, 1), -1);
    EXPECT_EQ(get_message(buffer.data(), closed, -1), 0);
    EXPECT_EQ(output.text(), "Message.c : Error waiting on Queue Bad file descriptor\n");
}

// --- Real pipes ---

class real_queue : public ::testing::Test {
  protected:
    real_queue() { EXPECT_EQ(mkfifo(path.c_str(), 0600), 0); }
    ~real_queue() override {
        for (const int fd : descriptors_) {
            close(fd);
        }
    }

    int opened(int flags) {
        descriptors_.push_back(open(path.c_str(), flags));
        EXPECT_GE(descriptors_.back(), 0);
        return descriptors_.back();
    }
    /// Open for reading and writing, so that opening does not wait for another process.
    int both_ends() { return opened(O_RDWR); }

    std::string received(int fd, int16_t timeout = -1) {
        if (get_message(buffer.data(), fd, timeout) != 0) {
            return "-1";
        }
        uint32_t length = 0;
        std::memcpy(&length, buffer.data() + 40, sizeof length);
        return {buffer.begin(), buffer.begin() + 44 + static_cast<long>(le32toh(length))};
    }

    static int waiting_bytes(int fd) {
        int count = -1;
        ioctl(fd, FIONREAD, &count);
        return count;
    }

    scratch_folder folder;
    std::string path = folder.file("queue");
    std::vector<uint8_t> buffer = std::vector<uint8_t>(QUEUE_MESSAGE_RECORD_MAX + 1);

  private:
    std::vector<int> descriptors_;
};

TEST_F(real_queue, records_arrive_unchanged_and_in_order) {
    const int queue = both_ends();
    EXPECT_EQ(post_message(record(0), queue), 0);
    EXPECT_EQ(waiting_bytes(queue), 44);
    EXPECT_EQ(post_message_non_block(record(1), queue), 0);
    EXPECT_EQ(post_message_to_named_queue(record(300), path.c_str()), 0);
    EXPECT_EQ(waiting_bytes(queue), 44 + 45 + 344);
    EXPECT_EQ(received(queue), record(0).text());
    EXPECT_EQ(received(queue, 1), record(1).text());
    EXPECT_EQ(received(queue, 0), record(300).text());
    EXPECT_EQ(waiting_bytes(queue), 0);
}

TEST_F(real_queue, largest_record_fits_into_an_empty_pipe) {
    const int queue = both_ends();
    const record largest(QUEUE_MESSAGE_PAYLOAD_MAX);
    EXPECT_EQ(post_message_non_block(largest, queue), 0);
    EXPECT_EQ(received(queue, 0), largest.text());
}

TEST_F(real_queue, empty_queue_times_out_and_prints_nothing) {
    const int queue = both_ends();
    captured_output output;
    EXPECT_EQ(get_message(buffer.data(), queue, 0), -1);
    timespec before{};
    timespec after{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    EXPECT_EQ(get_message(buffer.data(), queue, 1), -1);
    clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_EQ(output.text(), "");
    EXPECT_GE((after.tv_sec - before.tv_sec) * 1'000'000'000LL + after.tv_nsec - before.tv_nsec,
              1'000'000'000LL);
}

TEST_F(real_queue, time_out_that_becomes_negative_fails_with_einval) {
    const int queue = both_ends();
    captured_output output;
    EXPECT_EQ(get_message(buffer.data(), queue, -2), -1);
    EXPECT_EQ(get_message(buffer.data(), queue, 2148), -1);
    EXPECT_EQ(output.text(), "Message.c : Error waiting on Queue Invalid argument\n"
                             "Message.c : Error waiting on Queue Invalid argument\n");
}

TEST_F(real_queue, signal_ends_a_wait_with_a_time_out) {
    const int queue = both_ends();
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{{0, 5000}, {0, 5000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    captured_output output;
    EXPECT_EQ(get_message(buffer.data(), queue, 100), -1);
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_EQ(output.text(), "Message.c : Error waiting on Queue Interrupted system call\n");
}

TEST_F(real_queue, time_out_limits_only_the_wait_for_the_first_byte) {
    const int queue = both_ends();
    const std::string text = record(10).text();
    ASSERT_EQ(write(queue, text.data(), 1), 1);
    std::thread writer([&] {
        while (waiting_bytes(queue) != 0) { // until the reader has read the first byte
            sched_yield();
        }
        EXPECT_EQ(write(queue, text.data() + 1, text.size() - 1), static_cast<ssize_t>(text.size() - 1));
    });
    EXPECT_EQ(received(queue, 0), text);
    writer.join();
}

TEST_F(real_queue, named_post_waits_for_a_reader) {
    child_process writer(
        [this] { return post_message_to_named_queue(record(9), path.c_str()) == 0 ? 0 : 1; });
    EXPECT_EQ(received(opened(O_RDONLY)), record(9).text());
    EXPECT_TRUE(writer.exits_with(0));
}

TEST_F(real_queue, signal_ends_the_wait_of_a_named_post_for_a_reader) {
    platform.lock = platform.unlock = [](int) { return -1; };
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{{0, 5000}, {0, 5000}};
    ::testing::internal::CaptureStderr();
    captured_output output;
    setitimer(ITIMER_REAL, &often, nullptr);
    EXPECT_EQ(post_message_to_named_queue(record(9), path.c_str()), -1);
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_EQ(output.text(), "Varnel message.c : Error locking Queue\n"
                             "Varnel message.c : Error unlocking Queue\n"
                             "Message.c : PostMsg Bad file descriptor\n");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Interrupted system call\n");
    EXPECT_EQ(platform.debug_output, "130 [message.c:103]Error opening named pipe " + path + "\n");
    platform = {};
}

TEST_F(real_queue, record_is_completed_by_another_writer_after_the_first_closed) {
    const int reader = opened(O_RDONLY | O_NONBLOCK);
    const std::string text = record(200).text();
    for (const size_t cut : {0U, 1U, 43U, 44U, 45U, 243U}) {
        const int first = open(path.c_str(), O_WRONLY);
        ASSERT_EQ(write(first, text.data(), cut), static_cast<ssize_t>(cut));
        close(first);
        std::thread second([&] {
            while (waiting_bytes(reader) != 0) { // until the reader has reached the end of the file
                sched_yield();
            }
            const int fd = open(path.c_str(), O_WRONLY);
            EXPECT_EQ(write(fd, text.data() + cut, text.size() - cut),
                      static_cast<ssize_t>(text.size() - cut));
            close(fd);
        });
        EXPECT_EQ(received(reader), text) << cut;
        second.join();
    }
}

TEST_F(real_queue, non_blocking_reader_waits_for_the_rest_of_a_record) {
    const int reader = opened(O_RDONLY | O_NONBLOCK);
    const int writer = opened(O_WRONLY);
    const std::string text = record(200).text();
    ASSERT_EQ(write(writer, text.data(), 100), 100);
    std::thread rest([&] {
        while (waiting_bytes(reader) != 0) {
            sched_yield();
        }
        EXPECT_EQ(write(writer, text.data() + 100, 144), 144);
    });
    EXPECT_EQ(received(reader), text);
    rest.join();
}

/// Processor time in milliseconds that get_message() uses while it waits for a second for its record.
double processor_time_of_an_idle_second(int reader, const std::function<void()> &post) {
    const pipe_ends result;
    child_process waiter([&] {
        const auto milliseconds = [] {
            rusage use{};
            getrusage(RUSAGE_SELF, &use);
            return static_cast<double>(use.ru_utime.tv_sec + use.ru_stime.tv_sec) * 1e3 +
                   static_cast<double>(use.ru_utime.tv_usec + use.ru_stime.tv_usec) / 1e3;
        };
        std::vector<uint8_t> buffer(QUEUE_MESSAGE_RECORD_MAX);
        const double before = milliseconds();
        const int outcome = get_message(buffer.data(), reader, -1);
        const double used = milliseconds() - before;
        return outcome == 0 && write(result.writer(), &used, sizeof used) == sizeof used ? 0 : 1;
    });
    sleep(1); // the time that is measured
    post();
    EXPECT_TRUE(waiter.exits_with(0));
    double used = 1e9;
    EXPECT_EQ(read(result.reader(), &used, sizeof used), static_cast<ssize_t>(sizeof used));
    return used;
}

TEST_F(real_queue, waiting_at_end_of_file_uses_no_processor_time) {
    const int reader = opened(O_RDONLY | O_NONBLOCK);
    close(open(path.c_str(), O_WRONLY)); // a writer opened and closed it
    const double used = processor_time_of_an_idle_second(
        reader, [this] { EXPECT_EQ(post_message_to_named_queue(record(3), path.c_str()), 0); });
    EXPECT_LT(used, 20);
    RecordProperty("milliseconds", std::to_string(used));
}

TEST_F(real_queue, waiting_on_an_empty_non_blocking_pipe_uses_no_processor_time) {
    const int reader = opened(O_RDONLY | O_NONBLOCK);
    const int writer = opened(O_WRONLY);
    const double used =
        processor_time_of_an_idle_second(reader, [&] { EXPECT_EQ(post_message(record(3), writer), 0); });
    EXPECT_LT(used, 20);
    RecordProperty("milliseconds", std::to_string(used));
}

TEST_F(real_queue, second_reader_continues_after_the_first) {
    const int first = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    const int writer = opened(O_WRONLY);
    for (const uint32_t length : {10U, 20U, 30U}) {
        ASSERT_EQ(post_message(record(length), writer), 0);
    }
    EXPECT_EQ(received(first), record(10).text());
    close(first);
    const int second = opened(O_RDONLY);
    EXPECT_EQ(received(second), record(20).text());
    EXPECT_EQ(post_message(record(40), writer), 0);
    EXPECT_EQ(received(second), record(30).text());
    EXPECT_EQ(received(second), record(40).text());
}

TEST_F(real_queue, post_message_waits_on_a_full_pipe) {
    const int queue = both_ends();
    const record large(QUEUE_MESSAGE_PAYLOAD_MAX);
    constexpr int count = 5; // more than the pipe holds
    std::thread writer([&] {
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ(post_message(large, queue), 0);
        }
    });
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(received(queue), large.text());
    }
    writer.join();
}

TEST_F(real_queue, non_block_post_to_a_full_pipe_fails_and_restores_the_flags) {
    const int reader = opened(O_RDONLY | O_NONBLOCK);
    const int writer = opened(O_WRONLY);
    const int flags = fcntl(writer, F_GETFL);
    EXPECT_EQ(flags & O_NONBLOCK, 0);
    int posted = 0;
    captured_output output;
    while (post_message_non_block(record(4052), writer) == 0) {
        ++posted;
        EXPECT_EQ(fcntl(writer, F_GETFL), flags);
    }
    EXPECT_EQ(output.text(), "Message.c : PostMsgNonBlock -  Resource temporarily unavailable\n");
    EXPECT_EQ(fcntl(writer, F_GETFL), flags);
    EXPECT_EQ(waiting_bytes(reader), posted * 4096); // no byte of the last record
    for (; posted > 0; --posted) {
        EXPECT_EQ(received(reader), record(4052).text());
    }
}

TEST_F(real_queue, non_block_post_keeps_a_non_blocking_descriptor_non_blocking) {
    const int reader = opened(O_RDONLY | O_NONBLOCK);
    const int writer = opened(O_WRONLY | O_NONBLOCK);
    EXPECT_EQ(post_message_non_block(record(4), writer), 0);
    EXPECT_NE(fcntl(writer, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(received(reader), record(4).text());
}

TEST_F(real_queue, non_block_post_of_a_large_record_may_be_written_in_part) {
    const int reader = opened(O_RDONLY | O_NONBLOCK);
    const int writer = opened(O_WRONLY);
    const record large(QUEUE_MESSAGE_PAYLOAD_MAX);
    ASSERT_EQ(post_message_non_block(large, writer), 0);
    ASSERT_EQ(received(reader), large.text());
    ASSERT_EQ(post_message_non_block(record(10'000), writer), 0);
    const int before = waiting_bytes(reader);
    captured_output output;
    errno = 0;
    EXPECT_EQ(post_message_non_block(large, writer), -1);
    EXPECT_EQ(output.text(), "Message.c : PostMsgNonBlock -  Success\n");
    const int part = waiting_bytes(reader) - before;
    EXPECT_GT(part, 0);
    EXPECT_LT(part, QUEUE_MESSAGE_RECORD_MAX);
}

TEST_F(real_queue, enlarged_pipe_holds_several_large_records) {
    const int queue = both_ends();
    ASSERT_GE(fcntl(queue, F_SETPIPE_SZ, 1 << 20), 1 << 20);
    const record large(QUEUE_MESSAGE_PAYLOAD_MAX);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(post_message_non_block(large, queue), 0);
    }
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(received(queue), large.text());
    }
}

using real_queue_DeathTest = real_queue;

TEST_F(real_queue_DeathTest, post_without_a_reader_raises_sigpipe_unless_ignored) {
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    const int writer = opened(O_WRONLY);
    close(reader);
    EXPECT_EXIT(post_message(record(4), writer), ::testing::KilledBySignal(SIGPIPE), "");

    const auto before = std::signal(SIGPIPE, SIG_IGN);
    captured_output output;
    EXPECT_EQ(post_message(record(4), writer), -1);
    EXPECT_EQ(post_message_non_block(record(4), writer), -1);
    EXPECT_EQ(output.text(),
              "Message.c : PostMsg 20 Broken pipe\nMessage.c : PostMsgNonBlock -  Broken pipe\n");
    std::signal(SIGPIPE, before);
}

// --- Many writers ---

/// Record number `sequence` of a writer: sizes vary, and every byte depends on writer and number.
std::vector<uint8_t> numbered_record(uint32_t writer, uint32_t sequence) {
    static constexpr std::array<uint32_t, 8> lengths{0,    1,    20,    4052,
                                                     4053, 9000, 30000, QUEUE_MESSAGE_PAYLOAD_MAX};
    const uint32_t length = lengths[(sequence * 5 + writer * 3) % lengths.size()];
    std::vector<uint8_t> bytes(QUEUE_MESSAGE_HEADER_SIZE + length);
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<uint8_t>(i * 31 + sequence * 17 + writer * 101);
    }
    std::memcpy(bytes.data(), &writer, sizeof writer);
    std::memcpy(bytes.data() + 4, &sequence, sizeof sequence);
    put_length(bytes.data(), length);
    return bytes;
}

TEST_F(real_queue, records_of_many_writers_are_not_lost_or_mixed) {
    constexpr uint32_t writers = 4;
    constexpr uint32_t each = 120;
    const int queue = both_ends();
    std::vector<child_process> processes;
    for (uint32_t writer = 0; writer < writers; ++writer) {
        processes.emplace_back([this, writer] {
            const int fd = open(path.c_str(), O_WRONLY);
            for (uint32_t i = 0; i < each; ++i) {
                const auto bytes = numbered_record(writer, i);
                const auto *message = reinterpret_cast<const queue_message *>(bytes.data());
                const int result = i % 4 == 0 ? post_message_to_named_queue(message, path.c_str())
                                              : post_message(message, fd);
                if (result != 0) {
                    return 1;
                }
            }
            return 0;
        });
    }
    std::array<uint32_t, writers> next{};
    for (uint32_t i = 0; i < writers * each; ++i) {
        ASSERT_EQ(get_message(buffer.data(), queue, 60), 0);
        uint32_t writer = 0;
        std::memcpy(&writer, buffer.data(), sizeof writer);
        ASSERT_LT(writer, writers);
        const auto expected = numbered_record(writer, next[writer]++);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), buffer.begin())) << writer << " " << i;
    }
    for (child_process &process : processes) {
        EXPECT_TRUE(process.exits_with(0));
    }
    EXPECT_EQ(waiting_bytes(queue), 0);
}

// --- Counting ---

TEST(message_number, is_the_file_size_divided_by_the_largest_record) {
    const scratch_folder folder;
    write_file(folder.file("queue"), "");
    const int fd = open(folder.file("queue").c_str(), O_RDWR);
    for (const auto &[size, number, line] : std::vector<std::tuple<off_t, int, const char *>>{
             {0, 0, "Stat.st_size = 0\n"},
             {61483, 0, "Stat.st_size = f02b\n"},
             {61484, 1, "Stat.st_size = f02c\n"},
             {122967, 1, "Stat.st_size = 1e057\n"},
             {122968, 2, "Stat.st_size = 1e058\n"},
             {0x7FFFFFFF, 34927, "Stat.st_size = 7fffffff\n"}}) {
        ASSERT_EQ(ftruncate(fd, size), 0);
        captured_output output;
        EXPECT_EQ(message_number_in_queue(fd), number);
        EXPECT_EQ(output.text(), line);
    }
    close(fd);
}

TEST(message_number, is_0_for_a_bad_descriptor) {
    captured_output output;
    EXPECT_EQ(message_number_in_queue(-1), 0);
    EXPECT_EQ(output.text(), "Error Stat.st_size = 0\n");
}

TEST_F(real_queue, message_number_of_a_pipe_is_0) {
    const int queue = both_ends();
    ASSERT_EQ(post_message(record(QUEUE_MESSAGE_PAYLOAD_MAX), queue), 0);
    captured_output output;
    EXPECT_EQ(message_number_in_queue(queue), 0);
    EXPECT_EQ(output.text(), "Stat.st_size = 0\n");
}

} // namespace
