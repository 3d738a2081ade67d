// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/json.h"
#include "sim/board/board.h"
#include "sim/gpio/gpio_chip.h"
#include "sim/protocol/channel.h"
#include "sim/protocol/meeting_point.h"
#include "sim/server/client.h"
#include "sim/server/trace_ring.h"

namespace varnel::sim {

/// Real time since the clock was made.
class power_clock : public board_clock {
  public:
    [[nodiscard]] std::chrono::nanoseconds now() const override;

  private:
    std::chrono::steady_clock::time_point power_on_ = std::chrono::steady_clock::now();
};

/// A transfer that goes on in its client's next message.
struct held_transfer {
    client *who = nullptr; ///< null when there is none
    std::unique_ptr<transaction> wire = nullptr;
    std::chrono::steady_clock::time_point until = {};
};

/// Serves one board to many processes, one transfer at a time: none is interrupted by another.
///
/// Control requests are JSON objects with a "command", and so are the replies; {"error": TEXT} is one.
///   {"command": "hello"}  -> {"board": NAME, "file": NAME, "hash": NUMBER, "buses": [NUMBER...],
///       "gpiochips": COUNT}; from a client that only looks
///   {"command": "run"}    -> the same; the board stays powered while this client is connected
///   {"command": "act-for", "pid": N} -> {}; transfers of this client are those of process N
///   {"command": "open-gpio", "chip": N, "pid": N} -> {"result": 0 or a negative errno}; the client has that GPIO chip
///       open, for a process
///   {"command": "close-gpio"} -> {}; it no longer has the chip, or the lines that it requested from it
///   {"command": "leave"}  -> {"ended": BOOLEAN}; from a `run`: does the board end with it?
///   {"command": "show"}   -> a server_status (sim/protocol/board_json.h)
///   {"command": "set", "assignments": [[CHIP, NAME, VALUE]...]} -> {}
///   {"command": "plug", "chips": [NAME...], "plugged": BOOLEAN} -> {}
///   {"command": "fault", "chip": NAME, "kind": "none"} -> {}
///   {"command": "fault", "chip": NAME, "kind": NAME, ...} -> {}; a fault as in sim/protocol/fault_json.h, with times from
///       now on
///   {"command": "trace", "last": N | null, "follow": BOOLEAN} -> {}, then any number of {"transfer": RECORD}
///   and
///       {"lost": N}, which says that the client was too slow for N transfers, and unless following {"end":
///       true}
///   {"command": "end-trace"} -> {}; what has happened until now is still sent, then {"end": true}
class server {
  public:
    /// `clock` is the board's own.
    server(board powered, const board_clock &clock, std::string file, uint64_t file_hash, meeting_point here,
           descriptor listener);

    /// Until the last program and the last `run` have left.
    void serve();

  private:
    using json = nlohmann::ordered_json;

    void wait(int timeout_ms);
    [[nodiscard]] bool hears(const client &who) const;
    [[nodiscard]] std::optional<std::chrono::steady_clock::time_point> next_deadline(int timeout_ms) const;
    [[nodiscard]] bool watches_wires() const;
    [[nodiscard]] std::chrono::nanoseconds take_bus(const transfer_request &request,
                                                    const transfer_outcome &outcome);
    void release_when_due();
    void accept_all();
    [[nodiscard]] bool full() const;
    static void refuse(descriptor socket);
    void send_what_waits();
    void listen_to(client &who, int events);
    void answer_one(client &who);
    void answer_uncombined(client &who, std::span<const uint8_t> message);
    void answer_transfer(client &who, std::span<const uint8_t> message);
    void answer_combined(client &who, std::span<const uint8_t> message);
    void answer_gpio(client &who, std::span<const uint8_t> message);
    void answer_control(client &who, std::span<const uint8_t> message);
    json answer(client &who, const json &request);
    [[nodiscard]] json introduction() const;
    [[nodiscard]] json show() const;
    json set(const json &request);
    json plug(const json &request);
    json inject(const json &request);
    json start_trace(client &who, const json &request);
    json end_trace(client &who);
    json leave(client &who);
    json open_gpio(client &who, const json &request);
    void let_driver_act_for(client &who, int pid);
    void handle_interrupts();
    [[nodiscard]] transfer_outcome transfer_for_driver(const transfer_request &request);
    [[nodiscard]] bool also_commands(int pid) const;
    [[nodiscard]] bool in_use() const;
    [[nodiscard]] bool end();

    board board_;
    const board_clock &clock_;
    std::string file_;
    uint64_t file_hash_;
    meeting_point here_;
    descriptor listener_;
    std::list<gpio::gpio_chip> gpiochips_ = {};
    std::string driver_acts_for_ = {}; ///< whom a driver of the GPIO chips makes transfers for
    int driver_acts_for_pid_ = 0;
    std::list<client> clients_ = {};
    trace_ring trace_ = {};
    held_transfer held_ = {};
    std::map<uint8_t, std::chrono::steady_clock::time_point> busy_until_ =
        {};                                                ///< of adapters that have a clock
    std::chrono::steady_clock::time_point reply_due_ = {}; ///< of the message that is being answered
    bool accept_later_ = false;                            ///< accept() has failed
    bool ended_ = false;
};

} // namespace varnel::sim
