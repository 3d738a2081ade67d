// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sim/board/fault.h"
#include "sim/models/chip.h"

namespace varnel::sim {

/// What `set CHIP.NAME VALUE` asks for.
struct assignment {
    std::string chip;
    std::string name;
    std::string value;
};

/// What faults have left behind in a chip.
struct fault_traces {
    std::chrono::nanoseconds busy_until{0};
    std::map<std::vector<uint8_t>, std::vector<uint8_t>> frozen =
        {}; ///< what was first read, by what selected it
};

/// A chip with its place, its faults and what has been set since power-on.
struct board_chip {
    std::string name;
    std::unique_ptr<chip> model;
    std::vector<std::size_t> downstream; ///< wiring segment of each of the model's segments
    std::map<fault_kind, fault> faults = {};
    fault_traces traces = {};
    std::vector<assignment> changes = {};
    bool plugged = true; ///< otherwise it is not there: it neither answers nor connects nor drives anything

    /// The chip's fault of a kind, if it strikes the transfer that is going on now.
    [[nodiscard]] fault *striking(fault_kind kind, const board_moment &now);
    /// The chip's fault of a kind, null when it has none or that will never strike again.
    [[nodiscard]] const fault *waiting(fault_kind kind, const board_moment &now) const;
};

/// One port of a chip, soldered to a segment.
struct connection {
    board_chip *part;
    std::size_t port;
    uint8_t address; ///< 7 bits

    [[nodiscard]] bus_port &wire() const { return part->model->port(port); }
};

/// A stretch of I2C bus: an adapter's own, or a channel of a multiplexer.
struct segment {
    std::string name; ///< "0", "mux0.3", "sel0"
    std::vector<connection> connections = {};
};

/// A segment that an adapter can reach now, and the way there: "0/mux0.3".
struct reached_segment {
    std::size_t index;
    std::string path;
};

/// Which chip is soldered where.
struct wiring {
    std::vector<segment> segments;
    std::map<uint8_t, std::size_t> adapters; ///< segment of each I2C adapter
    const board_clock *clock = nullptr;      ///< that faults live in
    mutable uint64_t transfers = 0;          ///< that there have been

    [[nodiscard]] board_moment now() const { return {clock->now(), transfers + 1}; }

    /// The adapter's own segment and all behind multiplexers that connect them now.
    [[nodiscard]] std::vector<reached_segment> reach(std::size_t from) const;
};

/// A chip that answers, or ought to answer, to the address of a transfer.
struct addressed_chip {
    connection at;
    std::string path;
};

/// What an adapter does between START and STOP. The way through the multiplexers is fixed at the first START,
/// because they switch at STOP only. When several chips answer, an acknowledgement of any counts, and what is
/// read is the AND of what they say, as on the wire.
class transaction {
  public:
    transaction(const wiring &wires, std::size_t adapter_segment);
    ~transaction() { stop(); }
    transaction(const transaction &) = delete;
    transaction &operator=(const transaction &) = delete;

    /// START, or repeated START. Returns whether any chip acknowledged.
    [[nodiscard]] bool start(uint8_t address, direction way);
    /// Returns whether any chip acknowledged.
    [[nodiscard]] bool write(uint8_t byte);
    [[nodiscard]] uint8_t read();
    /// The chips that took part do what they do at STOP. Nothing may follow but the end.
    void stop();

    /// Why no chip sees the transfer: ETIMEDOUT when a chip holds a line low, EAGAIN when another master has won the
    /// bus, else 0.
    [[nodiscard]] int failure() const { return failure_; }
    /// Chips with the address of the last START, whether they acknowledged or not.
    [[nodiscard]] const std::vector<addressed_chip> &addressed() const { return addressed_; }
    /// Kinds of fault that have struck since this was called last, in order.
    [[nodiscard]] std::vector<fault_kind> take_struck() { return std::exchange(struck_, {}); }
    /// Lets the faults of one kind of the addressed chips strike; returns the one that does.
    fault *strike(fault_kind kind);
    /// The addressed chip that has a fault of a kind, which may strike or not; null when there is none.
    [[nodiscard]] board_chip *find(fault_kind kind) const;
    /// The addressed chips were written to: those with the fault are busy after the transfer.
    void make_busy();
    /// At the end of the transfer the chip starts as at power-on.
    void lose_power(board_chip &part) { powerless_.push_back(&part); }
    /// A transfer of those that this transaction is made of is over.
    void count_transfer() { ++wires_.transfers; }

