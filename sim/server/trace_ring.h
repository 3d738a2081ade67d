// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>

#include "sim/board/trace.h"

namespace varnel::sim {

/// The latest transfers, numbered from 0.
class trace_ring {
  public:
    static constexpr std::size_t capacity = 4096;

    void push(transfer_record record) {
        if (records_.size() == capacity) {
            records_.pop_front();
            ++oldest_;
        }
        records_.push_back(std::move(record));
    }

    /// Number of the oldest that is still here.
    [[nodiscard]] uint64_t oldest() const { return oldest_; }
    /// Number that the next transfer will have.
    [[nodiscard]] uint64_t next() const { return oldest_ + records_.size(); }
    [[nodiscard]] const transfer_record &at(uint64_t number) const {
        return records_[static_cast<std::size_t>(number - oldest_)];
    }

  private:
    std::deque<transfer_record> records_;
    uint64_t oldest_ = 0;
};

} // namespace varnel::sim
