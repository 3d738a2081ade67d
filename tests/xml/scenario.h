// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace varnel::test {

/// What a scripted refill function does at one call.
enum class refill_act : uint8_t {
    full,          ///< As much as fits.
    one,           ///< One byte.
    three,         ///< Three bytes at most.
    nothing,       ///< Claims the end of input; there may be more the next time.
    fail,          ///< Error 1.
    fail_seven,    ///< An error of its own.
    fail_and_fill, ///< An error, and bytes all the same.
    recover,       ///< Clears the error and goes on.
    push_tag,      ///< As much as fits, and pushes "<" back.
    push_newline,  ///< Two bytes, and pushes a newline back.
};
inline constexpr unsigned refill_acts = 10;

/// A text, and how it reaches the reader.
struct scenario {
    std::string text;
    unsigned flags = 0;
    unsigned capacity = 2048;        ///< Of the refill buffer; 0 puts the whole text in a fixed buffer.
    std::vector<refill_act> acts;    ///< For the first refills; then all are full.
    int pushed = -256;               ///< Pushed back before reading begins.
    int error = 0;                   ///< The refiller's, before reading begins.
    int status = 0;                  ///< The document's, before reading begins.
    std::optional<std::string> name; ///< Of the node that is read into.
    unsigned reads = 1;              ///< How often the reader is called.
    bool attributes = false;         ///< Reads one attribute instead of nodes; with `reads` 1.
};

/// All that a caller of the reader and its refill function can see, call by call, as text. The library's
/// flags are those of the scenario and `kind`, which is 0 or xml_flag_compact.
std::string seen_from_library(const scenario &s, unsigned kind);
std::string seen_from_reference(const scenario &s);

} // namespace varnel::test
