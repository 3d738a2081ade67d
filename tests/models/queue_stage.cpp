// SPDX-License-Identifier: Apache-2.0
#include "models/stages.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <stdexcept>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/scratch_folder.h"
#include "support/shared_value.h"
#include "varnel/message.h"

namespace varnel::models {

namespace {

constexpr std::size_t unit = 4096; // PIPE_BUF
constexpr int room = 2 * unit;
constexpr int receiver = 3;
constexpr int next_receiver = 4;
constexpr uint8_t mixed = 0xFF;

using record = std::vector<uint8_t>;

constexpr std::size_t length_offset = offsetof(queue_message, payload_len);

uint32_t length_of(const record &bytes) {
    uint32_t length = 0;
    std::memcpy(&length, &bytes[length_offset], sizeof length);
    return length;
}

/// All bytes but the length are the poster's mark. Four of them are a negative length: who reads on within a record returns
/// at once.
constexpr uint8_t mark_of(int poster) { return static_cast<uint8_t>(0xF0 + poster); }

record marked(uint8_t mark, std::size_t units) {
    record bytes(units * unit, mark);
    const auto length = static_cast<uint32_t>(bytes.size() - QUEUE_MESSAGE_HEADER_SIZE);
    std::memcpy(&bytes[length_offset], &length, sizeof length);
    return bytes;
}

/// The poster's mark, or `mixed`.
uint8_t origin_of(record bytes) {
    bytes.resize(std::min<std::size_t>(bytes.size(), QUEUE_MESSAGE_HEADER_SIZE + length_of(bytes)));
    const std::size_t units = bytes.size() / unit;
    return units > 0 && bytes == marked(bytes[0], units) ? bytes[0] : mixed;
}

class queue_objects {
  public:
    queue_objects() {
        if (mkfifo(path_.c_str(), 0600) != 0 || (to_read_ = open(path_.c_str(), O_RDWR)) == -1 ||
            (to_write_ = open(path_.c_str(), O_WRONLY)) == -1 ||
            fcntl(to_read_, F_SETPIPE_SZ, room) != room) {
            throw std::runtime_error("cannot create " + path_);
        }
    }

    /// FUNCTION:UNITS
    long perform(int actor, const std::string &function) const {
        const auto colon = function.find(':');
        const std::string name = function.substr(0, colon);
        if (name == "get_message") {
            return receive();
        }
        const record bytes =
            marked(mark_of(actor), static_cast<std::size_t>(std::stoi(function.substr(colon + 1))));
        const auto *message = reinterpret_cast<const queue_message *>(bytes.data());
        if (name == "post_message_to_named_queue") {
            return post_message_to_named_queue(message, path_.c_str()) == 0 ? 0 : failed;
        }
        const auto post = name == "post_message" ? post_message : post_message_non_block;
        return post(message, to_write_) == 0 ? 0 : failed;
    }

    void enter(int actor) const {
        if (actor < receiver) {
            (*processes_)[static_cast<std::size_t>(actor / 2)] = getpid();
        }
    }

    /// "record of pN", "record mixed", "descriptors of p0 run out"
    std::string observe(const words &line) const {
        if (line.at(0) == "descriptors") {
            const rlimit none{0, 0};
            prlimit(processes_->at(0), RLIMIT_NOFILE, &none, nullptr);
            return "descriptors of p0 run out";
        }
        return *received_ == mixed ? "record mixed" : "record of p" + std::to_string(*received_ - mark_of(0));
    }

  private:
    static constexpr long failed = -1000; // by no error in particular: a short write leaves errno

    long receive() const {
        record bytes(8 * unit);
        const int result = get_message(bytes.data(), to_read_, -1);
        *received_ = origin_of(bytes);
        return result;
    }

    test::scratch_folder folder_;
    std::string path_ = folder_.file("queue");
    int to_read_ = -1;  // O_RDWR: the pipe always has a reader and a writer
    int to_write_ = -1; // shared by all posters
    test::shared_value<uint8_t> received_;
    test::shared_value<std::array<pid_t, 2>> processes_;
};

} // namespace

stage queue_stage() {
    const auto objects = std::make_shared<queue_objects>();
    return {
        {{0, 1}, {2}, {receiver}, {next_receiver}},
        [objects](int actor) {
            objects->enter(actor);
            return [=](const std::string &function) { return objects->perform(actor, function); };
        },
        [objects](const words &line) { return objects->observe(line); },
    };
}

} // namespace varnel::models
