// SPDX-License-Identifier: Apache-2.0
#include "faults/faults.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/shared_value.h"
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace varnel::test {

namespace {

constexpr std::size_t likeliest = 2;

bool full() {
    const char *const mode = std::getenv("VARNEL_FAULTS");
    return mode != nullptr && std::string_view(mode) == "full";
}

std::set<int> open_descriptors() {
    std::set<int> numbers;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        numbers.insert(std::stoi(entry.path().filename().string()));
    }
    std::erase_if(numbers, [](int fd) { return fcntl(fd, F_GETFD) == -1; }); // the folder's own
    return numbers;
}

int missing_in(const std::set<int> &all, const std::set<int> &part) {
    return static_cast<int>(std::ranges::count_if(all, [&](int fd) { return !part.contains(fd); }));
}

/// Beside this one. A thread that has been joined is still listed for a moment.
int other_threads() {
    int found = 0;
    for (int attempt = 0; attempt < 1000; ++attempt) {
        const std::filesystem::directory_iterator all("/proc/self/task");
        found = static_cast<int>(std::distance(begin(all), end(all))) - 1;
        if (found == 0) {
            break;
        }
        usleep(1000);
    }
    return found;
}

/// Of any process.
int locks_on(const std::string &file) {
    struct stat status {};
    if (file.empty() || stat(file.c_str(), &status) != 0) {
        return 0;
    }
    const std::string inode = ":" + std::to_string(status.st_ino) + " ";
    std::ifstream locks("/proc/locks");
    int found = 0;
    for (std::string line; std::getline(locks, line);) {
        found += line.find(inode) != std::string::npos ? 1 : 0;
    }
    return found;
}

/// Half of the time of a run, so not always; torture_test counts blocks in each build.
bool memory_leaks() {
#ifdef __SANITIZE_ADDRESS__
    return full() && __lsan_do_recoverable_leak_check() != 0;
#else
    return false;
#endif
}

/// Lines that the library prints go to a file, each by a system call.
void redirect_output() {
    static std::array<char, 4096> buffer;
    const int file = memfd_create("output", MFD_CLOEXEC);
    dup2(file, STDOUT_FILENO);
    dup2(file, STDERR_FILENO);
    close(file);
    std::setvbuf(stdout, buffer.data(), _IOLBF, buffer.size());
}

void call_in_thread(const scenario &what, answer &said) {
    const std::pair both{&what, &said};
    pthread_t thread{};
    const auto start = [](void *argument) -> void * {
        const auto &[scenario, place] =
            *static_cast<const std::pair<const struct scenario *, answer *> *>(argument);
        start_of_calls();
        scenario->call(*place);
        return nullptr;
    };
    pthread_create(&thread, nullptr, start, const_cast<void *>(static_cast<const void *>(&both)));
    pthread_join(thread, nullptr);
}

void observe_calls(const scenario &what, answer &said) {
    const int standard_error = dup(STDERR_FILENO);
    redirect_output();
    if (what.begin) {
        what.begin();
    }
    const std::set<int> before = open_descriptors();
    if (what.ends_thread) {
        call_in_thread(what, said);
    } else {
        start_of_calls();
        what.call(said);
        end_of_calls();
    }
    const std::set<int> after = open_descriptors();
    dup2(standard_error, STDERR_FILENO); // for the report of a leak
    said.left_open = missing_in(after, before);
    said.closed = missing_in(before, after);
    said.threads = other_threads();
    said.file_locks = locks_on(what.file);
    said.leaks = memory_leaks();
    said.finished = true;
}

std::string description(const fault *planned, const std::vector<system_call> &calls) {
    if (planned == nullptr) {
        return "without a fault";
    }
    std::string text = "call " + std::to_string(planned->call + 1) + ", " +
                       std::string(name_of(planned->usual.number)) + "(" + planned->usual.path + "): ";
    if (!planned->how) {
        text += "killed";
    } else if (planned->how->number != 0) {
        text += std::strerror(planned->how->number);
    } else {
        text += planned->how->what == effect::shape::end ? "finds the end" : "is short";
    }
    text += "; calls:";
    for (const system_call &call : calls) {
        text += " " + std::string(name_of(call.number));
    }
    return text;
}

/// The first and the last of the calls of one name about one file stand for those between them.
bool stands_for_others(const std::vector<system_call> &calls, std::size_t index) {
    const auto alike = [&](const system_call &call) {
        return call.number == calls[index].number && call.path == calls[index].path;
    };
    const auto here = calls.begin() + static_cast<std::ptrdiff_t>(index);
    return std::none_of(calls.begin(), here, alike) || std::none_of(here + 1, calls.end(), alike);
}

} // namespace

