// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/trial_pool.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <fmt/format.h>
#include <poll.h>

#include "host/terminal.h"

namespace varnel::sim::tool {

namespace {

using campaign::judged;
using campaign::trial;
using steady_clock = std::chrono::steady_clock;

/// How soon a run that does not end is looked at again.
constexpr int longest_wait_ms = 50;

} // namespace

bool trial_pool::spent() const {
    return (limits_.runs && begun_ >= *limits_.runs) ||
           (limits_.time && steady_clock::now() - begin_ >= *limits_.time);
}

void trial_pool::wait(const std::vector<running> &all) const {
    std::vector<pollfd> watched;
    for (const running &each : all) {
        each.run->add_watched(watched);
    }
    (void)poll(watched.data(), watched.size(), longest_wait_ms);
}

void trial_pool::judge(running &ended, std::vector<judged> &results) const {
    const campaign::ending how = ended.run->ending();
    auto &transfers = ended.run->transfers();
    results.push_back({*ended.trial, verdict(how, rules_), struck(*ended.trial, transfers),
                       steady_clock::now() - ended.run->begin(), std::move(transfers)});
}

/// On one line, which is overwritten each time.
void trial_pool::show(std::size_t done, std::size_t all, std::size_t bad) const {
    if (!host::is_terminal(stderr)) {
        return;
    }
    const std::chrono::duration<double> since = steady_clock::now() - begin_;
    const double left = since.count() / static_cast<double>(begun_) * static_cast<double>(all - done);
    fmt::print(stderr, "\r\x1b[K{} of {} runs, {} bad, {:.0f} s left", done, all, bad, std::ceil(left));
    if (done == all) {
        fmt::print(stderr, "\r\x1b[K");
    }
    std::fflush(stderr);
}

std::vector<judged> trial_pool::run(const std::vector<trial> &trials) {
    std::vector<judged> results;
    std::vector<running> all;
    auto next = trials.begin();
    while (!all.empty() || (next != trials.end() && !spent())) {
        while (all.size() < jobs_ && next != trials.end() && !spent()) {
            all.push_back({&*next, std::make_unique<trial_run>(setting_, *next)});
            ++next;
            ++begun_;
        }
        wait(all);
        std::erase_if(all, [&](running &each) {
            const bool over = each.run->over();
            if (over) {
                judge(each, results);
                const auto bad = std::ranges::count(results, campaign::outcome::bad, campaign::outcome_of);
                show(results.size(), trials.size(), static_cast<std::size_t>(bad));
            }
            return over;
        });
    }
    return results;
}

} // namespace varnel::sim::tool
