// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/watch.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <limits>
#include <string_view>

#include <fmt/format.h>

#include "tools/support/terminal.h"
#include "tools/varnel/report.h"

namespace varnel::tools {

namespace {

/// Signals that end the watch, held back while a view is made and shown, so that it is always whole.
class interruption {
  public:
    interruption() {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGINT);
        sigaddset(&signals_, SIGTERM);
        sigprocmask(SIG_BLOCK, &signals_, &before_);
    }
    ~interruption() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
    interruption(const interruption &) = delete;
    interruption &operator=(const interruption &) = delete;

    /// Returns true when a signal came before the time was over.
    [[nodiscard]] bool comes_within(std::chrono::milliseconds time) const {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
        timespec limit{};
        limit.tv_sec = static_cast<time_t>(seconds.count());
        limit.tv_nsec = static_cast<long>(std::chrono::nanoseconds(time - seconds).count());
        return sigtimedwait(&signals_, nullptr, &limit) > 0;
    }

  private:
    sigset_t signals_{};
    sigset_t before_{};
};

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
            fmt::print(stderr, "varnel: {}\n", trouble.what());
            return "";
        }
        return fmt::format("{}\n", coloured(stdout, colour::red, trouble.what()));
    }
}

void watch(const watch_options &options, const std::function<std::string()> &view) {
    const interruption interruption;
    const uint64_t most = options.count > 0 ? options.count : std::numeric_limits<uint64_t>::max();
    screen screen;
    for (uint64_t shown = 0; shown < most; ++shown) {
        if (shown > 0 && interruption.comes_within(*options.interval)) {
            return;
        }
        const std::string text = view_or_trouble(view);
        is_terminal(stdout) ? screen.draw(text) : print(text);
    }
}

} // namespace

void add_watch(CLI::App &verb, watch_options &options) {
    CLI::Option *const interval =
        add_duration(verb, "--watch", options.interval, "show it again and again, such as every 1s");
    add_number(verb, "--count", options.count, UINT32_MAX, "end after N views")->needs(interval);
}

void show(const watch_options &options, const std::function<std::string()> &view) {
    options.interval ? watch(options, view) : print(view());
}

} // namespace varnel::tools
