// SPDX-License-Identifier: Apache-2.0
// Records from one process to another: ours, the bare system calls on the same pipe, and other queues of the
// system.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <mqueue.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "benches.h"
#include "measure.h"
#include "support/scratch_folder.h"
#include "varnel/message.h"
#include "varnel/platform.h"

namespace {

int record_lock(int fd, short kind) {
    struct flock whole {};
    whole.l_type = kind;
    whole.l_whence = SEEK_SET;
    return fcntl(fd, F_SETLKW, &whole);
}

} // namespace

int file_lock_write(int fd) { return record_lock(fd, F_WRLCK); }
int file_unlock(int fd) { return record_lock(fd, F_UNLCK); }
int IDBG_LINUXAPP_DbgOut(int /*level*/, const char * /*format*/, ...) { return 0; }

namespace varnel::bench {

namespace {

using buffer = std::vector<uint8_t>;

buffer record_of(std::size_t size) {
    buffer bytes(size, 0x5A);
    const auto payload = static_cast<uint32_t>(size - QUEUE_MESSAGE_HEADER_SIZE);
    std::memcpy(bytes.data() + 40, &payload, sizeof payload);
    return bytes;
}

/// A named pipe with both ends open.
class fifo {
  public:
    fifo() {
        checked(mkfifo(path_.c_str(), 0600), "mkfifo");
        fd_ = static_cast<int>(checked(open(path_.c_str(), O_RDWR), "open"));
    }
    ~fifo() { close(fd_); }
    fifo(const fifo &) = delete;
    fifo &operator=(const fifo &) = delete;
    int fd() const { return fd_; }
    const std::string &path() const { return path_; }

  private:
    test::scratch_folder folder_;
    std::string path_ = folder_.file("queue");
    int fd_ = -1;
};

/// Records per second from a writing process to this one, and the processor time of both for a record.
outcome flow(int count, const std::function<void()> &write_one, const std::function<void()> &read_one) {
    std::array<int, 2> start{};
    checked(pipe(start.data()), "pipe");
    const pid_t writer = start_process([&] {
        char go = 0;
        checked(read(start[0], &go, 1), "read");
        for (int i = 0; i < count; ++i) {
            write_one();
        }
    });
    const double processor = processor_seconds();
    const double before = now();
    checked(write(start[1], "", 1), "write");
    for (int i = 0; i < count; ++i) {
        read_one();
    }
    const double seconds = now() - before;
    const double used = processor_seconds() - processor + finish_process(writer);
    close(start[0]);
    close(start[1]);
    return {count / seconds, used / count * 1e6};
}

void read_exactly(int fd, buffer &bytes) {
    for (std::size_t got = 0; got < bytes.size();) {
        got += static_cast<std::size_t>(checked(read(fd, bytes.data() + got, bytes.size() - got), "read"));
    }
}

outcome ours(std::size_t size, int count) {
    const fifo queue;
    const buffer record = record_of(size);
    buffer received(QUEUE_MESSAGE_RECORD_MAX);
    return flow(
        count,
        [&] {
            checked(post_message(reinterpret_cast<const queue_message *>(record.data()), queue.fd()), "post");
        },
        [&] { checked(get_message(received.data(), queue.fd(), -1), "get_message"); });
}

outcome bare_pipe(std::size_t size, int count, bool locked) {
    const fifo queue;
    const buffer record = record_of(size);
    buffer received(size);
    return flow(
        count,
        [&] {
            if (locked) {
                checked(record_lock(queue.fd(), F_WRLCK), "lock");
            }
            checked(write(queue.fd(), record.data(), record.size()), "write");
            if (locked) {
                checked(record_lock(queue.fd(), F_UNLCK), "unlock");
            }
        },
        [&] { read_exactly(queue.fd(), received); });
}

mqd_t new_message_queue(std::size_t size) {
    mq_attr attributes{};
    attributes.mq_maxmsg = 10;
    attributes.mq_msgsize = static_cast<long>(size);
    const std::string name = "/varnel-bench-" + std::to_string(getpid());
    const mqd_t queue = mq_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600, &attributes);
    mq_unlink(name.c_str());
    return queue;
}

outcome message_queue(std::size_t size, int count) {
    const buffer record = record_of(size);
    buffer received(size);
    const mqd_t queue = new_message_queue(size);
    checked(queue, "mq_open");
    const auto *bytes = reinterpret_cast<const char *>(record.data());
    const outcome result = flow(
        count, [&] { checked(mq_send(queue, bytes, record.size(), 0), "mq_send"); },
        [&] {
            checked(mq_receive(queue, reinterpret_cast<char *>(received.data()), received.size(), nullptr),
                    "mq_receive");
        });
    mq_close(queue);
    return result;
}

outcome seqpacket(std::size_t size, int count) {
    const buffer record = record_of(size);
    buffer received(size);
    std::array<int, 2> ends{};
    checked(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()), "socketpair");
    const outcome result = flow(
        count, [&] { checked(send(ends[0], record.data(), record.size(), 0), "send"); },
        [&] { checked(recv(ends[1], received.data(), received.size(), 0), "recv"); });
    close(ends[0]);
    close(ends[1]);
    return result;
}