  private:
    [[nodiscard]] board_moment now() const { return wires_.now(); }
    void hold_lines(fault_kind kind);
    void begin(uint8_t address);
    [[nodiscard]] bool concerns(const connection &selector) const;
    [[nodiscard]] bool lose_selectors();
    [[nodiscard]] bool brown_out();
    void find_addressed(uint8_t address);
    [[nodiscard]] bool answers_to(const connection &at, uint8_t address);
    bool acknowledges(const connection &at, direction way);
    bool refuses(board_chip &part);
    void remember(const connection &at);

    const wiring &wires_;
    std::size_t from_; ///< the adapter's segment
    std::vector<reached_segment> reached_;
    int failure_ = 0;
    bool begun_ = false;  ///< there was a START
    uint8_t address_ = 0; ///< of the last START
    std::vector<addressed_chip> addressed_ = {};
    std::vector<connection> listening_ = {}; ///< acknowledged the last START
    std::vector<connection> took_part_ = {};
    std::map<board_chip *, bool> refusals_ = {}; ///< one decision for each chip and transaction
    std::map<board_chip *, std::optional<uint8_t>> moved_ = {};  ///< to another address, if any; likewise
    std::map<board_chip *, std::chrono::nanoseconds> busy_ = {}; ///< for so long after the transfer
    std::vector<board_chip *> powerless_ = {};
    std::vector<fault_kind> struck_ = {};
};

enum class operation { write, read, write_read };

/// One call of an I2C primitive.
struct transfer_request {
    operation kind;
    uint8_t adapter;
    uint8_t address;
    std::span<const uint8_t> data = {}; ///< to write
    std::size_t read_length = 0;
    bool counted = false; ///< the first byte read says how many more follow `read_length`: 1 to 32
};

/// What the primitive returns, and what a logic analyser would have seen.
struct transfer_outcome {
    int result;
    int error; ///< errno when result is negative
    std::vector<uint8_t> written = {};
    std::vector<uint8_t> read = {};
    std::vector<addressed_chip> addressed = {};
    std::vector<fault_kind> faults = {};
};

/// Bits that a transfer took on the wire: nine for each byte, address bytes included, one for each START and the STOP. Those
/// that a chip held up have none.
[[nodiscard]] std::size_t wire_bits(const transfer_request &request, const transfer_outcome &outcome);

/// The errno of a transfer for a caller who wants all bytes or none: 0, outcome.error, or EIO when fewer bytes than
/// asked for were moved.
[[nodiscard]] int error_of(const transfer_request &request, const transfer_outcome &outcome);

/// A whole transfer, with the results of a real adapter: writes and reads return the number of bytes,
/// write-reads 0; failures -1 with ENODEV (no such adapter), ENXIO (address not acknowledged), EIO (a byte
/// not acknowledged, or a write-read cut short), EPROTO (a count that is not 1 to 32), EAGAIN (another master has won
/// the bus) or ETIMEDOUT (a line held low).
[[nodiscard]] transfer_outcome perform(const wiring &wires, const transfer_request &request);

/// Parts of a transaction that goes on, up to the first that fails.
[[nodiscard]] std::vector<transfer_outcome> perform(transaction &wire,
                                                    std::span<const transfer_request> requests);

/// Several transfers of one adapter with one STOP at the end, up to the first that fails.
[[nodiscard]] std::vector<transfer_outcome> perform(const wiring &wires,
                                                    std::span<const transfer_request> requests);

} // namespace varnel::sim
