// SPDX-License-Identifier: Apache-2.0
#include "host/terminal.h"

#include <cstdlib>

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace varnel::host {

bool is_terminal(std::FILE *stream) { return isatty(fileno(stream)) == 1; }

terminal_size size_of_terminal(std::FILE *stream) {
    winsize size{};
    if (ioctl(fileno(stream), TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) {
        return {24, 80};
    }
    return {size.ws_row, size.ws_col};
}

bool wants_colour(std::FILE *stream) {
    const char *const no_colour = std::getenv("NO_COLOR");
    const char *const type = std::getenv("TERM");
    return is_terminal(stream) && (no_colour == nullptr || *no_colour == '\0') &&
           (type == nullptr || std::string_view(type) != "dumb");
}

std::string coloured(std::FILE *stream, colour which, std::string_view text) {
    static constexpr int red = 31;
    static constexpr int green = 32;
    static constexpr int yellow = 33;
    if (!wants_colour(stream)) {
        return std::string(text);
    }
    const int code = which == colour::red ? red : which == colour::green ? green : yellow;
    return fmt::format("\x1b[{}m{}\x1b[0m", code, text);
}

} // namespace varnel::host
