// SPDX-License-Identifier: Apache-2.0
#include "torture/torture.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace varnel::test {

namespace {

constexpr unsigned int longest_run = 20; // seconds; a longer run counts as a hang
constexpr int faulty_runs_reported = 3;
constexpr std::size_t likeliest = 3;
constexpr std::size_t second_fault_within = 10;

thread_local trial *current = nullptr;
std::string description; // of the current run

bool full() {
    const char *const mode = std::getenv("VARNEL_TORTURE");
    return mode != nullptr && std::string_view(mode) == "full";
}

effect error(int number) { return {effect::shape::error, number}; }
const effect short_count{effect::shape::short_count, 0};
const effect end_of_input{effect::shape::end, 0};

/// Prints the current run when a signal ends the program.
void print_run(int signal_number) {
    static constexpr std::string_view words = "\nwhile torturing: ";
    static_cast<void>(!write(STDERR_FILENO, words.data(), words.size()));
    static_cast<void>(!write(STDERR_FILENO, description.data(), description.size()));
    std::signal(signal_number, SIG_DFL);
    std::raise(signal_number);
}

std::set<int> open_descriptors() {
    std::set<int> numbers;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        numbers.insert(std::stoi(entry.path().filename().string()));
    }
    // Without the descriptor that listed the folder, which is closed now.
    std::erase_if(numbers, [](int fd) { return fcntl(fd, F_GETFD) == -1; });
    return numbers;
}

std::string text_of(const effect &how) {
    switch (how.what) {
    case effect::shape::short_count:
        return "is short";
    case effect::shape::end:
        return "finds the end";
    default:
        return std::string("fails: ") + std::strerror(how.number);
    }
}

} // namespace

trial *armed() { return current; }
void trial::arm() { current = this; }
void trial::disarm() { current = nullptr; }

bool trial::has_failed(std::string_view kind) const {
    return std::find(failed_.begin(), failed_.end(), kind) != failed_.end();
}

bool trial::has_error(std::string_view kind) const {
    return std::count(failed_.begin(), failed_.end(), kind) > std::count(short_.begin(), short_.end(), kind);
}

bool trial::was_short(std::string_view kind) const {
    return std::find(short_.begin(), short_.end(), kind) != short_.end();
}

std::size_t trial::count(std::string_view kind) const {
    return static_cast<std::size_t>(std::count(kinds_.begin(), kinds_.end(), kind));
}

const effect *trial::next_call(const char *kind) {
    const std::size_t index = kinds_.size();
    kinds_.push_back(kind);
    const auto met =
        std::find_if(faults_.begin(), faults_.end(), [&](const fault &f) { return f.call == index; });
    if (met == faults_.end()) {
        return nullptr;
    }
    failed_.emplace_back(kind);
    if (met->how.what == effect::shape::short_count) {
        short_.emplace_back(kind);
    }
    return &met->how;
}

void trial::run(const std::function<void()> &calls) {
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
    arm();
    calls();
    disarm();
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
}

const effect *fault_of(const char *kind) {
    if (current == nullptr) {
        return nullptr;
    }
    trial *const noting = std::exchange(current, nullptr); // noting a call may allocate
    const effect *const how = noting->next_call(kind);
    current = noting;
    if (how != nullptr && how->what == effect::shape::error) {
        errno = how->number;
    }
    return how;
}

const std::vector<effect> &effects_of(std::string_view kind) {
    static const std::map<std::string_view, std::vector<effect>> table{
        {"open",
         {error(EACCES), error(EMFILE), error(EIO), error(EINTR), error(ENFILE), error(ENOMEM),
          error(EROFS)}},
        {"close", {error(EIO), error(ENOSPC), error(EINTR), error(EDQUOT)}},
        {"read", {short_count, error(EIO), error(EINTR), error(EAGAIN)}},
        {"write",
         {short_count, error(ENOSPC), error(EINTR), error(EIO), error(EAGAIN), error(EPIPE), error(EDQUOT)}},
        {"pwrite", {short_count, error(ENOSPC), error(EINTR), error(EIO), error(EDQUOT), error(EFBIG)}},
        {"fstat", {error(EIO), error(ENOMEM), error(EOVERFLOW)}},
        {"stat", {error(EACCES), error(EIO), error(ENOMEM), error(EOVERFLOW)}},
        {"ftruncate", {error(EIO), error(EINTR), error(EPERM)}},
        {"fcntl", {error(EPERM), error(EBADF)}},
        {"select", {error(EINTR), error(ENOMEM), error(EBADF)}},
        {"poll", {error(EINTR), error(ENOMEM)}},
        {"ftok", {error(EACCES), error(ENOENT), error(EIO)}},
        {"semget", {error(ENOSPC), error(EACCES), error(EINVAL), error(ENOMEM)}},
        {"semop",
         {error(EINTR), error(EIDRM), error(EAGAIN), error(EINVAL), error(ENOSPC), error(ENOMEM),
          error(ERANGE)}},
        {"fopen",
         {error(EACCES), error(EMFILE), error(ENOMEM), error(ENOENT), error(EROFS), error(ENOSPC),
          error(EINTR)}},
        {"stream read", {short_count, error(EIO), error(EISDIR), error(EINTR)}},
        {"stream write", {short_count, error(ENOSPC), error(EIO), error(EINTR), error(EDQUOT)}},
        {"stream seek", {error(ESPIPE), error(EINVAL)}},
        {"stream close", {error(EIO), error(ENOSPC), error(EINTR), error(EDQUOT)}},
        {"system", {error(EAGAIN), error(ENOMEM)}},
        {"socket", {error(EMFILE), error(ENOBUFS), error(EACCES), error(ENFILE), error(EAFNOSUPPORT)}},
        {"setsockopt", {error(ENOMEM), error(EINVAL)}},
        {"bind", {error(EADDRINUSE), error(EACCES), error(ENOMEM)}},
        {"listen", {error(EADDRINUSE), error(EOPNOTSUPP)}},
        {"accept", {error(EINTR), error(ECONNABORTED), error(EMFILE), error(ENFILE), error(ENOBUFS)}},
        {"connect",
         {error(ECONNREFUSED), error(ETIMEDOUT), error(EHOSTUNREACH), error(EINTR), error(ENETUNREACH)}},
        {"send", {short_count, error(EPIPE), error(EINTR), error(ECONNRESET), error(ENOBUFS), error(ENOMEM)}},
        {"recv",
         {short_count, end_of_input, error(ECONNRESET), error(EINTR), error(ETIMEDOUT), error(ENOMEM)}},
        {"malloc", {error(ENOMEM)}},
        {"realloc", {error(ENOMEM)}},
        {"i2c write", {error(EREMOTEIO), short_count, error(ETIMEDOUT), error(ENODEV)}},
        {"i2c read", {error(EREMOTEIO), short_count, error(ETIMEDOUT), error(ENODEV)}},
        {"i2c write-read", {error(EREMOTEIO), error(ETIMEDOUT), error(ENODEV)}},
        {"lock", {error(ENOLCK), error(EDEADLK), error(EBADF)}},
        {"unlock", {error(EPERM), error(EBADF)}},
        {"device address", {error(ENODEV)}},
        {"create session", {error(ETIMEDOUT)}},
        {"send command", {error(ETIMEDOUT)}},
        {"close session", {error(ETIMEDOUT)}},
    };
    return table.at(kind);
}

