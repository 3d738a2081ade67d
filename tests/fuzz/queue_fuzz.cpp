// SPDX-License-Identifier: Apache-2.0
// A queue with any bytes, written or posted in any pieces while the reader waits. The reader must return the
// bytes of the queue and must not write past the record. The command `varnel queue` reads the same queues.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <fuzzer/FuzzedDataProvider.h>

#include "require.h"
#include "support/interposed.h"
#include "tools/varnel/commands.h"
#include "tools/varnel/record_pipe.h"
#include "varnel/message.h"

namespace {

using varnel::test::interposed;
using varnel::test::require;
using namespace varnel::tools;

constexpr std::size_t header_size = QUEUE_MESSAGE_HEADER_SIZE;
constexpr std::size_t length_offset = offsetof(queue_message, payload_len);
constexpr std::size_t most_bytes = 200'000;
constexpr std::size_t most_records = 20; // for the command, which makes many system calls for each
constexpr int room = 1 << 20;            // of the pipe: enough for all pieces
constexpr char old_byte = '~';

interposed<int(pollfd *, nfds_t, int)> poll_call("poll");
std::function<void()> while_waiting; ///< called instead of waiting when the reader under test pauses

} // namespace

extern "C" int poll(pollfd *fds, nfds_t count, int milliseconds) {
    if (!while_waiting) {
        return poll_call(fds, count, milliseconds);
    }
    while_waiting();
    return 0;
}

namespace {

int32_t length_in(std::string_view record) {
    int32_t length = 0;
    std::memcpy(&length, record.data() + length_offset, sizeof length);
    return length;
}

// --- Writers ---

enum class way { write, post, post_without_waiting, post_by_name };

struct piece {
    std::string memory;
    std::size_t size; ///< how many bytes are written to the pipe
    way how;
};

/// A record that begins with these bytes, padded with zeros. Posting computes its size in 16 bits.
piece record_from(std::string bytes, way how) {
    const auto size = static_cast<uint16_t>(static_cast<uint32_t>(length_in(bytes)) + header_size);
    bytes.resize(std::max<std::size_t>(size, header_size));
    return {std::move(bytes), size, how};
}

std::vector<piece> pieces_of(const std::string &stream, way how, std::size_t size) {
    std::vector<piece> pieces;
    std::size_t total = 0;
    for (std::size_t at = 0; at < stream.size() && total < most_bytes;) {
        if (how == way::write || stream.size() - at < header_size) {
            pieces.push_back({stream.substr(at, size), std::min(size, stream.size() - at), way::write});
        } else {
            pieces.push_back(record_from(stream.substr(at), how));
        }
        at += pieces.back().memory.size();
        total += pieces.back().size;
    }
    return pieces;
}

std::string all_of(const std::vector<piece> &pieces) {
    std::string bytes;
    for (const piece &each : pieces) {
        bytes.append(each.memory, 0, each.size);
    }
    return bytes;
}

class queue {
  public:
    queue(std::vector<piece> pieces, bool writer_stays) : pieces_(std::move(pieces)) {
        std::array<int, 2> ends{};
        require(pipe2(ends.data(), O_CLOEXEC) == 0, "pipe");
        out_ = ends[0];
        in_ = ends[1];
        require(fcntl(in_, F_SETPIPE_SZ, room) >= room, "F_SETPIPE_SZ");
        if (writer_stays) {
            fcntl(out_, F_SETFL, O_NONBLOCK); // reading an empty pipe must return
        } else {
            close(std::exchange(in_, -1));
        }
    }
    ~queue() {
        close(in_);
        close(out_);
    }
    queue(const queue &) = delete;
    queue &operator=(const queue &) = delete;

    [[nodiscard]] int out() const { return out_; }
    [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(out_); }
    [[nodiscard]] bool is_empty() const {
        int waiting = 0;
        ioctl(out_, FIONREAD, &waiting);
        return waiting == 0;
    }
    /// Whether a reader would wait for a writer that never comes.
    [[nodiscard]] bool is_waited_for() const { return in_ >= 0 && is_empty() && !is_folder_; }

    /// Writes the next piece. After the last one the queue becomes a folder, which cannot be read; otherwise
    /// the reader would wait for ever.
    void write_next() {
        if (next_ < pieces_.size()) {
            put(pieces_[next_++]);
        } else {
            const int folder = open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            dup2(folder, out_);
            close(folder);
            is_folder_ = true;
        }
    }
    void put_all() {
        while (next_ < pieces_.size()) {
            put(pieces_[next_++]);
        }
    }

