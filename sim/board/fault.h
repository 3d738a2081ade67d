// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>

namespace varnel::sim {

/// What a chip does wrong on its bus.
enum class fault_kind {
    nack,       ///< does not acknowledge its address
    short_data, ///< the transfer ends one byte early
    stuck,      ///< holds SDA low: no transfer gets through on any bus that is connected to the chip
    flip,       ///< one bit of the bytes read, or written when none are read, is inverted
};

/// The kind's name as in `varnel-sim fault`.
[[nodiscard]] std::string_view name_of(fault_kind kind);
[[nodiscard]] std::optional<fault_kind> fault_kind_named(std::string_view name);

/// A fault that is waiting for transfers. With the same seed it strikes the same transfers in the same way,
/// on every machine.
class fault {
  public:
    /// Strikes the next `count` transfers.
    [[nodiscard]] static fault next_transfers(uint64_t count, uint64_t seed);
    /// Strikes each transfer with a probability of `rate`, 0 to 1, until it is cleared.
    [[nodiscard]] static fault at_rate(double rate, uint64_t seed);

    /// A transfer comes along: does the fault strike it?
    [[nodiscard]] bool strikes();
    /// Whether it will never strike again.
    [[nodiscard]] bool spent() const { return remaining_ == 0; }
    /// A number from 0 to `limit` - 1; the choice of a bit, for example.
    [[nodiscard]] uint64_t choose(uint64_t limit) { return numbers_() % limit; }
    /// How many transfers it is still to strike; nothing: any number, at rate().
    [[nodiscard]] std::optional<uint64_t> remaining() const { return remaining_; }
    [[nodiscard]] double rate() const { return rate_; }
    [[nodiscard]] uint64_t seed() const { return seed_; }

  private:
    fault(std::optional<uint64_t> remaining, double rate, uint64_t seed);

    std::optional<uint64_t> remaining_; ///< nothing: for ever, at `rate_`
    double rate_;
    uint64_t seed_;
    std::mt19937_64 numbers_; ///< its output is the same everywhere; that of the std distributions is not
};

} // namespace varnel::sim
