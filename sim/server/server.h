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
#include "sim/board/replay.h"
#include "sim/board/virtual_clock.h"
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

/// How time goes on a board.
struct board_time {
    const board_clock &clock;         ///< the board's own
    virtual_clock *movable = nullptr; ///< the same, if time stands still until it is moved
    uint64_t seed = 0;                ///< of what is left to chance
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
///       "gpiochips": COUNT, "virtual_time": BOOLEAN, "seed": NUMBER}; from a client that only looks
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
/// On a board in virtual time, clients that keep the time of programs, or do something at certain times, have turns:
///   {"command": "keep-time", "looks_again": BOOLEAN (false)} -> {"now": TIME, "server": PID, "seed": NUMBER,
///       "transfers_take_time": BOOLEAN}; time stands still from now on, except during transfers on a bus with a clock, until
///       all of these clients wait. Times are in ns since power-on.
///   {"command": "wait-until", "number": N, "time": TIME | null, "drives": BOOLEAN, "worked": BOOLEAN (true)} -> nothing
///       now, but when it is this client's turn: {"turn": N, "now": TIME}. When all clients that keep time wait, the client
///       with the earliest time has its turn until it waits again; of equal times, the client that came first. The clock is
///       advanced to its time, but only if one of the clients drives. A newer request takes the place of an older one. A
///       client that has worked may have made programs of others work. Those that look again get {"turn": 0, "now": TIME}
///       then, and no longer wait.
///   {"command": "go-on"} -> {"turn": 0, "now": TIME}; the client does not wait, or no longer
/// Of a recording that answers in place of a board:
///   {"command": "watch-replay"} -> {}, then {"departed": LINE} for each program that leaves the recording
///   {"command": "end-replay"} -> {"end": true, "made": COUNT, "recorded": COUNT}
///   {"command": "end-trace"} -> {}; what has happened until now is still sent, then {"end": true}
class server {
  public:
    server(board powered, const board_time &time, std::string file, uint64_t file_hash, meeting_point here,
           descriptor listener, std::optional<replay> recording = std::nullopt);

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
    void give_turn();
    [[nodiscard]] client *next_turn();
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
    [[nodiscard]] json answer_about_replay(client &who, const std::string &command) const;
    json keep_time(client &who, const json &request);
    json wait_until(client &who, const json &request);
    void let_others_look_again(const client &worker);
    /// Takes the bus for it; the origin's time is when that was.
    void trace(transfer_origin origin, const transfer_request &request, const transfer_outcome &outcome);
    json open_gpio(client &who, const json &request);
    void let_driver_act_for(client &who, int pid);
    void handle_interrupts();
    [[nodiscard]] std::vector<transfer_outcome>
    replay_parts(const client &who, std::span<const transfer_request> parts, bool goes_on = false);
    [[nodiscard]] transfer_outcome transfer_for_driver(const transfer_request &request);
    [[nodiscard]] bool also_commands(int pid) const;
    [[nodiscard]] bool in_use() const;
    [[nodiscard]] bool end();

    board board_;
    board_time time_;
    std::map<int, int> traced_pids_ = {}; ///< numbers of processes in a trace in virtual time
    std::string file_;
    uint64_t file_hash_;
    meeting_point here_;
    descriptor listener_;
    std::optional<replay> replay_; ///< that answers in place of the board
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
