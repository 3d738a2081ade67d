// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/record_pipe.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <endian.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include "host/pipe_ends.h"
#include "tools/varnel/commands.h"
#include "tools/varnel/library_output.h"
#include "varnel/message.h"

namespace varnel::tools {

namespace {

constexpr std::size_t own_header_size = sizeof(queue_message::header);
/// Of a pipe: room for the largest record even when each of its pages is only half used.
constexpr int ample_pipe_size = 131072;
constexpr const char *another_reader = ": another process reads it, too: the queue may be out of step";

uint32_t payload_length(const uint8_t *record) {
    uint32_t length = 0;
    std::memcpy(&length, record + own_header_size, sizeof length);
    return le32toh(length);
}

class no_reader : public failed {
  public:
    explicit no_reader(const std::string &path)
        : failed(fmt::format("{}: no process has it open for reading", path)) {}
};

std::size_t checked_length(const std::string &path, uint32_t length) {
    if (length > QUEUE_MESSAGE_PAYLOAD_MAX) {
        throw failed(fmt::format("{}: out of step: a record with a payload of {} bytes", path, length));
    }
    return length;
}

int open_flags(record_pipe::use purpose) {
    switch (purpose) {
    case record_pipe::use::post:
        return O_WRONLY;
    case record_pipe::use::post_without_waiting:
        return O_WRONLY | O_NONBLOCK;
    default:
        return O_RDWR | O_NONBLOCK; // never at the end of file while writers come and go
    }
}

/// Whether another process has the lock that writers hold around their writes, and keep while they wait for
/// room. The library has no call that asks for it without waiting.
bool is_locked(int pipe) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    return fcntl(pipe, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

mode_t type_of(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return status.st_mode & S_IFMT;
}

descriptor open_pipe(const std::string &path, int flags) {
    check_pipe(path);
    descriptor opened(open(path.c_str(), flags | O_CLOEXEC));
    if (!opened.is_open() && errno == ENXIO) {
        throw no_reader(path);
    }
    if (!opened.is_open()) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return opened;
}

/// A pipe of this process, with as much room as another one.
host::pipe_ends private_pipe(int like) {
    host::pipe_ends made = host::make_pipe();
    fcntl(made.writing.get(), F_SETPIPE_SZ, fcntl(like, F_GETPIPE_SZ));
    return made;
}

/// Copies what is at the beginning of a pipe and leaves it there: tee(2).
std::size_t look(int pipe, const host::pipe_ends &copy, std::size_t most) {
    const ssize_t n = tee(pipe, copy.writing.get(), most, SPLICE_F_NONBLOCK);
    return n > 0 ? static_cast<std::size_t>(n) : 0;
}

std::size_t bytes_in(int pipe) {
    int size = 0;
    ioctl(pipe, FIONREAD, &size);
    return static_cast<std::size_t>(size);
}

/// Up to `most` bytes from the beginning of a pipe, which stay there.
std::vector<uint8_t> first_bytes(int pipe, std::size_t most) {
    const host::pipe_ends copy = private_pipe(pipe);
    std::vector<uint8_t> bytes(most > 0 ? look(pipe, copy, most) : 0);
    if (!bytes.empty() &&
        read(copy.reading.get(), bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    return bytes;
}

queue_content count_records(const std::string &path, const std::vector<uint8_t> &bytes) {
    std::size_t records = 0;
    std::size_t place = 0;
    while (bytes.size() - place >= QUEUE_MESSAGE_HEADER_SIZE) {
        const std::size_t length = checked_length(path, payload_length(bytes.data() + place));
        if (bytes.size() - place - QUEUE_MESSAGE_HEADER_SIZE < length) {
            break;
        }
        place += QUEUE_MESSAGE_HEADER_SIZE + length;
        ++records;
    }
    return {records, bytes.size()};
}

/// A queue kept in a file, where the library's own estimate means something.
queue_content count_in_file(const std::string &path) {
    const descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.is_open()) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    struct stat status {};
    fstat(file.get(), &status);
    const quiet_library quiet;
    return {static_cast<std::size_t>(message_number_in_queue(file.get())),
            static_cast<std::size_t>(status.st_size)};
}

} // namespace

queue_content count_queue(const std::string &path) {
    if (type_of(path) == S_IFREG) {
        return count_in_file(path);
    }
    // Without a reader there is nothing in it, and to open it for reading would wake writers that wait for
    // one.
    if (!has_reader(path)) {
        return {0, 0};
    }
    const descriptor pipe = open_pipe(path, O_RDONLY | O_NONBLOCK);
    return count_records(path, first_bytes(pipe.get(), bytes_in(pipe.get())));
}

queue_record::queue_record(const std::string &header, const std::string &payload) {
    if (header.size() > own_header_size) {
        throw bad_usage(fmt::format("header of {} bytes; a record has {}", header.size(), own_header_size));
    }
    if (payload.size() > QUEUE_MESSAGE_PAYLOAD_MAX) {
        throw bad_usage(fmt::format("payload of {} bytes; a record takes {}", payload.size(),
                                    static_cast<int>(QUEUE_MESSAGE_PAYLOAD_MAX)));
    }
    const uint32_t length = htole32(static_cast<uint32_t>(payload.size()));
    bytes_.resize(QUEUE_MESSAGE_HEADER_SIZE + payload.size());
    std::ranges::copy(header, bytes_.begin());
    std::memcpy(bytes_.data() + own_header_size, &length, sizeof length);
    std::ranges::copy(payload, bytes_.begin() + QUEUE_MESSAGE_HEADER_SIZE);
}

std::string queue_record::header() const { return {bytes_.begin(), bytes_.begin() + own_header_size}; }

std::string queue_record::payload() const {
    return {bytes_.begin() + QUEUE_MESSAGE_HEADER_SIZE, bytes_.end()};
}

void check_pipe(const std::string &path) {
    if (type_of(path) != S_IFIFO) {
        throw failed(fmt::format("{}: not a named pipe (mkfifo makes one)", path));
    }
}

bool has_reader(const std::string &path) {
    try {
        const descriptor somebody = open_pipe(path, O_WRONLY | O_NONBLOCK);
        return true;
    } catch (const no_reader &) {
        return false;
    }
}

record_pipe::record_pipe(std::string path, use purpose)
    : path_(std::move(path)), purpose_(purpose), pipe_(open_pipe(path_, open_flags(purpose))) {}

void record_pipe::post(const queue_record &record) const {
    // Records need no alignment: the library copies what it looks at.
    const auto *const message = reinterpret_cast<const queue_message *>(record.bytes().data());
    const bool waits = purpose_ == use::post;
    if (!waits && is_locked(pipe_.get())) {
        throw failed(fmt::format("{}: another process is posting", path_));
    }
    const quiet_library quiet;
    errno = 0;
    const int result =
        waits ? post_message(message, pipe_.get()) : post_message_non_block(message, pipe_.get());
    if (result == 0) {
        return;
    }
    switch (errno) {
    case 0:
        throw failed(fmt::format("{}: only a part of the record fitted; the queue is out of step", path_));
    case EAGAIN:
        throw failed(fmt::format("{}: full", path_));
    case EPIPE:
        throw no_reader(path_);
    default:
        throw std::system_error(errno, std::generic_category(), path_);
    }
}

/// The size of the record that begins in the pipe; nothing while its header is not complete.
std::optional<std::size_t> record_pipe::next_size() const {
    const std::vector<uint8_t> header = first_bytes(pipe_.get(), QUEUE_MESSAGE_HEADER_SIZE);
    return header.size() < QUEUE_MESSAGE_HEADER_SIZE
               ? std::nullopt
               : std::optional(QUEUE_MESSAGE_HEADER_SIZE +
                               checked_length(path_, payload_length(header.data())));
}

/// A pipe may be smaller than the record that a writer is putting into it.
void record_pipe::ensure_room() const {
    pollfd room{pipe_.get(), POLLOUT, 0};
    const bool full = poll(&room, 1, 0) == 0;
    if (full && fcntl(pipe_.get(), F_SETPIPE_SZ, ample_pipe_size) < 0) {
        throw std::system_error(errno, std::generic_category(), path_ + ": smaller than its record");
    }
}

void record_pipe::wait_for_more(std::chrono::milliseconds most) const {
    if (waiting() == 0) {
        pollfd arrival{pipe_.get(), POLLIN, 0};
        poll(&arrival, 1, static_cast<int>(most.count()));
        return;
    }
    ensure_room();
    poll(nullptr, 0, 1); // no call waits for a number of bytes
}

std::optional<queue_record> record_pipe::next(std::optional<std::chrono::milliseconds> wait) const {
    using std::chrono::steady_clock;
    const auto end = steady_clock::now() + wait.value_or(std::chrono::hours(24));
    auto size = next_size();
    while (!size || waiting() < *size) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now());
        if (wait && left.count() <= 0) {
            if (const std::size_t part = waiting(); part > 0) {
                throw failed(fmt::format("{}: only {} bytes of a record", path_, part));
            }
            return std::nullopt;
        }
        wait_for_more(wait ? left : std::chrono::hours(24));
        size = next_size();
    }
    std::vector<uint8_t> record = first_bytes(pipe_.get(), *size);
    if (record.size() != *size) {
        throw failed(path_ + another_reader);
    }
    return queue_record(std::move(record));
}

void record_pipe::remove(const queue_record &record) const {
    std::vector<uint8_t> removed(record.bytes().size());
    const ssize_t n = ::read(pipe_.get(), removed.data(), removed.size()); // one call: whole, or nothing
    if (n != static_cast<ssize_t>(removed.size()) || removed != record.bytes()) {
        throw failed(path_ + another_reader);
    }
}

std::size_t record_pipe::waiting() const { return bytes_in(pipe_.get()); }

} // namespace varnel::tools