/// All runs of one scenario.
class campaign {
  public:
    explicit campaign(const scenario &run) : run_(run), full_(full()) {}

    void all() {
        const std::vector<const char *> calls = one({});
        ASSERT_FALSE(::testing::Test::HasFailure()) << "without a fault";
        ASSERT_FALSE(calls.empty()) << "the library made no call that can fail";
        for (std::size_t i = 0; i < calls.size(); ++i) {
            each_effect(calls[i], [&](const effect &how) { with({i, calls[i], how}); });
        }
        std::printf("%zu calls, %zu runs\n", calls.size(), runs_);
        ::testing::Test::RecordProperty("runs", static_cast<int>(runs_));
    }

  private:
    template <class Body>
    void each_effect(const char *kind, Body body) const {
        const std::vector<effect> &all = effects_of(kind);
        const std::size_t tried = full_ ? all.size() : std::min(likeliest, all.size());
        std::for_each_n(all.begin(), tried, body);
    }

    void with(const fault &first) {
        const std::vector<const char *> calls = one({first});
        if (!full_) {
            return;
        }
        const std::size_t end = std::min(calls.size(), first.call + 1 + second_fault_within);
        for (std::size_t i = first.call + 1; i < end; ++i) {
            each_effect(calls[i], [&](const effect &how) { one({first, {i, calls[i], how}}); });
        }
    }

    /// Runs the scenario with these faults; returns the calls that were made.
    std::vector<const char *> one(const std::vector<fault> &faults) {
        if (faulty_ == faulty_runs_reported) {
            return {};
        }
        ++runs_;
        describe(faults);
        SCOPED_TRACE(description);
        const std::set<int> before = open_descriptors();
        const auto parts_before = failed_parts();
        trial now(faults);
        alarm(longest_run);
        run_(now);
        alarm(0);
        EXPECT_EQ(now.failed_.size(), faults.size()) << "calls differ from run to run";
        EXPECT_EQ(blocks_in_use(), 0U) << "memory leak";
        check_descriptors(before, now.left_open_);
        faulty_ += failed_parts() != parts_before ? 1 : 0;
        return now.kinds_;
    }

    static void describe(const std::vector<fault> &faults) {
        description = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        const char *separator = ": ";
        for (const fault &f : faults) {
            description += separator + std::string("call ") + std::to_string(f.call + 1) + " (" + f.kind +
                           ") " + text_of(f.how);
            separator = ", ";
        }
    }

    static void check_descriptors(const std::set<int> &before, std::size_t expected) {
        const std::set<int> now = open_descriptors();
        const std::size_t kept = static_cast<std::size_t>(
            std::count_if(before.begin(), before.end(), [&](int fd) { return now.contains(fd); }));
        EXPECT_EQ(kept, before.size()) << "descriptors that the library does not own were closed";
        EXPECT_EQ(now.size() - kept, expected) << "descriptors left open";
        close_streams_left_open();
        for (const int fd : now) {
            if (!before.contains(fd)) {
                close(fd);
            }
        }
    }

    static int failed_parts() {
        const auto *result = ::testing::UnitTest::GetInstance()->current_test_info()->result();
        int failed = 0;
        for (int i = 0; i < result->total_part_count(); ++i) {
            failed += result->GetTestPartResult(i).failed() ? 1 : 0;
        }
        return failed;
    }

    const scenario &run_;
    const bool full_;
    std::size_t runs_ = 0;
    int faulty_ = 0;
};

void torture(const scenario &run) {
    std::signal(SIGALRM, print_run);
    std::signal(SIGABRT, print_run);
    std::signal(SIGPIPE, SIG_IGN);
    campaign(run).all();
}

} // namespace varnel::test
