// SPDX-License-Identifier: Apache-2.0
// Sending records from one process to another: ours, the bare system calls on the same pipe, and other queues
// of the system.
#include <array>
#include <cstdint>
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
#include "support/processes.h"
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

constexpr const char *locked_pipe = "pipe: lock, write, unlock; read";

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

/// The result of one round: records per second, and processor microseconds of all processes for a record.
using outcome = std::vector<double>;

/// Records to pass, written in equal shares by `writers` processes at the same time.
struct load {
    std::size_t size;
    int records;
    int writers = 1;
};

std::vector<pid_t> start_writers(const load &work, const std::array<int, 2> &start,
                                 const std::function<void()> &write_one) {
    std::vector<pid_t> writers;
    writers.reserve(static_cast<std::size_t>(work.writers));
    for (int i = 0; i < work.writers; ++i) {
        writers.push_back(start_process([&] {
            close(start[1]);
            char nothing = 0;
            checked(read(start[0], &nothing, 1), "read"); // until all other ends are closed
            for (int record = 0; record < work.records / work.writers; ++record) {
                write_one();
            }
        }));
    }
    return writers;
}

/// Passes the records from the writers to this process.
outcome flow(const load &work, const std::function<void()> &write_one,
             const std::function<void()> &read_one) {
    std::array<int, 2> start{};
    checked(pipe(start.data()), "pipe");
    const std::vector<pid_t> writers = start_writers(work, start, write_one);
    const double processor = processor_seconds();
    const double before = now();
    close(start[1]);
    for (int i = 0; i < work.records; ++i) {
        read_one();
    }
    const double seconds = now() - before;
    double used = processor_seconds() - processor;
    for (const pid_t writer : writers) {
        used += finish_process(writer);
    }
    close(start[0]);
    return {work.records / seconds, used / work.records * 1e6};
}

void read_exactly(int fd, buffer &bytes) {
    for (std::size_t got = 0; got < bytes.size();) {
        got += static_cast<std::size_t>(checked(read(fd, bytes.data() + got, bytes.size() - got), "read"));
    }
}

outcome ours(const load &work) {
    const fifo queue;
    const buffer record = record_of(work.size);
    buffer received(QUEUE_MESSAGE_RECORD_MAX);
    return flow(
        work,
        [&] {
            checked(post_message(reinterpret_cast<const queue_message *>(record.data()), queue.fd()), "post");
        },
        [&] { checked(get_message(received.data(), queue.fd(), -1), "get_message"); });
}

