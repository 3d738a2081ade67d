// SPDX-License-Identifier: Apache-2.0
// What runs in the processes of a replay: an actor performs functions and stops before each of its steps, which are the
// calls of the C library and the platform that the test program intercepts.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace varnel::models {

/// Performs a function of the library by its name, and what the schedule adds to it; the result is the caller's.
using performer = std::function<long(const std::string &function)>;

/// Descriptors that connect an actor with the replay: lines to it, bytes from it.
struct actor_link {
    int reports;
    int orders;
};

/// Performs one function after the other as it is told to, in the calling thread. Does not return.
[[noreturn]] void act(actor_link link, const performer &perform);

/// Whether the calling thread is an actor in the middle of a function.
bool acting();

/// Calls in its scope are no steps.
class indivisible {
  public:
    indivisible();
    ~indivisible();
    indivisible(const indivisible &) = delete;
    indivisible &operator=(const indivisible &) = delete;

  private:
    bool before_;
};

/// Reports "at NAME" and waits until it may go on. Returns the result that the schedule has, empty when it has none yet.
std::string stop_before(std::string_view name);

/// Reports "NAME = RESULT", and a negative error instead of -1. errno is unchanged.
void report_result(std::string_view name, long result);

/// A step: stops before it, takes it, reports the result.
template <typename call>
auto step(std::string_view name, call take) {
    if (!acting()) {
        return take();
    }
    stop_before(name);
    const auto result = take();
    report_result(name, result);
    return result;
}

} // namespace varnel::models