void throughput(std::size_t size, int count) {
    std::vector<contender> contenders{
        {"post_message, get_message", [=] { return ours(size, count); }},
        {"pipe: lock, write, unlock; read", [=] { return bare_pipe(size, count, true); }},
        {"pipe: write; read (no lock)", [=] { return bare_pipe(size, count, false); }},
        {"AF_UNIX SOCK_SEQPACKET", [=] { return seqpacket(size, count); }}};
    const mqd_t queue = new_message_queue(size);
    if (queue >= 0) {
        mq_close(queue);
        contenders.push_back({"POSIX message queue", [=] { return message_queue(size, count); }});
    }
    compare({"Queue, records of " + std::to_string(size) + " bytes, " + std::to_string(count) + " per round",
             "records per second", 41, "pipe: lock, write, unlock; read", 90, "CPU us/rec."},
            contenders);
    if (queue < 0) {
        std::puts("  (POSIX message queues do not take messages of this size here: fs.mqueue.msgsize_max)");
    }
}

/// A reader without any writer: processor time of an idle second, and how soon a record is picked up.
void idle_reader() {
    const test::scratch_folder folder;
    const std::string path = folder.file("queue");
    checked(mkfifo(path.c_str(), 0600), "mkfifo");
    const int fd = static_cast<int>(checked(open(path.c_str(), O_RDONLY | O_NONBLOCK), "open"));
    close(static_cast<int>(checked(open(path.c_str(), O_WRONLY), "open")));
    constexpr int samples = 41;
    constexpr int pause = 101'000; // microseconds: reaches the longest pause of the reader
    const pid_t writer = start_process([&] {
        buffer record = record_of(QUEUE_MESSAGE_HEADER_SIZE);
        for (int i = 0; i < samples; ++i) {
            usleep(pause + i * 250); // at any phase of the pauses
            const double sent = now();
            std::memcpy(record.data(), &sent, sizeof sent);
            checked(post_message_to_named_queue(reinterpret_cast<const queue_message *>(record.data()),
                                                path.c_str()),
                    "post");
        }
    });
    std::vector<double> latencies;
    const double processor = processor_seconds();
    const double before = now();
    for (int i = 0; i < samples; ++i) {
        buffer record(QUEUE_MESSAGE_HEADER_SIZE);
        checked(get_message(record.data(), fd, -1), "get_message");
        double sent = 0;
        std::memcpy(&sent, record.data(), sizeof sent);
        latencies.push_back((now() - sent) * 1e3);
    }
    const double per_second = (processor_seconds() - processor) / (now() - before);
    finish_process(writer);
    close(fd);
    std::printf("\nQueue, reader waiting at the end of the file (no writer has the pipe open)\n"
                "  processor time per idle second %.2f ms; record picked up after %.2f ms (median), %.2f ms "
                "(longest of %d)\n",
                per_second * 1e3, median(latencies), *std::max_element(latencies.begin(), latencies.end()),
                samples);
    std::fflush(stdout);
}

} // namespace

void queues() {
    throughput(64, 20'000);
    throughput(1024, 15'000);
    throughput(61'440, 1'500);
    idle_reader();
}

} // namespace varnel::bench