outcome bare_pipe(const load &work, bool locked) {
    const fifo queue;
    const buffer record = record_of(work.size);
    buffer received(work.size);
    return flow(
        work,
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

outcome message_queue(const load &work) {
    const buffer record = record_of(work.size);
    buffer received(work.size);
    const mqd_t queue = new_message_queue(work.size);
    checked(queue, "mq_open");
    const auto *bytes = reinterpret_cast<const char *>(record.data());
    outcome result = flow(
        work, [&] { checked(mq_send(queue, bytes, record.size(), 0), "mq_send"); },
        [&] {
            checked(mq_receive(queue, reinterpret_cast<char *>(received.data()), received.size(), nullptr),
                    "mq_receive");
        });
    mq_close(queue);
    return result;
}

outcome seqpacket(const load &work) {
    const buffer record = record_of(work.size);
    buffer received(work.size);
    std::array<int, 2> ends{};
    checked(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()), "socketpair");
    outcome result = flow(
        work, [&] { checked(send(ends[0], record.data(), record.size(), 0), "send"); },
        [&] { checked(recv(ends[1], received.data(), received.size(), 0), "recv"); });
    close(ends[0]);
    close(ends[1]);
    return result;
}

bool has_message_queue(std::size_t size) {
    const mqd_t queue = new_message_queue(size);
    if (queue >= 0) {
        mq_close(queue);
    }
    return queue >= 0;
}

std::vector<contender_of_several> contenders(const load &work) {
    std::vector<contender_of_several> all{
        {"post_message, get_message", role::ours, [=] { return ours(work); }},
        {"AF_UNIX SOCK_SEQPACKET", role::peer, [=] { return seqpacket(work); }},
        {locked_pipe, role::floor, [=] { return bare_pipe(work, true); }},
        {"pipe: write; read (no lock)", role::floor, [=] { return bare_pipe(work, false); }}};
    if (has_message_queue(work.size)) {
        all.insert(all.begin() + 2, {"POSIX message queue", role::peer, [=] { return message_queue(work); }});
    }
    return all;
}

void throughput(results &found, const load &work) {
    const std::string size = std::to_string(work.size);
    const std::string how =
        "One writing and one reading process, " + std::to_string(work.records) + " records a round." +
        (has_message_queue(work.size) ? ""
                                      : " POSIX message queues take no messages of this size here "
                                        "(fs.mqueue.msgsize_max).");
    const auto all = interleaved(41, 2, contenders(work));
    found.add({"queue." + size, "Records of " + size + " bytes", "records/s", better::higher, how, all[0],
               goal{0.9, locked_pipe}});
    found.add({"queue." + size + ".processor", "Processor time of a record of " + size + " bytes", "us",
               better::lower, "Both processes, including the kernel, in the same rounds.", all[1]});
}

/// For a reader while no process has the pipe open for writing: how soon it gets a record, and the cost of
/// waiting.
struct wait_cost {
    std::vector<double> pickup_milliseconds;
    double processor_per_second;
};

constexpr int idle_samples = 41;

void post_now_and_then(const std::string &path) {
    constexpr int pause = 101'000; // microseconds: long enough for the longest pause of the reader
    buffer record = record_of(QUEUE_MESSAGE_HEADER_SIZE);
    for (int i = 0; i < idle_samples; ++i) {
        usleep(pause + i * 250); // varies the phase of the pauses
        const double sent = now();
        std::memcpy(record.data(), &sent, sizeof sent);
        checked(
            post_message_to_named_queue(reinterpret_cast<const queue_message *>(record.data()), path.c_str()),
            "post");
    }
}

wait_cost wait_for_posts(int fd) {
    wait_cost result{};
    const double processor = processor_seconds();
    const double before = now();
    for (int i = 0; i < idle_samples; ++i) {
        buffer record(QUEUE_MESSAGE_HEADER_SIZE);
        checked(get_message(record.data(), fd, -1), "get_message");
        double sent = 0;
        std::memcpy(&sent, record.data(), sizeof sent);
        result.pickup_milliseconds.push_back((now() - sent) * 1e3);
    }
    result.processor_per_second = (processor_seconds() - processor) / (now() - before);
    return result;
}

} // namespace

void queues(results &found) {
    throughput(found, {64, 20'000});
    throughput(found, {1024, 15'000});
    throughput(found, {61'440, 1'500});
}

void queue_writers(results &found) {
    constexpr int records = 10'000;
    const std::vector<double> sizes{1, 10, 100, 1000};
    const auto milliseconds = [](const contender_of_several &who) {
        return [who] { return records / who.run().front() * 1e3; };
    };
    const auto lines = measured_growth(7, sizes, [&](std::size_t writers) {
        std::vector<contender> all;
        for (const contender_of_several &each : contenders({64, records, static_cast<int>(writers)})) {
            all.push_back({each.name, each.who, milliseconds(each)});
        }
        return all;
    });
    found.add(
        {"queue.writers", "Records from many writers at once", "writers", "ms",
         "Time for 10 000 records of 64 bytes to arrive in one reading process, written in equal shares by "
         "this many processes, all started at the same time.",
         sizes, lines});
}

void idle_queue(results &found) {
    const test::scratch_folder folder;
    const std::string path = folder.file("queue");
    checked(mkfifo(path.c_str(), 0600), "mkfifo");
    const int fd = static_cast<int>(checked(open(path.c_str(), O_RDONLY | O_NONBLOCK), "open"));
    close(static_cast<int>(checked(open(path.c_str(), O_WRONLY), "open")));
    const pid_t writer = start_process([&] { post_now_and_then(path); });
    const wait_cost found_here = wait_for_posts(fd);
    finish_process(writer);
    close(fd);
    found.add({"queue.idle",
               "Waiting while no process has the pipe open for writing",
               "ms/s",
               better::lower,
               "Processor time of the reader for each second of waiting: it polls every 10 ms. With a "
               "writer that keeps the pipe open it sleeps in the kernel.",
               {{"get_message", role::ours, {found_here.processor_per_second * 1e3}}}});
    found.add({"queue.pickup",
               "A record from a writer that opens the pipe, posts and closes it",
               "ms",
               better::lower,
               "From before the post until the waiting reader has the record.",
               {{"get_message", role::ours, found_here.pickup_milliseconds}}});
}

} // namespace varnel::bench
