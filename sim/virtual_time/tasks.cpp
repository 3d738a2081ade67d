// SPDX-License-Identifier: Apache-2.0
#include "sim/virtual_time/tasks.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

namespace varnel::sim::virtual_time {

tasks::tasks(pid_t server) : server_(fmt::format("/proc/{}", server)) {}

void tasks::find_all() {
    std::map<pid_t, task_files> found;
    std::vector<pid_t> processes;
    add_children(fmt::format("/proc/self/task/{}", getpid()), processes);
    for (std::size_t i = 0; i < processes.size(); ++i) {
        const std::string threads = fmt::format("/proc/{}/task", processes[i]);
        for (const pid_t thread : numbers_in(threads)) {
            const std::string folder = fmt::format("{}/{}", threads, thread);
            if (auto known = files_.extract(thread)) {
                found.insert(std::move(known));
            } else {
                found.try_emplace(thread, folder);
            }
            add_children(folder, processes);
        }
    }
    files_ = std::move(found);
}

bool tasks::is_at_work(pid_t thread) {
    const auto found = files_.find(thread);
    const auto one = found == files_.end() ? std::nullopt : found->second.look();
    return one && is_at_work(*one);
}

bool tasks::is_at_work(const task &one) {
    if (!one.waits()) {
        worker_ = one.thread;
    }
    return !one.waits();
}

/// Those that are not held, if all of these wait. A thread that has ended is forgotten: another one may have its number.
std::optional<tasks::observed> tasks::look(const std::set<pid_t> &held, also server) {
    if (!complete_) {
        find_all();
    }
    observed seen;
    for (auto each = files_.begin(); each != files_.end();) {
        const auto one = held.contains(each->first) ? std::nullopt : each->second.look();
        if (one && is_at_work(*one)) {
            return std::nullopt;
        }
        if (one) {
            seen.try_emplace(each->first, *one);
        }
        each = one || held.contains(each->first) ? std::next(each) : files_.erase(each);
    }
    const auto one = server == also::server ? server_.look() : std::nullopt;
    if (one && is_at_work(*one)) {
        return std::nullopt;
    }
    server_switches_ = one ? one->switches : 0;
    return seen;
}

/// Signals may wait for them.
void tasks::add_held(const std::set<pid_t> &held, observed &seen) const {
    for (const pid_t thread : held) {
        const auto found = files_.find(thread);
        const auto one = found == files_.end() ? std::nullopt : found->second.look();
        if (one) {
            seen.try_emplace(thread, *one);
        }
    }
}

/// A thread that has given up no processor between two looks has waited all the time between them, if it waited at
/// both. The times between the two looks at each thread have a moment in common: the end of the first round.
bool tasks::all_wait(const std::set<pid_t> &held, pid_t likely, also server) {
    worker_ = 0;
    if (!held.contains(likely) && is_at_work(likely)) {
        return false;
    }
    const auto before = look(held, server);
    const uint64_t switches_before = server_switches_;
    auto after = before ? look(held, server) : std::nullopt;
    if (!after || before != after || server_switches_ != switches_before) {
        return false;
    }
    add_held(held, *after);
    worked_ = seen_ != *after;
    seen_ = std::move(*after);
    if (!std::exchange(complete_, true)) {
        number_new_ones();
    }
    return true;
}

/// Numbers those that were started by threads which have a number, or by nobody who is left. What each of two programs
/// starts at the same moment has ids in any order.
void tasks::number_next_generation(const std::vector<task> &fresh, std::map<pid_t, uint64_t> &known) {
    const auto starter = [](const task &each) {
        return each.thread == each.process ? each.parent : each.process;
    };
    std::vector<std::pair<uint64_t, pid_t>> generation;
    for (const task &each : fresh) {
        const bool starter_waits = std::ranges::any_of(fresh, [&](const task &other) {
            return other.thread == starter(each) && !known.contains(other.thread);
        });
        if (!known.contains(each.thread) && !starter_waits) {
            const auto found = known.find(starter(each));
            generation.emplace_back(found == known.end() ? 0 : found->second, each.thread);
        }
    }
    std::ranges::sort(generation);
    for (const auto &[rank, thread] : generation) {
        known[thread] = next_rank_++;
    }
}

void tasks::number_new_ones() {
    std::vector<task> fresh;
    std::map<pid_t, uint64_t> known;
    for (const auto &[thread, each] : seen_) {
        if (const auto found = ranks_.find(thread); found != ranks_.end()) {
            known.insert(*found);
        } else {
            fresh.push_back(each);
        }
    }
    const auto is_unnumbered = [&](const task &each) { return !known.contains(each.thread); };
    while (std::ranges::any_of(fresh, is_unnumbered)) {
        number_next_generation(fresh, known);
    }
    ranks_ = std::move(known);
}

const task *tasks::find(pid_t thread) const {
    const auto found = seen_.find(thread);
    return found == seen_.end() ? nullptr : &found->second;
}

std::set<pid_t> tasks::processes() const {
    std::set<pid_t> all;
    for (const auto &[thread, each] : seen_) {
        all.insert(each.process);
    }
    return all;
}

uint64_t tasks::rank(pid_t thread) const {
    const auto found = ranks_.find(thread);
    return found == ranks_.end() ? 0 : found->second;
}

} // namespace varnel::sim::virtual_time
