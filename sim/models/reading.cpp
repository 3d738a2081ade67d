// SPDX-License-Identifier: Apache-2.0
#include "sim/models/reading.h"

#include <array>

#include <fmt/format.h>

namespace varnel::sim {

namespace {

struct unit_names {
    std::string_view name;
    std::string_view symbol;
};

/// In the order of the enumeration.
constexpr std::array<unit_names, 6> units{
    {{"volts", "V"}, {"amperes", "A"}, {"watts", "W"}, {"celsius", "C"}, {"rpm", "rpm"}, {"percent", "%"}}};

constexpr const unit_names &names_of(unit of) { return units.at(static_cast<std::size_t>(of)); }

std::string text_of(const std::string &text) { return text; }

std::string text_of(const measurement &measured) {
    return fmt::format("{:.{}f} {}", measured.number, measured.decimals, names_of(measured.of).symbol);
}

std::string text_of(const register_value &held) { return fmt::format("0x{:0{}x}", held.bits, held.digits); }

} // namespace

std::string_view name_of(unit of) { return names_of(of).name; }

std::string text_of(const reading_value &value) {
    return std::visit([](const auto &each) { return text_of(each); }, value);
}

} // namespace varnel::sim
