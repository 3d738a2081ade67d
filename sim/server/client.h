// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/json.h"
#include "sim/gpio/gpio_file.h"
#include "sim/protocol/channel.h"
#include "sim/server/trace_ring.h"

namespace varnel::sim {

/// A position in the trace, and what is still to be sent from there.
struct trace_reader {
    uint64_t next;
    std::optional<uint64_t> end = std::nullopt; ///< where to stop; nothing: never
};

enum class client_role {
    program, ///< calls I2C primitives
    run,     ///< waits for a program to end
    command, ///< looks, or changes something; the board does not stay on for it
};

/// A reply to a transfer that is not over yet on its bus.
struct delayed_reply {
    std::chrono::steady_clock::time_point due;
    std::vector<uint8_t> message;
};

/// A client that keeps the time of programs asks for its turn.
struct turn_request {
    uint64_t number;                               ///< the client's, for the reply
    std::optional<std::chrono::nanoseconds> until; ///< nothing: when somebody else has moved the time
    bool drives;                                   ///< time goes on for this client
};

/// A process that is connected to the server.
struct client {
    explicit client(descriptor socket);

    channel link;
    int pid;
    std::string process;
    client_role role = client_role::program;
    std::deque<nlohmann::ordered_json> replies = {}; ///< to control requests, not yet sent
    std::optional<trace_reader> tracing = std::nullopt;
    std::unique_ptr<gpio::gpio_file> gpio = nullptr; ///< that it has open
    bool watches_replay = false;
    bool keeps_time = false;
    bool looks_again = false; ///< others may make its programs work while it waits for its turn
    std::optional<turn_request> turn = std::nullopt; ///< nothing: its programs are at work
    bool gone = false;

    /// Its transfers are those of another process from now on.
    void act_for(int process_id);
    /// Replies to a transfer, in two parts, as soon as it is over. Throws std::runtime_error when the client has asked for
    /// another one meanwhile, or does not take its reply.
    void reply(std::chrono::steady_clock::time_point due, std::span<const uint8_t> head,
               std::span<const uint8_t> body);
    /// When a reply is due that was held back; nothing: there is none.
    [[nodiscard]] std::optional<std::chrono::steady_clock::time_point> reply_due() const;
    void send_reply_when_due();
    /// Sends what its program is to read from the open GPIO file: at once, if it takes it.
    void deliver(const gpio::file_event &event);
    /// Whether there is something to send: events, replies, transfers, or the note that there will be no more of
    /// them.
    [[nodiscard]] bool waits_for_more(const trace_ring &ring) const;
    /// Sends as much as the client takes now.
    void send_more(const trace_ring &ring);

  private:
    bool send_event(const gpio::file_event &event);
    [[nodiscard]] bool wants_trace(const trace_ring &ring) const;
    bool send_next(const trace_ring &ring);

    void send_reply(std::span<const uint8_t> head, std::span<const uint8_t> body);

    std::optional<delayed_reply> delayed_ = std::nullopt;
    std::deque<gpio::file_event> events_ = {}; ///< not yet sent
};

} // namespace varnel::sim
