// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/open_gpios.h"

#include <algorithm>
#include <exception>
#include <stdexcept>

#include <fcntl.h>
#include <fmt/format.h>
#include <linux/gpio.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "host/json.h"
#include "host/pipe_ends.h"
#include "sim/device_files/calling_process.h"
#include "sim/protocol/message.h"

namespace varnel::sim::device_files {

namespace {

bool readable(int file) {
    pollfd state{file, POLLIN, 0};
    return poll(&state, 1, 0) > 0;
}

std::size_t waiting_in(int pipe) {
    int bytes = 0;
    return ioctl(pipe, FIONREAD, &bytes) == 0 ? static_cast<std::size_t>(bytes) : 0;
}

/// Takes one structure out of a pipe, of which we have the writing end.
void drop_oldest(int pipe, std::size_t size) {
    const descriptor reading(
        open(fmt::format("/proc/self/fd/{}", pipe).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    std::vector<uint8_t> dropped(size);
    (void)!read(reading.get(), dropped.data(), dropped.size());
}

} // namespace

open_gpio::open_gpio(unsigned int chip, pid_t opener, descriptor our_end, channel to_server)
    : chip_(chip), our_end_(std::move(our_end)),
      object_(object_of(getpid(), static_cast<uint64_t>(our_end_.get()))), to_server_(std::move(to_server)) {
    opened_ = control({{"command", "open-gpio"}, {"chip", chip}, {"pid", process_of(opener)}}).at("result");
}

nlohmann::ordered_json open_gpio::control(const nlohmann::ordered_json &command) {
    to_server_.send(command);
    return parse_control(receive_reply());
}

/// The server's next message that is no event.
std::vector<uint8_t> open_gpio::receive_reply() {
    for (;;) {
        auto message = to_server_.receive();
        if (!take_event(message)) {
            if (message.empty()) {
                throw std::runtime_error("the board's server has ended");
            }
            return message;
        }
    }
}

/// Gives the program an event, if the message is one.
bool open_gpio::take_event(std::span<const uint8_t> message) {
    if (message.size() < gpio_event_header::size || message_kind{message[0]} != message_kind::gpio_event) {
        return false;
    }
    const gpio_event_header header = decode_gpio_event(message.data());
    const auto structure = message.subspan(gpio_event_header::size);
    if (waiting_in(our_end()) / structure.size() >= header.capacity) {
        if (!header.drops_oldest) {
            return true;
        }
        drop_oldest(our_end(), structure.size());
    }
    (void)!write(our_end(), structure.data(), structure.size());
    return true;
}

int open_gpio::ioctl(pid_t thread, uint32_t request, std::vector<uint8_t> &data) {
    to_server_.send(encode(gpio_header{message_kind::gpio, protocol_version, request, process_of(thread)}),
                    data);
    const std::vector<uint8_t> reply = receive_reply();
    if (reply.size() < reply_header::size || message_kind{reply[0]} != message_kind::reply) {
        throw std::runtime_error("malformed reply");
    }
    data.assign(reply.begin() + reply_header::size, reply.end());
    const int result = -decode_reply(reply.data()).error;
    has_lines_ = has_lines_ || (result == 0 && requests_lines(request));
    return result;
}

void open_gpio::forward_events() {
    while (!ended_ && readable(link())) {
        ended_ = !take_event(to_server_.receive());
    }
}

void open_gpio::close() {
    try {
        (void)control({{"command", "close-gpio"}});
    } catch (const std::exception &) {
        ended_ = true; // with the server, everything has been closed
    }
}

bool requests_lines(uint32_t request) {
    return request == GPIO_V2_GET_LINE_IOCTL || request == GPIO_GET_LINEHANDLE_IOCTL ||
           request == GPIO_GET_LINEEVENT_IOCTL;
}

open_gpios::opened open_gpios::open(unsigned int chip, pid_t thread) {
    host::pipe_ends pipe = host::make_pipe();
    fcntl(pipe.writing.get(), F_SETFL, O_NONBLOCK);
    open_gpio &file = files_.emplace_back(chip, thread, std::move(pipe.writing), channel(board_.connect()));
    return {file, std::move(pipe.reading)};
}

open_gpio *open_gpios::find(const std::string &pipe) {
    const auto found = std::ranges::find(files_, pipe, &open_gpio::programs_end);
    return found == files_.end() ? nullptr : &*found;
}

void open_gpios::forward_events() { std::ranges::for_each(files_, &open_gpio::forward_events); }

void open_gpios::add_watched(std::vector<pollfd> &watched) const {
    for (const open_gpio &file : files_) {
        watched.push_back({file.our_end(), 0, 0});
        watched.push_back({file.link(), POLLIN, 0});
    }
}

void open_gpios::attend(const pollfd &seen) {
    for (open_gpio &file : files_) {
        if (file.our_end() == seen.fd) {
            return forget(file);
        }
        if (file.link() == seen.fd) {
            return file.forward_events();
        }
    }
}

void open_gpios::forget(const open_gpio &file) {
    const auto found = std::ranges::find(files_, &file, [](const open_gpio &each) { return &each; });
    found->close();
    files_.erase(found);
}

} // namespace varnel::sim::device_files
