// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <list>
#include <span>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/types.h>

#include "sim/protocol/channel.h"
#include "sim/protocol/meeting_point.h"

namespace varnel::sim::device_files {

/// An open GPIO chip, or lines that were requested from it. Programs have the reading end of a pipe, into which events
/// go; so read(2) and poll(2) are the kernel's. The writing end has an error when the last reader has closed.
class open_gpio {
  public:
    /// `to_server` is a connection for this file only. Throws std::exception when the server does not accept it.
    open_gpio(unsigned int chip, pid_t opener, descriptor our_end, channel to_server);

    [[nodiscard]] unsigned int chip() const { return chip_; }
    [[nodiscard]] const std::string &programs_end() const { return object_; }
    [[nodiscard]] int our_end() const { return our_end_.get(); }
    /// Becomes readable when there are events; -1 when the server has ended.
    [[nodiscard]] int link() const { return ended_ ? -1 : to_server_.get(); }
    /// Whether these are lines that were requested.
    [[nodiscard]] bool has_lines() const { return has_lines_; }

    /// Whether the chip could be opened: 0 or a negative errno.
    [[nodiscard]] int opened() const { return opened_; }
    /// Performs a request for a thread. `data` is the structure that the program gave, empty when it cannot be read,
    /// and then the one that it gets. Returns 0 or a negative errno. Throws std::exception when the server has ended.
    [[nodiscard]] int ioctl(pid_t thread, uint32_t request, std::vector<uint8_t> &data);
    /// Gives the program the events that are there.
    void forward_events();
    /// Returns when nobody uses the chip or its lines through this file any more.
    void close();

  private:
    [[nodiscard]] nlohmann::ordered_json control(const nlohmann::ordered_json &command);
    [[nodiscard]] std::vector<uint8_t> receive_reply();
    bool take_event(std::span<const uint8_t> message);

    unsigned int chip_;
    descriptor our_end_;
    std::string object_; ///< the pipe, as /proc names it
    channel to_server_;
    int opened_ = 0;
    bool has_lines_ = false;
    bool ended_ = false;
};

/// Whether a request of linux/gpio.h makes a file of lines.
[[nodiscard]] bool requests_lines(uint32_t request);

/// The open GPIO files of a board.
class open_gpios {
  public:
    explicit open_gpios(meeting_point board) : board_(std::move(board)) {}

    struct opened {
        open_gpio &file;
        descriptor programs_end;
    };
    /// Opens a chip for a thread. Throws std::exception when there are no more descriptors, or the board has ended.
    [[nodiscard]] opened open(unsigned int chip, pid_t thread);
    /// The file whose end in programs is this pipe, as /proc names it; null when there is none.
    [[nodiscard]] open_gpio *find(const std::string &pipe);
    void forward_events();
    /// What is to be watched: our ends, and connections to the server.
    void add_watched(std::vector<pollfd> &watched) const;
    /// Looks after what poll(2) found at one of these. Returns whether it is one of ours.
    void attend(const pollfd &seen);
    void forget(const open_gpio &file);

  private:
    meeting_point board_;
    std::list<open_gpio> files_ = {};
};

} // namespace varnel::sim::device_files
