// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/record_pipe.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include "tools/varnel/commands.h"
#include "tools/varnel/library_output.h"
#include "varnel/message.h"

namespace varnel::tools {

namespace {

constexpr std::size_t own_header_size = sizeof(queue_message::header);

uint32_t payload_length(const uint8_t *record) {
    uint32_t length = 0;
    std::memcpy(&length, record + own_header_size, sizeof length);
    return length;
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
        return O_RDWR; // never at the end of file while writers come and go
    }
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
    if (!opened && errno == ENXIO) {
        throw no_reader(path);
    }
    if (!opened) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return opened;
}

/// A pipe of this process, with as much room as another one.
struct private_pipe {
    explicit private_pipe(int like) {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe");
        }
        out = descriptor(ends[0]);
        in = descriptor(ends[1]);
        fcntl(in.get(), F_SETPIPE_SZ, fcntl(like, F_GETPIPE_SZ));
    }
    descriptor out;
    descriptor in;
};

/// Copies what stands at the beginning of a pipe and leaves it there: tee(2).
std::size_t look(int pipe, const private_pipe &copy, std::size_t most) {
    const ssize_t n = tee(pipe, copy.in.get(), most, SPLICE_F_NONBLOCK);
    return n > 0 ? static_cast<std::size_t>(n) : 0;
}

std::vector<uint8_t> copy_of(int pipe) {
    const private_pipe copy(pipe);
    int size = 0;
    ioctl(pipe, FIONREAD, &size);
    std::vector<uint8_t> bytes(size > 0 ? look(pipe, copy, static_cast<std::size_t>(size)) : 0);
    if (!bytes.empty() && read(copy.out.get(), bytes.data(), bytes.size()) < 0) {
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
    if (!file) {
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
    return count_records(path, copy_of(open_pipe(path, O_RDONLY | O_NONBLOCK).get()));
}

queue_record::queue_record(const std::string &header, const std::string &payload) {
    if (header.size() > own_header_size) {
        throw bad_usage(fmt::format("header of {} bytes; a record has {}", header.size(), own_header_size));
    }
    if (payload.size() > QUEUE_MESSAGE_PAYLOAD_MAX) {
        throw bad_usage(fmt::format("payload of {} bytes; a record takes {}", payload.size(),
                                    static_cast<int>(QUEUE_MESSAGE_PAYLOAD_MAX)));
    }
    const auto length = static_cast<uint32_t>(payload.size());
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

/// Looks before the library reads: it believes whatever length a record claims, and would store that much.
uint32_t record_pipe::next_payload_length() const {
    const private_pipe copy(pipe_.get());
    std::array<uint8_t, QUEUE_MESSAGE_HEADER_SIZE> begin{};
    while (look(pipe_.get(), copy, begin.size()) < begin.size()) {
        // The writer is about to complete it: no call waits for a number of bytes.
        int some = 0;
        ioctl(copy.out.get(), FIONREAD, &some);
        if (some > 0 && ::read(copy.out.get(), begin.data(), static_cast<std::size_t>(some)) != some) {
            throw std::system_error(errno, std::generic_category(), path_);
        }
        poll(nullptr, 0, 1);
    }
    if (::read(copy.out.get(), begin.data(), begin.size()) != static_cast<ssize_t>(begin.size())) {
        throw std::system_error(errno, std::generic_category(), path_);
    }
    return payload_length(begin.data());
}

std::optional<queue_record> record_pipe::read(std::optional<std::chrono::milliseconds> wait) const {
    pollfd arrival{pipe_.get(), POLLIN, 0};
    if (poll(&arrival, 1, wait ? static_cast<int>(wait->count()) : -1) == 0) {
        return std::nullopt;
    }
    const std::size_t length = checked_length(path_, next_payload_length());
    std::vector<uint8_t> record(QUEUE_MESSAGE_HEADER_SIZE + length);
    const quiet_library quiet;
    if (get_message(record.data(), pipe_.get(), -1) != 0) {
        throw std::system_error(errno, std::generic_category(), path_);
    }
    return queue_record(std::move(record));
}

std::size_t record_pipe::waiting() const {
    int bytes = 0;
    ioctl(pipe_.get(), FIONREAD, &bytes);
    return static_cast<std::size_t>(bytes);
}

} // namespace varnel::tools