void answer::say(std::string_view bytes) {
    length = std::min(bytes.size(), text.size());
    std::copy_n(bytes.data(), length, text.data());
}

std::vector<system_call> faults::one(const scenario &what, const fault *planned, std::size_t occurrence) {
    const shared_value<answer> said;
    what.prepare();
    traced done = trace([&] { observe_calls(what, *said); }, planned, nullptr);
    SCOPED_TRACE(description(planned, done.calls));
    run judged(*said, planned, occurrence);
    if (judged.killed()) {
        EXPECT_TRUE(WIFSIGNALED(done.status) && WTERMSIG(done.status) == SIGKILL)
            << "it did not reach that call";
        EXPECT_FALSE(said->finished);
        what.judge(judged);
        return std::move(done.calls);
    }
    EXPECT_TRUE(WIFEXITED(done.status) && said->finished) << "it ended early: status " << done.status;
    if (said->finished) {
        what.judge(judged);
        EXPECT_EQ(said->left_open, judged.left_open_) << "descriptors left open";
        EXPECT_EQ(said->closed, judged.closed_) << "other descriptors closed";
        EXPECT_EQ(said->threads, 0) << "threads left";
        EXPECT_EQ(said->file_locks, 0) << "locks left";
        EXPECT_FALSE(said->leaks) << "memory left";
    }
    return std::move(done.calls);
}

void faults::try_call(const scenario &what, const std::vector<system_call> &calls, std::size_t index) {
    const system_call &usual = calls[index];
    const auto occurrence = static_cast<std::size_t>(std::count_if(
        calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(index),
        [&](const system_call &call) { return name_of(call.number) == name_of(usual.number); }));
    std::vector<effect> effects = effects_of(usual);
    effects.resize(full() ? effects.size() : std::min(likeliest, effects.size()));
    for (const effect &how : effects) {
        const fault planned{index, how, usual};
        const std::vector<system_call> made = one(what, &planned, occurrence);
        ASSERT_TRUE(made.size() > index && made[index].number == usual.number)
            << "calls differ from run to run";
        ++faults_;
    }
    const fault last{index, std::nullopt, usual};
    one(what, &last, occurrence);
    ++kills_;
}

void faults::try_all(const scenario &what) {
    const std::vector<system_call> calls = one(what, nullptr, 0);
    ASSERT_FALSE(HasFailure());
    ASSERT_FALSE(calls.empty()) << "no system call that can fail";
    for (std::size_t index = 0; index < calls.size() && !HasFailure(); ++index) {
        if (full() || stands_for_others(calls, index)) {
            try_call(what, calls, index);
        }
    }
    calls_ += calls.size();
}

std::vector<std::string> faults::versions(const scenario &what, const std::string &path) {
    what.prepare();
    std::vector<std::string> texts{read_file(path).value_or("")};
    const shared_value<answer> said;
    trace([&] { observe_calls(what, *said); }, nullptr,
          [&] {
              std::string now = read_file(path).value_or("");
              if (now != texts.back()) {
                  texts.push_back(std::move(now));
              }
          });
    EXPECT_TRUE(said->finished);
    return texts;
}

void faults::SetUp() {
    if (!can_trace()) {
        GTEST_SKIP() << "ptrace(2) is not permitted";
    }
}

void faults::TearDown() {
    std::printf("%zu calls, %zu faults, %zu kills\n", calls_, faults_, kills_);
    RecordProperty("calls", static_cast<int>(calls_));
    RecordProperty("faults", static_cast<int>(faults_));
    RecordProperty("kills", static_cast<int>(kills_));
}

} // namespace varnel::test
