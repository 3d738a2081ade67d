// SPDX-License-Identifier: Apache-2.0
#include "sim/virtual_time/task.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "sim/device_files/calling_process.h"

namespace varnel::sim::virtual_time {

using host::descriptor;

namespace {

descriptor open_file(const std::string &name) { return descriptor(open(name.c_str(), O_RDONLY | O_CLOEXEC)); }

/// The start of a file of /proc; empty when what it describes has ended.
class proc_text {
  public:
    explicit proc_text(const descriptor &file) {
        const ssize_t size = pread(file.get(), content_.data(), content_.size(), 0);
        text_ = {content_.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
    }
    proc_text(const proc_text &) = delete;
    proc_text &operator=(const proc_text &) = delete;

    [[nodiscard]] std::string_view text() const { return text_; }
    /// What follows a label and a tab. Labels are asked for in the order in which they are in the file.
    [[nodiscard]] std::string_view field(std::string_view label) {
        const std::size_t at = text_.find(label, from_);
        if (at == std::string_view::npos) {
            return "";
        }
        from_ = at + label.size();
        return text_.substr(from_ + 1);
    }
    [[nodiscard]] uint64_t number(std::string_view label, int base = 10) {
        const std::string_view digits = field(label);
        uint64_t value = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
        return value;
    }

  private:
    std::array<char, 4096> content_;
    std::string_view text_;
    std::size_t from_ = 0;
};

} // namespace

bool task::waits() const {
    static constexpr std::string_view at_rest = "STZX";
    return at_rest.find(state) != std::string_view::npos;
}

task_files::task_files(const std::string &folder)
    : status_(open_file(folder + "/status")), call_(open_file(folder + "/syscall")) {}

/// A thread that has said that it will wait may still be on its processor, or the kernel may have taken the processor from
/// it before, with work to do. The kernel waits for the end of that before it tells the system call.
std::optional<task> task_files::look() const {
    static constexpr int hexadecimal = 16;
    proc_text status(status_);
    const std::string_view state = status.field("\nState:");
    if (state.empty()) {
        return std::nullopt;
    }
    task found{};
    found.state = state.front();
    found.process = static_cast<pid_t>(status.number("\nTgid:"));
    found.thread = static_cast<pid_t>(status.number("\nPid:"));
    found.parent = static_cast<pid_t>(status.number("\nPPid:"));
    found.pending = status.number("\nSigPnd:", hexadecimal) | status.number("\nShdPnd:", hexadecimal);
    found.blocked = status.number("\nSigBlk:", hexadecimal);
    found.caught = status.number("\nSigCgt:", hexadecimal);
    found.switches =
        status.number("\nvoluntary_ctxt_switches:") + status.number("\nnonvoluntary_ctxt_switches:");
    if (found.state == 'S' && proc_text(call_).text().starts_with("running")) {
        found.state = 'R';
    }
    return found;
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

void add_children(const std::string &folder, std::vector<pid_t> &processes) {
    const proc_text file(open_file(folder + "/children"));
    std::string_view list = file.text();
    pid_t child = 0;
    for (auto read = std::from_chars(list.data(), list.data() + list.size(), child); read.ec == std::errc{};
         read = std::from_chars(list.data(), list.data() + list.size(), child)) {
        processes.push_back(child);
        list.remove_prefix(static_cast<std::size_t>(read.ptr - list.data()));
        list.remove_prefix(std::min(list.size(), std::size_t{1}));
    }
}

std::string name_of(pid_t thread) {
    const proc_text file(open_file(fmt::format("/proc/{}/comm", thread)));
    std::string name(file.text());
    std::erase(name, '\n');
    return fmt::format("{}[{}]", name, device_files::process_of(thread));
}

} // namespace varnel::sim::virtual_time
