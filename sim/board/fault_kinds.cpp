// SPDX-License-Identifier: Apache-2.0
#include "sim/board/fault_kinds.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

namespace varnel::sim {

namespace {

/// One row a kind, so that a new one is a row.
constexpr std::array kinds{
    fault_facts{
        .kind = fault_kind::nack,
        .name = "nack",
        .effect = "does not acknowledge its address",
        .seen = "ENXIO",
        .source = "UM10204 3.1.6; Linux, i2c/fault-codes: ENXIO",
    },
    fault_facts{
        .kind = fault_kind::nack_byte,
        .name = "nack-byte",
        .effect = "does not acknowledge byte N of those written, and does not take it",
        .seen = "EIO",
        .source = "UM10204 3.1.6; Linux, i2c/fault-codes: EIO",
        .parameter = fault_parameter::byte,
        .usual_parameter = 1,
    },
    fault_facts{
        .kind = fault_kind::busy,
        .name = "busy",
        .effect = "does not acknowledge its address for a time after it was written to",
        .seen = "ENXIO, until the time is over",
        .source = "Microchip AT24C02C datasheet, Acknowledge Polling",
        .parameter = fault_parameter::time,
        .usual_parameter = 20,
    },
    fault_facts{
        .kind = fault_kind::short_data,
        .name = "short",
        .effect = "the transfer ends one byte early",
        .seen = "one byte less; EIO of a write-read and of i2c-dev",
        .source = "Linux, i2c/writing-clients: i2c_master_send returns the bytes transferred",
    },
    fault_facts{
        .kind = fault_kind::stuck,
        .name = "stuck",
        .effect = "holds SDA low, until the master has sent N clocks if N is given, nine after each failed "
                  "transfer",
        .seen = "ETIMEDOUT of every transfer on a bus that is connected to the chip",
        .source =
            "UM10204 3.1.16 (bus clear); Linux, i2c/gpio-fault-injection: sda, incomplete_address_phase",
        .parameter = fault_parameter::clocks,
    },
    fault_facts{
        .kind = fault_kind::clock_held,
        .name = "scl-stuck",
        .effect = "holds SCL low: clocks do not help",
        .seen = "ETIMEDOUT of every transfer on a bus that is connected to the chip",
        .source = "UM10204 3.1.16; Linux, i2c/gpio-fault-injection: scl",
    },
    fault_facts{
        .kind = fault_kind::arbitration,
        .name = "arbitration",
        .effect = "another master wins the bus during the address: no chip is reached",
        .seen = "EAGAIN",
        .source = "UM10204 3.1.8; Linux, i2c/gpio-fault-injection: lose_arbitration; i2c/fault-codes: EAGAIN",
    },
    fault_facts{
        .kind = fault_kind::stretch,
        .name = "stretch",
        .effect =
            "holds the clock after byte N, which it has taken or sent, for longer than the adapter waits",
        .seen = "ETIMEDOUT",
        .source = "UM10204 3.1.9; SMBus 3.2, T_TIMEOUT; Linux, i2c/fault-codes: ETIMEDOUT",
        .parameter = fault_parameter::byte,
        .usual_parameter = 1,
    },
    fault_facts{
        .kind = fault_kind::flip,
        .name = "flip",
        .effect = "one bit of the bytes read is inverted, or of those written when none are read",
        .seen = "success; EBADMSG with PEC",
        .source = "SMBus 3.2 6.4 (what packet error codes are for)",
    },
    fault_facts{
        .kind = fault_kind::pec,
        .name = "pec",
        .effect = "one bit of the packet error code that it sends is inverted",
        .seen = "EBADMSG with PEC",
        .source = "SMBus 3.2 6.4; Linux, i2c/fault-codes: EBADMSG",
    },
    fault_facts{
        .kind = fault_kind::frozen,
        .name = "frozen",
        .effect = "answers what it answered when the same was read first",
        .seen = "success, with an old value",
        .source = "NXP LM75B datasheet, shutdown mode: Temp holds the latest result",
    },
    fault_facts{
        .kind = fault_kind::address,
        .name = "address",
        .effect = "answers at the given address of its bus instead of its own, as with a wrong strap",
        .seen = "ENXIO at its own; two chips at the other: reads are the AND of both",
        .source = "UM10204 3.1.1 (wired AND); Linux, i2c/instantiating-devices",
        .parameter = fault_parameter::address,
        .needs_parameter = true,
    },
    fault_facts{
        .kind = fault_kind::brownout,
        .name = "brownout",
        .effect = "loses its power for a moment before the transfer, and starts as at power-on",
        .seen = "success, with registers at their power-on values",
        .source = "NXP PCA9555 datasheet, power-on reset",
    },
    fault_facts{
        .kind = fault_kind::power_loss,
        .name = "power-loss",
        .effect = "loses its power within a write: it keeps only the first bytes, and starts as at power-on",
        .seen = "success, with the old bytes after the new ones",
        .source = "Microchip AT24C02C datasheet, self-timed write cycle",
    },
    fault_facts{
        .kind = fault_kind::taken,
        .name = "taken",
        .effect = "a selector's other master takes the bus before a transfer to the selector or through it",
        .seen = "ENXIO behind the selector",
        .source = "NXP PCA9541A datasheet, bus control sequence",
    },
};

constexpr std::array parameters{
    parameter_facts{fault_parameter::byte, "--byte", "byte", "which byte of the transfer, from 1", 1, 65535},
    parameter_facts{fault_parameter::clocks, "--clocks", "clocks", "how many clocks the chip needs", 1,
                    65535},
    parameter_facts{fault_parameter::time, "--for", "milliseconds", "for how long", 1, 3'600'000},
    parameter_facts{fault_parameter::address, "--address", "address", "the other address", 0x03, 0x77},
};

} // namespace

std::span<const fault_facts> fault_kinds() { return kinds; }

const fault_facts &facts_of(fault_kind kind) { return *std::ranges::find(kinds, kind, &fault_facts::kind); }

std::string_view name_of(fault_kind kind) { return facts_of(kind).name; }

std::optional<fault_kind> fault_kind_named(std::string_view name) {
    const auto *const found = std::ranges::find(kinds, name, &fault_facts::name);
    return found == kinds.end() ? std::nullopt : std::optional(found->kind);
}

std::string fault_names(std::string_view separator) {
    std::string names;
    for (const fault_facts &each : kinds) {
        names += fmt::format("{}{}", names.empty() ? "" : separator, each.name);
    }
    return names;
}

std::span<const parameter_facts> fault_parameters() { return parameters; }

const parameter_facts *facts_of(fault_parameter parameter) {
    const auto *const found = std::ranges::find(parameters, parameter, &parameter_facts::parameter);
    return found == parameters.end() ? nullptr : found;
}

} // namespace varnel::sim
