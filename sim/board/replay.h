// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sim/board/bus.h"
#include "sim/board/trace.h"

namespace varnel::sim {

/// A recording that answers transfers in place of chips.
///
/// Each program gets, bus by bus and in their order, the replies to what programs of its name did when it was recorded: other
/// programs of the recording need not run, nor in the same order. A program whose name is not in the recording gets
/// the replies to the transfers of all programs.
class replay {
  public:
    /// `file` is for messages.
    replay(std::string file, std::vector<transfer_record> recording);

    /// The adapters of the recording, in order.
    [[nodiscard]] std::vector<uint8_t> buses() const;

    /// Parts of a transfer of a program, up to the first that fails; the last one ends the transfer unless it `goes_on`.
    /// From the first one on that is not the recorded one, all transfers of programs of this name fail with ENODATA.
    std::vector<transfer_outcome> perform(const std::string &program, int pid,
                                          std::span<const transfer_request> parts, bool goes_on = false);

    /// The line about each program that has left the recording, in their order.
    [[nodiscard]] const std::vector<std::string> &departures() const { return departures_; }

    /// How many transfers have been made, of those that were recorded of the same programs.
    struct progress {
        std::size_t made;
        std::size_t recorded;
    };
    [[nodiscard]] progress so_far() const;

  private:
    /// What a program did on a bus.
    struct sequence {
        std::vector<std::size_t> transfers = {}; ///< places in the recording
        std::size_t next = 0;                    ///< place in `transfers`
    };
    struct asked {
        const transfer_request &request;
        bool stop;
        std::string program;
        int pid;
    };

    [[nodiscard]] transfer_outcome answer(const asked &wanted);
    [[nodiscard]] std::optional<std::string> departure(const asked &wanted, const sequence &made) const;
    [[nodiscard]] std::string place(std::size_t transfer) const;

    std::string file_;
    std::vector<transfer_record> recording_;
    std::map<std::string, std::map<uint8_t, sequence>> sequences_ =
        {};                                  ///< by program and bus; "": of all programs
    std::set<std::string> taking_part_ = {}; ///< keys of sequences_ that were asked for
    std::set<std::string> departed_ = {};    ///< likewise
    std::vector<std::string> departures_ = {};
};

} // namespace varnel::sim
