// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// Runs scenarios and lets each call that the library makes fail in turn, in every plausible way.
namespace varnel::test {

/// How a call fails.
struct effect {
    enum class shape {
        error,       ///< the call's failure value, and errno
        short_count, ///< fewer bytes than requested, at least one if two were requested
        end          ///< nothing more to read
    };
    shape what = shape::error;
    int number = 0; ///< errno
};

struct fault {
    std::size_t call; ///< index in the order of the library's calls
    const char *kind;
    effect how;
};

/// One run of a scenario.
class trial {
  public:
    explicit trial(std::vector<fault> faults) : faults_(std::move(faults)) {}

    /// Runs what calls the library, with faults and without standard output.
    void run(const std::function<void()> &calls);

    /// From now on the calling thread's calls are recorded and fail, until it ends or calls disarm().
    void arm();
    static void disarm();

    /// The kinds of the calls that failed in this run.
    [[nodiscard]] const std::vector<std::string> &failed() const { return failed_; }
    [[nodiscard]] bool any_failed() const { return !failed_.empty(); }
    [[nodiscard]] bool has_failed(std::string_view kind) const;
    /// Whether a call of that kind failed and was not just cut short.
    [[nodiscard]] bool has_error(std::string_view kind) const;
    /// Whether a call of that kind was cut short.
    [[nodiscard]] bool was_short(std::string_view kind) const;
    /// How many calls of a kind were made.
    [[nodiscard]] std::size_t count(std::string_view kind) const;
    [[nodiscard]] std::size_t calls() const { return kinds_.size(); }

    /// The number of descriptors that stay open after this run, as the headers document.
    void leaves_open(std::size_t descriptors) { left_open_ = descriptors; }

    // For calls.cpp: records a call; returns how it is to fail, or null.
    const effect *next_call(const char *kind);

  private:
    friend class campaign;
    std::vector<fault> faults_;
    std::vector<const char *> kinds_;
    std::vector<std::string> failed_;
    std::vector<std::string> short_;
    std::size_t left_open_ = 0;
};

/// Prepares, calls the library inside trial::run(), checks, cleans up.
using scenario = std::function<void(trial &)>;

/// Runs a scenario without a fault, then with each fault alone; in full mode (VARNEL_TORTURE=full in the
/// environment) with every errno instead of the likeliest, and with a second fault in each of the ten calls
/// after the first. After each run no memory block of the library and no descriptor may be left.
void torture(const scenario &run);

/// The trial that the calling thread is armed for, or null.
trial *armed();

/// How a call fails, and errno set; null when it is to succeed.
const effect *fault_of(const char *kind);

/// The kinds of faults that a call can meet, likeliest first.
const std::vector<effect> &effects_of(std::string_view kind);

/// What was allocated by the library and not freed.
std::size_t blocks_in_use();
/// Closes and forgets the streams that the library left open.
void close_streams_left_open();

} // namespace varnel::test
