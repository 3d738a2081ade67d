// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/kernel_events.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/command_line.h"

namespace varnel::sim::tool {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail(const fs::path &file, int error, const char *advice = "") {
    throw host::bad_usage(fmt::format("{}: {}{}", file.string(), std::strerror(error), advice));
}

constexpr const char *for_root = "; recording the kernel's events takes root";

/// Where tracefs is: in its own place, or in that of older systems.
fs::path find_tracefs(const std::optional<std::string> &wanted) {
    const fs::path usual = "/sys/kernel/tracing";
    for (const fs::path &folder : wanted ? std::vector<fs::path>{*wanted}
                                         : std::vector<fs::path>{usual, "/sys/kernel/debug/tracing"}) {
        if (access((folder / "events").c_str(), F_OK) == 0) {
            return folder;
        }
        if (errno == EACCES) {
            fail(folder, EACCES, for_root);
        }
    }
    const std::string folder = wanted.value_or(usual);
    throw host::bad_usage(
        fmt::format("{0}: no tracefs is mounted here: mount -t tracefs tracefs {0}", folder));
}

void write_word(const fs::path &file, std::string_view word) {
    const host::descriptor opened(open(file.c_str(), O_WRONLY | O_CLOEXEC));
    if (!opened.is_open() || ::write(opened.get(), word.data(), word.size()) < 0) {
        fail(file, errno);
    }
}

/// A trace of our own.
fs::path make_trace(const fs::path &tracefs) {
    if (access((tracefs / "events" / "i2c").c_str(), F_OK) != 0) {
        fail(tracefs / "events" / "i2c", errno,
             "; has this kernel CONFIG_EVENT_TRACING, and has I2C been loaded (modprobe i2c-dev)?");
    }
    fs::path trace = tracefs / "instances" / "varnel-sim";
    if (mkdir(trace.c_str(), S_IRWXU) == 0) {
        return trace;
    }
    if (errno == EEXIST) {
        throw host::bad_usage(
            fmt::format("{0}: another recording is going on; if it was killed: rmdir {0}", trace.string()));
    }
    fail(trace, errno, errno == EACCES ? for_root : "");
}

} // namespace

kernel_events::kernel_events(const std::optional<std::string> &tracefs)
    : trace_(make_trace(find_tracefs(tracefs))) {
    try {
        const fs::path pipe = trace_ / "trace_pipe";
        pipe_ = host::descriptor(open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        if (!pipe_.is_open()) {
            fail(pipe, errno);
        }
        write_word(trace_ / "events" / "i2c" / "enable", "1");
    } catch (...) {
        pipe_.close();
        rmdir(trace_.c_str());
        throw;
    }
}

kernel_events::~kernel_events() {
    pipe_.close();
    rmdir(trace_.c_str()); // which also ends the events
}

void kernel_events::stop() { write_word(trace_ / "events" / "i2c" / "enable", "0"); }

std::string kernel_events::read() {
    std::string text;
    std::array<char, 65536> part{};
    for (;;) {
        const ssize_t size = ::read(pipe_.get(), part.data(), part.size());
        if (size > 0) {
            text.append(part.data(), static_cast<std::size_t>(size));
        } else if (size == 0 || errno == EAGAIN) {
            return text;
        } else if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), (trace_ / "trace_pipe").string());
        }
    }
}

} // namespace varnel::sim::tool
