// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/calling_process.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <string>
#include <string_view>

#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "host/numbers.h"
#include "sim/device_files/filter.h"

namespace varnel::sim::device_files {

using host::descriptor;
using host::digits_as;

namespace {

std::string descriptor_name(pid_t thread, int number) {
    return fmt::format("/proc/{}/fd/{}", thread, number);
}

} // namespace

pid_t process_of(pid_t thread) {
    static constexpr std::string_view label = "Tgid:\t";
    std::ifstream status(fmt::format("/proc/{}/status", thread));
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(label)) {
            return digits_as<pid_t>(std::string_view(line).substr(label.size())).value_or(thread);
        }
    }
    return thread;
}

std::string object_of(pid_t thread, uint64_t number) {
    std::array<char, 64> text{};
    const ssize_t size =
        readlink(descriptor_name(thread, static_cast<int>(number)).c_str(), text.data(), text.size());
    return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

std::optional<int> free_device_descriptor(pid_t thread, int least) {
    for (int number = std::max(least, first_device_descriptor); number <= last_device_descriptor; ++number) {
        struct stat ignored {};
        if (lstat(descriptor_name(thread, number).c_str(), &ignored) != 0) {
            return number;
        }
    }
    return std::nullopt;
}

descriptor copy_of_descriptor(pid_t thread, uint64_t number) {
    const descriptor process(static_cast<int>(syscall(SYS_pidfd_open, process_of(thread), 0)));
    return descriptor(static_cast<int>(syscall(SYS_pidfd_getfd, process.get(), static_cast<int>(number), 0)));
}

} // namespace varnel::sim::device_files
