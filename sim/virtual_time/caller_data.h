// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <span>
#include <vector>

#include "sim/device_files/notification.h"

namespace varnel::sim::virtual_time {

using device_files::system_call;
using std::chrono::nanoseconds;

template <class Object>
std::span<uint8_t> bytes_of(Object &object) {
    return {reinterpret_cast<uint8_t *>(&object), sizeof object};
}

template <class Object>
std::span<uint8_t> bytes_of(std::vector<Object> &objects) {
    return {reinterpret_cast<uint8_t *>(objects.data()), objects.size() * sizeof(Object)};
}

/// The object that an argument of a system call points to; nothing if it cannot be read.
template <class Object>
std::optional<Object> read(const system_call &call, std::size_t argument) {
    Object object{};
    return device_files::process_memory(call.thread).read(call.arguments[argument], bytes_of(object))
               ? std::optional(object)
               : std::nullopt;
}

/// Stores an object where an argument points to. Returns whether it could.
template <class Object>
bool write(const system_call &call, std::size_t argument, Object object) {
    return device_files::process_memory(call.thread).write(call.arguments[argument], bytes_of(object));
}

inline timespec timespec_of(nanoseconds time) {
    const auto whole = std::chrono::floor<std::chrono::seconds>(time);
    return {static_cast<time_t>(whole.count()), static_cast<long>((time - whole).count())};
}

/// Nothing for times that the kernel refuses.
inline std::optional<nanoseconds> time_of(int64_t seconds, int64_t part, nanoseconds unit) {
    static constexpr std::chrono::seconds longest = std::chrono::hours(24 * 366 * 100);
    if (seconds < 0 || part < 0 || part * unit >= std::chrono::seconds(1)) {
        return std::nullopt;
    }
    return std::min<nanoseconds>(std::chrono::seconds(std::min<int64_t>(seconds, longest.count())), longest) +
           part * unit;
}

} // namespace varnel::sim::virtual_time
