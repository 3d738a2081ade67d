// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace varnel::sim {

/// What a chip does wrong on its bus.
enum class fault_kind : uint8_t {
    nack,
    nack_byte,
    busy,
    short_data,
    stuck,
    clock_held,
    arbitration,
    stretch,
    flip,
    pec,
    frozen,
    address,
    brownout,
    power_loss,
    taken,
};

/// What a kind of fault can be told besides when it strikes.
enum class fault_parameter : uint8_t {
    none,
    byte,    ///< its place in the transfer, from 1
    clocks,  ///< of the master
    time,    ///< in milliseconds
    address, ///< of 7 bits
};

/// Of a kind of fault: help, completion, the parser and docs/faults.md are made of these.
struct fault_facts {
    fault_kind kind;
    std::string_view name; ///< as in `varnel-sim fault`
    std::string_view effect;
    std::string_view seen; ///< by the program
    std::string_view source;
    fault_parameter parameter = fault_parameter::none;
    std::optional<uint64_t> usual_parameter = std::nullopt;
    bool needs_parameter = false;
};

/// Of a parameter.
struct parameter_facts {
    fault_parameter parameter;
    std::string_view option; ///< of `varnel-sim fault`
    std::string_view key;    ///< in JSON
    std::string_view what;
    uint64_t least;
    uint64_t most;
};

/// All kinds.
[[nodiscard]] std::span<const fault_facts> fault_kinds();
[[nodiscard]] const fault_facts &facts_of(fault_kind kind);
[[nodiscard]] std::string_view name_of(fault_kind kind);
[[nodiscard]] std::optional<fault_kind> fault_kind_named(std::string_view name);
/// Their names, with `separator` between them.
[[nodiscard]] std::string fault_names(std::string_view separator);

/// All parameters but none.
[[nodiscard]] std::span<const parameter_facts> fault_parameters();
/// Null for none.
[[nodiscard]] const parameter_facts *facts_of(fault_parameter parameter);

} // namespace varnel::sim
