// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/watch.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <string_view>

#include <fmt/format.h>

#include "host/held_signals.h"
#include "host/standard_streams.h"
#include "host/terminal.h"

namespace varnel::tools {

namespace {

/// Draws each view over the one before. Lines are cut at the right edge, views at the height of the terminal.
class screen {
  public:
    void draw(std::string_view view) {
        std::string frame = "\x1b[?7l"; // no wrapping
        if (height_ > 0) {
            frame += fmt::format("\x1b[{}A\r", height_);
        }
        height_ = 0;
        const std::size_t rows = size_of_terminal(stdout).rows;
        while (!view.empty() && height_ + 1 < rows) {
            const std::size_t end = std::min(view.find('\n'), view.size());
            frame += fmt::format("{}\x1b[K\n", view.substr(0, end));
            view.remove_prefix(std::min(end + 1, view.size()));
            ++height_;
        }
        print(frame + "\x1b[J\x1b[?7h");
    }

  private:
    std::size_t height_ = 0;
};

std::string view_or_trouble(const std::function<std::string()> &view) {
    try {
        return view();
    } catch (const failed &trouble) {
        if (!is_terminal(stdout)) {
            say(fmt::format("varnel: {}", trouble.what()));
            return "";
        }
        return fmt::format("{}\n", coloured(stdout, colour::red, trouble.what()));
    }
}

void watch(const watch_options &options, const std::function<std::string()> &view) {
    const held_signals signals; // a view is always whole
    const uint64_t most = options.count.value_or(std::numeric_limits<uint64_t>::max());
    screen terminal;
    for (uint64_t shown = 0; shown < most; ++shown) {
        if (shown > 0 && signals.next_within(*options.interval) != 0) {
            return;
        }
        const std::string text = view_or_trouble(view);
        is_terminal(stdout) ? terminal.draw(text) : print(text);
    }
}

} // namespace

void add_watch(argument_parser verb, watch_options &options) {
    const argument interval =
        add_duration(verb, "--watch", options.interval, "show it again and again, such as every 1s");
    add_number(verb, "--count", options.count, {1, UINT32_MAX}, "end after N views").needs(interval);
}

void show(const watch_options &options, const std::function<std::string()> &view) {
    options.interval ? watch(options, view) : print(view());
}

} // namespace varnel::tools
