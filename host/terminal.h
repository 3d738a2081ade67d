// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

namespace varnel::host {

[[nodiscard]] bool is_terminal(std::FILE *stream);

struct terminal_size {
    std::size_t rows;
    std::size_t columns;
};

/// Of the terminal behind a stream; 24 x 80 when it does not say.
[[nodiscard]] terminal_size size_of_terminal(std::FILE *stream);

/// Whether colour is welcome: a terminal that is not "dumb", and NO_COLOR is not set (https://no-color.org).
[[nodiscard]] bool wants_colour(std::FILE *stream);

enum class colour { red, green, yellow };

/// The text in a colour, or as it is when the stream's reader does not want any.
[[nodiscard]] std::string coloured(std::FILE *stream, colour which, std::string_view text);

} // namespace varnel::host
