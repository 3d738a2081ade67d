// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "chips/pmbus.h"

namespace varnel::sim {

namespace pmbus = chips::pmbus;

// STATUS_WORD
inline constexpr unsigned int word_vout = 0x8000;
inline constexpr unsigned int word_iout = 0x4000;
inline constexpr unsigned int word_input = 0x2000;
inline constexpr unsigned int word_mfr = 0x1000;
inline constexpr unsigned int word_power_not_good = 0x0800;
inline constexpr unsigned int word_fans = 0x0400;
inline constexpr unsigned int word_off = 0x0040;
inline constexpr unsigned int word_vout_ov = 0x0020;
inline constexpr unsigned int word_iout_oc = 0x0010;
inline constexpr unsigned int word_vin_uv = 0x0008;
inline constexpr unsigned int word_temperature = 0x0004;
inline constexpr unsigned int word_cml = 0x0002;
inline constexpr unsigned int word_none_of_the_above = 0x0001;

// STATUS_VOUT, STATUS_IOUT, STATUS_TEMPERATURE, STATUS_FANS_1_2: bit 7 is the fault, over the limit.
inline constexpr unsigned int over_fault = 0x80;
inline constexpr unsigned int iout_oc_warning = 0x20;
inline constexpr unsigned int over_temperature_warning = 0x40;
inline constexpr unsigned int fan_1_fault = 0x80;
// STATUS_INPUT
inline constexpr unsigned int vin_ov_fault = 0x80;
inline constexpr unsigned int vin_uv_warning = 0x20;
inline constexpr unsigned int vin_uv_fault = 0x10;
inline constexpr unsigned int off_for_low_input = 0x08;
// STATUS_CML
inline constexpr unsigned int invalid_command = 0x80;
inline constexpr unsigned int invalid_data = 0x40;
inline constexpr unsigned int packet_error_check_failed = 0x20;
inline constexpr unsigned int other_communication_fault = 0x02;

/// Latched bits of the status registers, and STATUS_WORD made of them.
class fault_latches {
  public:
    [[nodiscard]] uint8_t of(uint8_t reg) const { return static_cast<uint8_t>(bits_.at(index_of(reg))); }
    void latch(uint8_t reg, unsigned int bits) { bits_.at(index_of(reg)) |= bits; }
    void clear(uint8_t reg, unsigned int bits) { bits_.at(index_of(reg)) &= ~bits; }
    void clear_all() { bits_ = {}; }
    /// Whether there is a bit that `others` does not have.
    [[nodiscard]] bool any_but(const fault_latches &others) const {
        return !std::ranges::equal(
            bits_, others.bits_, [](unsigned int bits, unsigned int other) { return (bits & ~other) == 0; });
    }

    [[nodiscard]] unsigned int word(bool powered) const {
        const auto when = [](unsigned int condition, unsigned int flag) {
            return condition != 0 ? flag : 0U;
        };
        return when(of(pmbus::status_vout), word_vout) | when(of(pmbus::status_iout), word_iout) |
               when(of(pmbus::status_input), word_input) | when(of(pmbus::status_mfr_specific), word_mfr) |
               when(of(pmbus::status_fans_1_2), word_fans) | (powered ? 0 : word_power_not_good | word_off) |
               when(of(pmbus::status_vout) & over_fault, word_vout_ov) |
               when(of(pmbus::status_iout) & over_fault, word_iout_oc) |
               when(of(pmbus::status_input) & vin_uv_fault, word_vin_uv) |
               when(of(pmbus::status_temperature), word_temperature) | when(of(pmbus::status_cml), word_cml) |
               when(without_own_flag(), word_none_of_the_above);
    }

  private:
    [[nodiscard]] static constexpr std::size_t index_of(uint8_t reg) {
        return std::size_t{reg} - pmbus::status_vout;
    }

    /// What the low byte of STATUS_WORD has no flag for.
    [[nodiscard]] unsigned int without_own_flag() const {
        return (of(pmbus::status_vout) & ~over_fault) | (of(pmbus::status_iout) & ~over_fault) |
               (of(pmbus::status_input) & ~vin_uv_fault) | of(pmbus::status_mfr_specific) |
               of(pmbus::status_fans_1_2);
    }

    // From STATUS_VOUT to STATUS_FANS_1_2.
    std::array<unsigned int, 8> bits_{};
};

} // namespace varnel::sim
