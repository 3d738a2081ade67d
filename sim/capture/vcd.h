// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <queue>
#include <string>
#include <vector>

#include "sim/board/status.h"
#include "sim/capture/wire.h"

namespace varnel::sim::capture {

/// Times of the wires at one clock, in units of the file; they respect the minima of the I2C specification (UM10204,
/// table 10).
struct bus_timing {
    const char *timescale; ///< unit of all times
    int64_t units_in_second;
    int64_t low;   ///< of a clock period; as long as the bus is free between STOP and START
    int64_t high;  ///< likewise; as long as START and STOP take
    int64_t setup; ///< from the clock's fall until data changes
};
inline constexpr bus_timing standard_mode{"1 us", 1'000'000, 5, 5, 2};  ///< 100 kHz
inline constexpr bus_timing fast_mode{"100 ns", 10'000'000, 13, 12, 6}; ///< 400 kHz

/// Makes a value change dump (IEEE 1364, chapter 18): the wires of each bus, pins as wires, numbers of chips as reals.
/// Functions return what can be appended to the file; changes of the last second wait, because another bus may
/// still have earlier ones.
class vcd {
  public:
    vcd(const bus_timing &timing, const board_status &board);

    /// The declarations.
    [[nodiscard]] std::string beginning() const;

    /// A transfer begins at its time, or when the one before it on its bus has ended.
    [[nodiscard]] std::string transfer(const transfer_record &record);

    /// Pins and numbers at a time since power-on.
    [[nodiscard]] std::string state(std::chrono::microseconds time, const board_status &board);

    /// The rest.
    [[nodiscard]] std::string finish();

  private:
    using signal = std::size_t; ///< its place in `values_`
    struct change {
        int64_t time;
        uint64_t number; ///< of changes: those of one time stay in order
        signal of;
        double value;
        bool operator>(const change &other) const {
            return time != other.time ? time > other.time : number > other.number;
        }
    };
    struct bus_wires {
        signal data;
        signal clock;
        int64_t free_at = 0; ///< where what was drawn ends
        bool begun = false;  ///< without a STOP
    };
    struct reading_signal {
        signal of;
        bool is_wire;
    };

    signal declare(const std::string &kind, const std::string &name);
    void declare_buses(const board_status &board);
    void declare_readings(const chip_status &chip);
    [[nodiscard]] int64_t units(std::chrono::microseconds time) const;
    void set(signal of, int64_t time, double value);

    void draw_start(bus_wires &bus);
    void draw_bit(bus_wires &bus, bool bit);
    void draw_byte(bus_wires &bus, uint8_t byte, bool acknowledged);
    void draw_stop(bus_wires &bus);
    void draw_message(bus_wires &bus, uint8_t address, const wire_message &message);
    void draw_held(bus_wires &bus, held_line line);
    void draw_clocks(bus_wires &bus);

    [[nodiscard]] std::string idle_before(int64_t time);
    [[nodiscard]] std::string changes_until(int64_t time);
    [[nodiscard]] std::string text_of(const change &made) const;

    bus_timing timing_;
    std::string declarations_;
    std::vector<double> values_ = {}; ///< as written last
    std::vector<bool> is_real_ = {};
    std::map<uint8_t, bus_wires> buses_ = {};
    std::map<std::string, reading_signal> readings_ = {}; ///< by "CHIP.NAME"
    std::priority_queue<change, std::vector<change>, std::greater<>> waiting_ = {};
    uint64_t changes_ = 0;
    int64_t newest_ = 0;   ///< time of what was drawn last
    int64_t written_ = -1; ///< time that was written last
};

} // namespace varnel::sim::capture