  private:
    void put(const piece &next) const {
        const auto *const message = reinterpret_cast<const queue_message *>(next.memory.data());
        if (next.how == way::post_by_name) {
            require(post_message_to_named_queue(message, path().c_str()) == 0, "post by name succeeds");
            return;
        }
        const int in = open(path().c_str(), O_WRONLY | O_CLOEXEC);
        if (next.how == way::write) {
            require(write(in, message, next.size) == static_cast<ssize_t>(next.size), "write");
        } else {
            const auto post = next.how == way::post ? post_message : post_message_non_block;
            require(post(message, in) == 0, "post");
        }
        close(in);
    }

    std::vector<piece> pieces_;
    std::size_t next_ = 0;
    bool is_folder_ = false;
    int out_ = -1;
    int in_ = -1;
};

// --- Readers ---

/// The content of a buffer after receiving; of an incomplete record, the bytes that arrived.
std::string received(std::string_view stream) {
    std::string buffer(header_size, old_byte);
    buffer.replace(0, std::min(header_size, stream.size()), stream.substr(0, header_size));
    const int32_t length = length_in(buffer);
    if (stream.size() > header_size && length > 0) {
        buffer += stream.substr(header_size, static_cast<std::size_t>(length));
    }
    return buffer;
}

void read_by_library(queue &queue, std::string_view stream, int16_t timeout) {
    while_waiting = [&queue] { queue.write_next(); };
    while (!stream.empty()) {
        while (queue.is_empty()) {
            queue.write_next();
        }
        const std::string expected = received(stream);
        std::string buffer(expected.size(), old_byte);
        require(get_message(buffer.data(), queue.out(), timeout) == 0, "a record arrives");
        require(buffer == expected, "the record");
        stream.remove_prefix(std::min(expected.size(), stream.size()));
    }
    while_waiting = nullptr;
    if (queue.is_waited_for()) {
        std::string buffer(header_size, old_byte);
        require(get_message(buffer.data(), queue.out(), 0) == -1, "no record arrives without a writer");
        require(buffer == std::string(header_size, old_byte), "an empty queue leaves the buffer untouched");
    }
}

/// The number of complete records at the beginning; stops at a length that no record can have.
std::size_t whole_records(std::string_view stream, bool &desynchronised) {
    std::size_t count = 0;
    for (std::size_t at = 0; stream.size() - at >= header_size; ++count) {
        const auto length = static_cast<uint32_t>(length_in(stream.substr(at, header_size)));
        desynchronised = length > QUEUE_MESSAGE_PAYLOAD_MAX;
        if (desynchronised || stream.size() - at - header_size < length) {
            return count;
        }
        at += header_size + length;
    }
    return count;
}

void read_by_command(queue &queue, std::string_view stream) {
    queue.put_all();
    bool desynchronised = false;
    const std::size_t records = whole_records(stream, desynchronised);
    try {
        const queue_content content = count_queue(queue.path());
        require(!desynchronised, "a desynchronised queue is refused");
        require(content.bytes == stream.size() && content.records == records, "what waits");
    } catch (const failed &) {
        require(desynchronised, "a synchronised queue can be counted");
    }
    const record_pipe pipe(queue.path(), record_pipe::use::read);
    for (std::size_t i = 0; i < std::min(records, most_records); ++i) {
        const auto record = pipe.next(std::chrono::milliseconds(0));
        const std::string expected = received(stream);
        require(record && std::ranges::equal(record->bytes(), expected,
                                             [](uint8_t a, char b) { return a == static_cast<uint8_t>(b); }),
                "the command's record");
        pipe.remove(*record);
        stream.remove_prefix(expected.size());
    }
    require(pipe.waiting() == stream.size(), "the rest waits");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    // Numbers come from the end of the input, the stream from its beginning.
    const way how =
        input.PickValueInArray({way::write, way::post, way::post_without_waiting, way::post_by_name});
    const auto piece_size = input.PickValueInArray<std::size_t>({65536, 1, 40, 44, 45, 100});
    const bool writer_stays = input.ConsumeBool();
    const auto timeout = input.PickValueInArray<int16_t>({-1, 0, 1});
    const bool by_command = input.ConsumeBool();
    const std::vector<piece> pieces = pieces_of(input.ConsumeRemainingBytesAsString(), how, piece_size);
    const std::string stream = all_of(pieces);
    queue queue(pieces, writer_stays);
    if (by_command) {
        read_by_command(queue, stream);
    } else {
        read_by_library(queue, stream, timeout);
    }
    return 0;
}
