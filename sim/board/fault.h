// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <random>

#include "sim/board/fault_kinds.h"

namespace varnel::sim {

/// One end of the window in which a fault strikes; nothing: no limit of this sort.
struct fault_limit {
    std::optional<uint64_t> transfer = std::nullopt;             ///< of those that it could strike, from 1
    std::optional<std::chrono::nanoseconds> time = std::nullopt; ///< since power-on
    std::optional<uint64_t> board_transfer = std::nullopt;       ///< of all of the board, from 1

    bool operator==(const fault_limit &) const = default;
};

/// A moment in a board's life.
struct board_moment {
    std::chrono::nanoseconds time{0}; ///< since power-on
    uint64_t transfer = 0;            ///< that is going on, or comes next, from 1
};

/// When a fault strikes, and how.
struct fault_terms {
    std::optional<uint64_t> count = 1; ///< the most transfers; nothing: any number
    double rate = 1;                   ///< probability of each, 0 to 1
    uint64_t seed = 1;
    fault_limit from = {};
    fault_limit until = {}; ///< the last transfer; the time after which there is none
    std::optional<uint64_t> parameter = std::nullopt;

    bool operator==(const fault_terms &) const = default;
};

/// A fault that is waiting for transfers. With the same terms it strikes the same transfers in the same way,
/// on every machine.
class fault {
  public:
    explicit fault(const fault_terms &terms) : terms_(terms), numbers_(terms.seed) {}
    /// Strikes the next `count` transfers.
    [[nodiscard]] static fault next_transfers(uint64_t count, uint64_t seed);
    /// Strikes each transfer with a probability of `rate`, 0 to 1, until it is cleared.
    [[nodiscard]] static fault at_rate(double rate, uint64_t seed);

    /// A transfer comes along that the fault could strike: does it?
    [[nodiscard]] bool strikes(const board_moment &now = {});
    /// Whether it will never strike again.
    [[nodiscard]] bool spent(const board_moment &now = {}) const;
    /// A number from 0 to `limit` - 1; the choice of a bit, for example.
    [[nodiscard]] uint64_t choose(uint64_t limit) { return numbers_() % limit; }
    /// Its terms; the count is how many transfers it is still to strike.
    [[nodiscard]] const fault_terms &terms() const { return terms_; }
    [[nodiscard]] uint64_t parameter() const { return terms_.parameter.value_or(0); }

  private:
    double chance();
    [[nodiscard]] bool early(const board_moment &now) const;

    fault_terms terms_;
    uint64_t seen_ = 0;       ///< transfers that it could have struck
    std::mt19937_64 numbers_; ///< its output is the same everywhere; that of the std distributions is not
};

} // namespace varnel::sim
