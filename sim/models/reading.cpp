// SPDX-License-Identifier: Apache-2.0
#include "sim/models/reading.h"

#include <array>
#include <cstdio>
#include <type_traits>

namespace varnel::sim {

namespace {

struct unit_names {
    std::string_view name;
    std::string_view symbol;
};

/// In the order of the enumeration.
constexpr std::array<unit_names, 5> units{
    {{"volts", "V"}, {"watts", "W"}, {"celsius", "C"}, {"rpm", "rpm"}, {"percent", "%"}}};

constexpr const unit_names &names_of(unit of) { return units.at(static_cast<std::size_t>(of)); }

template <class... Arguments>
std::string formatted(const char *format, Arguments... arguments) {
    std::array<char, 64> text{};
    const int length = std::snprintf(text.data(), text.size(), format, arguments...);
    return {text.data(), static_cast<std::size_t>(length)};
}

std::string text_of(const std::string &text) { return text; }

std::string text_of(const measurement &measured) {
    return formatted("%.*f ", measured.decimals, measured.number) + std::string(names_of(measured.of).symbol);
}

std::string text_of(const register_value &held) { return formatted("0x%0*x", held.digits, held.bits); }

} // namespace

std::string_view name_of(unit of) { return names_of(of).name; }

std::string text_of(const reading_value &value) {
    return std::visit([](const auto &each) { return text_of(each); }, value);
}

} // namespace varnel::sim
