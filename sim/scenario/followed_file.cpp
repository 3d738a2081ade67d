// SPDX-License-Identifier: Apache-2.0
#include "sim/scenario/followed_file.h"

#include <array>
#include <cerrno>
#include <fstream>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "varnel/message.h"

namespace varnel::sim::scenario {

namespace {

constexpr std::size_t length_size = 4;

/// The size of the record at the beginning of some bytes; 0 when they are too few to tell.
std::size_t size_of_record(const std::string &bytes) {
    if (bytes.size() < QUEUE_MESSAGE_HEADER_SIZE) {
        return 0;
    }
    std::size_t payload = 0;
    for (std::size_t i = 0; i < length_size; ++i) {
        const char byte = bytes[QUEUE_MESSAGE_HEADER_SIZE - length_size + i];
        payload |= static_cast<std::size_t>(static_cast<unsigned char>(byte)) << (8 * i);
    }
    return QUEUE_MESSAGE_HEADER_SIZE + payload;
}

} // namespace

void followed_log::look() {
    std::ifstream file(path_, std::ios::binary | std::ios::ate);
    if (!file) {
        return;
    }
    if (static_cast<std::size_t>(file.tellg()) < read_) {
        read_ = 0;
    }
    file.seekg(static_cast<std::streamoff>(read_));
    for (std::string line; std::getline(file, line) && !file.eof();) {
        read_ += line.size() + 1;
        lines_.add(std::move(line));
    }
}

/// For both directions: so there is always a reader, and never the end of the file.
followed_queue::followed_queue(const std::string &path) {
    if (mkfifo(path.c_str(), 0600) != 0 && errno != EEXIST) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    pipe_ = host::descriptor(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (!pipe_.is_open()) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

void followed_queue::look() {
    std::array<char, 4096> buffer{};
    for (ssize_t size = 0; (size = read(pipe_.get(), buffer.data(), buffer.size())) > 0;) {
        unfinished_.append(buffer.data(), static_cast<std::size_t>(size));
    }
    for (std::size_t size = 0; (size = size_of_record(unfinished_)) != 0 && size <= unfinished_.size();) {
        lines_.add(unfinished_.substr(QUEUE_MESSAGE_HEADER_SIZE, size - QUEUE_MESSAGE_HEADER_SIZE));
        unfinished_.erase(0, size);
    }
}

} // namespace varnel::sim::scenario
