// SPDX-License-Identifier: Apache-2.0
#include "sim/virtual_time/tasks.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "host/descriptor.h"
#include "sim/device_files/calling_process.h"

namespace varnel::sim::virtual_time {

namespace {

/// The start of a file of /proc; empty when what it describes has ended.
class proc_file {
  public:
    explicit proc_file(const std::string &name) {
        const host::descriptor file(open(name.c_str(), O_RDONLY | O_CLOEXEC));
        const ssize_t size = file.is_open() ? read(file.get(), content_.data(), content_.size()) : 0;
        text_ = {content_.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
    }
    proc_file(const proc_file &) = delete;
    proc_file &operator=(const proc_file &) = delete;

    [[nodiscard]] std::string_view text() const { return text_; }
    /// What follows a label and a tab.
    [[nodiscard]] std::string_view field(std::string_view label) const {
        const std::size_t at = text_.find(label);
        return at == std::string_view::npos ? "" : text_.substr(at + label.size() + 1);
    }
    [[nodiscard]] uint64_t number(std::string_view label, int base = 10) const {
        const std::string_view digits = field(label);
        uint64_t value = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
        return value;
    }

  private:
    std::array<char, 4096> content_;
    std::string_view text_;
};

/// Whether a thread that has said that it will wait has left its processor, too: the kernel may have taken the processor
/// from it before, with work to do. The kernel waits for that before it tells the system call.
bool is_off_processor(const std::string &folder) {
    return !proc_file(folder + "/syscall").text().starts_with("running");
}

std::optional<task> task_named(const std::string &folder) {
    static constexpr int hexadecimal = 16;
    const proc_file status(folder + "/status");
    if (status.text().empty()) {
        return std::nullopt;
    }
    return task{static_cast<pid_t>(status.number("\nPid:")),
                static_cast<pid_t>(status.number("\nTgid:")),
                static_cast<pid_t>(status.number("\nPPid:")),
                is_off_processor(folder) ? status.field("\nState:").front() : 'R',
                status.number("\nvoluntary_ctxt_switches:") + status.number("nonvoluntary_ctxt_switches:"),
                status.number("\nSigPnd:", hexadecimal) | status.number("\nShdPnd:", hexadecimal),
                status.number("\nSigBlk:", hexadecimal),
                status.number("\nSigCgt:", hexadecimal),
                false};
}

void add_children(const std::string &thread, std::vector<pid_t> &processes) {
    const proc_file file(thread + "/children");
    std::string_view list = file.text();
    pid_t child = 0;
    for (auto read = std::from_chars(list.data(), list.data() + list.size(), child); read.ec == std::errc{};
         read = std::from_chars(list.data(), list.data() + list.size(), child)) {
        processes.push_back(child);
        list.remove_prefix(static_cast<std::size_t>(read.ptr - list.data()));
        list.remove_prefix(std::min(list.size(), std::size_t{1}));
    }
}

} // namespace

bool task::waits() const {
    static constexpr std::string_view at_rest = "STZX";
    return is_held || at_rest.find(state) != std::string_view::npos;
}

/// In the second field, the name, there may be anything.
bool runs(pid_t thread) {
    static constexpr std::string_view after_name = ") ";
    const proc_file stat(fmt::format("/proc/{}/stat", thread));
    const std::size_t at = stat.text().rfind(after_name);
    return at != std::string_view::npos && stat.text().substr(at + after_name.size()).starts_with('R');
}

std::vector<int> numbers_in(const std::string &folder) {
    std::vector<int> numbers;
    if (DIR *const opened = opendir(folder.c_str())) {
        while (const dirent *const entry = readdir(opened)) {
            pid_t number = 0;
            const std::string_view name = entry->d_name;
            std::from_chars(name.data(), name.data() + name.size(), number);
            if (number != 0) {
                numbers.push_back(number);
            }
        }
        closedir(opened);
    }
    return numbers;
}

std::string name_of(pid_t thread) {
    std::string name(proc_file(fmt::format("/proc/{}/comm", thread)).text());
    std::erase(name, '\n');
    return fmt::format("{}[{}]", name, device_files::process_of(thread));
}

std::vector<task> tasks::look(const std::set<pid_t> &held, also server) const {
    std::vector<task> found;
    std::vector<pid_t> processes;
    add_children(fmt::format("/proc/self/task/{}", getpid()), processes);
    for (std::size_t i = 0; i < processes.size(); ++i) {
        const std::string threads = fmt::format("/proc/{}/task", processes[i]);
        for (const pid_t thread : numbers_in(threads)) {
            const std::string folder = fmt::format("{}/{}", threads, thread);
            if (const auto one = task_named(folder)) {
                found.push_back(*one);
                found.back().is_held = held.contains(thread);
            }
            add_children(folder, processes);
        }
    }
    const auto one = server == also::server ? task_named(fmt::format("/proc/{}", server_)) : std::nullopt;
    if (one) {
        found.push_back(*one);
    }
    return found;
}

/// A thread that has given up no processor between two looks has waited all the time between them, if it waited at
/// both. The times between the two looks at each thread have a moment in common: the end of the first round.
bool tasks::all_wait(const std::set<pid_t> &held, also server) {
    seen_ = look(held, server);
    if (!std::ranges::all_of(seen_, &task::waits)) {
        return false;
    }
    const std::vector<task> before = std::exchange(seen_, look(held, server));
    if (seen_ != before) {
        return false;
    }
    number_new_ones();
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
    for (const task &each : seen_) {
        if (const auto found = ranks_.find(each.thread); found != ranks_.end()) {
            known.insert(*found);
        } else {
            fresh.push_back(each);
        }
    }
    const auto is_unnumbered = [&](const task &each) { return !known.contains(each.thread); };
    std::ranges::sort(fresh, {}, &task::thread);
    while (std::ranges::any_of(fresh, is_unnumbered)) {
        number_next_generation(fresh, known);
    }
    ranks_ = std::move(known);
}

const task *tasks::find(pid_t thread) const {
    const auto found = std::ranges::find(seen_, thread, &task::thread);
    return found == seen_.end() ? nullptr : &*found;
}

std::set<pid_t> tasks::processes() const {
    std::set<pid_t> all;
    for (const task &each : seen_) {
        all.insert(each.process);
    }
    return all;
}

uint64_t tasks::rank(pid_t thread) const {
    const auto found = ranks_.find(thread);
    return found == ranks_.end() ? 0 : found->second;
}

std::string tasks::who_works() const {
    const auto found = std::ranges::find_if_not(seen_, &task::waits);
    return found == seen_.end() ? "" : name_of(found->thread);
}

} // namespace varnel::sim::virtual_time
