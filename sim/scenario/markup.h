// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace varnel::sim::scenario {

/// Text as it may stand in XML and HTML, also in an attribute's quotes: markup escaped; control characters, which XML does
/// not have, are a question mark.
[[nodiscard]] inline std::string escaped(std::string_view text) {
    std::string to;
    for (const char each : text) {
        switch (each) {
        case '&':
            to += "&amp;";
            break;
        case '<':
            to += "&lt;";
            break;
        case '>':
            to += "&gt;";
            break;
        case '"':
            to += "&quot;";
            break;
        default:
            to += static_cast<unsigned char>(each) < ' ' && each != '\n' && each != '\t' ? '?' : each;
        }
    }
    return to;
}

} // namespace varnel::sim::scenario
