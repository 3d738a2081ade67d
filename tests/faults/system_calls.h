// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::test {

/// A system call that a process made.
struct system_call {
    long number = -1;
    std::array<uint64_t, 6> arguments{};
    std::string path;   ///< of the file that it is about
    int64_t result = 0; ///< or the negated errno
};

/// How a system call fails.
struct effect {
    enum class shape {
        error,            ///< it does nothing but fail
        error_afterwards, ///< it does its work and fails: close(2), wait4(2)
        short_count,      ///< it moves half of the bytes
        end               ///< nothing more to receive
    };
    shape what = shape::error;
    int number = 0; ///< errno
};

/// Its name; empty for a call whose failures are not tried, because it cannot fail or the process would not survive.
[[nodiscard]] std::string_view name_of(long number);

/// Whether its first argument is the descriptor of the file that it is about.
[[nodiscard]] bool has_descriptor(long number);

/// How this call can fail, by its manual page, likeliest first. `call` has the result that it had without a fault.
[[nodiscard]] std::vector<effect> effects_of(const system_call &call);

} // namespace varnel::test
