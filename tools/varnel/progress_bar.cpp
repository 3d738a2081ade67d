// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/progress_bar.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include <fmt/format.h>

#include "host/terminal.h"

namespace varnel::tools {

namespace {

constexpr std::size_t widest_bar = 40;
constexpr std::chrono::milliseconds redraw_interval{100};

std::string amount(double bytes) {
    static constexpr std::array<const char *, 4> units{"B", "KiB", "MiB", "GiB"};
    std::size_t unit = 0;
    while (bytes >= 1024 && unit + 1 < units.size()) {
        bytes /= 1024;
        ++unit;
    }
    return fmt::format("{:.{}f} {}", bytes, unit == 0 ? 0 : 1, units[unit]);
}

std::string clock(double seconds) {
    const auto whole = static_cast<uint64_t>(std::ceil(seconds));
    return whole < 3600 ? fmt::format("{}:{:02}", whole / 60, whole % 60)
                        : fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

std::string bar(double part, std::size_t width) {
    const auto full = static_cast<std::size_t>(part * static_cast<double>(width));
    return fmt::format("[{}{}]", std::string(full, '#'), std::string(width - full, ' '));
}

} // namespace

std::string progress_line(const std::string &label, uint64_t done, uint64_t total, double seconds,
                          std::size_t width) {
    const double part =
        total == 0 ? 1 : std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
    const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
    std::string numbers = fmt::format("{:3.0f}%  {}/s", std::floor(part * 100), amount(rate));
    if (rate > 0 && done < total) {
        numbers += fmt::format("  {} left", clock(static_cast<double>(total - done) / rate));
    }
    const std::size_t taken = label.size() + numbers.size() + 6; // brackets and spaces, and one to spare
    const std::size_t room = width > taken ? std::min(widest_bar, width - taken) : 0;
    return room < 4 ? fmt::format("{}  {}", label, numbers)
                    : fmt::format("{}  {} {}", label, bar(part, room), numbers);
}

progress_bar::progress_bar() : visible_(host::is_terminal(stderr)) {}

progress_bar::~progress_bar() {
    if (drawn_) {
        std::fputc('\n', stderr);
    }
}

void progress_bar::say(const std::string &text) { draw(text); }

void progress_bar::show(const std::string &label, uint64_t done, uint64_t total) {
    const auto now = std::chrono::steady_clock::now();
    if (label != label_) {
        label_ = label;
        start_ = now;
    }
    if (drawn_ && now - last_ < redraw_interval && done < total) {
        return;
    }
    last_ = now;
    const std::chrono::duration<double> since = now - start_;
    draw(progress_line(label, done, total, since.count(), host::size_of_terminal(stderr).columns));
}

void progress_bar::draw(const std::string &line) {
    if (visible_) {
        const std::size_t room = host::size_of_terminal(stderr).columns - 1; // a full line would scroll
        std::fputs(fmt::format("\r\x1b[K{}", line.substr(0, room)).c_str(), stderr);
        std::fflush(stderr);
        drawn_ = true;
    }
}

} // namespace varnel::tools
