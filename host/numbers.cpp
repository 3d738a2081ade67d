// SPDX-License-Identifier: Apache-2.0
#include "host/numbers.h"

#include <limits>
#include <string>

#include <fmt/format.h>

#include "host/command_line.h"

namespace varnel::host {

namespace {

std::string name_of(range allowed) {
    if (allowed.most < std::numeric_limits<uint64_t>::max()) {
        const bool is_data = allowed.least == 0 && (allowed.most == UINT8_MAX || allowed.most == UINT16_MAX);
        const std::string in_hexadecimal = is_data ? fmt::format(" (0x{:x})", allowed.most) : "";
        return fmt::format("number from {} to {}{}", allowed.least, allowed.most, in_hexadecimal);
    }
    return allowed.least == 0 ? "whole number" : fmt::format("whole number of {} or more", allowed.least);
}

} // namespace

uint64_t c_number(std::string_view text, range allowed, std::string_view what) {
    const auto number = whole_number<uint64_t>(text);
    if (!number || *number < allowed.least || *number > allowed.most) {
        throw bad_usage(fmt::format("{}: '{}' is not a {}", what, text, name_of(allowed)));
    }
    return *number;
}

uint64_t size_in_bytes(std::string_view text, std::string_view what) {
    static constexpr std::string_view units = "KMG";
    const std::size_t unit = text.empty() ? std::string_view::npos : units.find(text.back());
    const unsigned int shift =
        unit == std::string_view::npos ? 0 : 10 * (static_cast<unsigned int>(unit) + 1);
    const auto number = whole_number<uint64_t>(shift == 0 ? text : text.substr(0, text.size() - 1));
    if (!number || *number > (std::numeric_limits<uint64_t>::max() >> shift)) {
        throw bad_usage(fmt::format("{}: '{}' is not a size, such as 4096, 64K or 1M", what, text));
    }
    return *number << shift;
}

} // namespace varnel::host
