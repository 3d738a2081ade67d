// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "faults/injector.h"
#include "support/scratch_folder.h"

/// Runs a call of the library once for each of its system calls and each way in which that can fail, and once more for each
/// system call before which the process is killed. After each run, what the headers promise for it must hold.
namespace varnel::test {

/// What the process of a run has to say; in memory that the tests share with it.
struct answer {
    std::array<int64_t, 6> numbers{};
    std::array<char, 1024> text{};
    std::size_t length = 0; ///< of the text

    void say(std::string_view bytes);

    // Written after the calls:
    bool finished = false;
    int left_open = 0; ///< descriptors
    int closed = 0;    ///< descriptors that were open before
    int threads = 0;
    int file_locks = 0; ///< on the scenario's file
    bool leaks = false; ///< memory; with VARNEL_FAULTS=full, under AddressSanitizer
};

/// One run.
class run {
  public:
    run(const answer &answered, const fault *met, std::size_t occurrence)
        : said(answered), met_(met), occurrence_(occurrence) {}

    const answer &said;

    [[nodiscard]] bool killed() const { return met_ != nullptr && !met_->how; }
    [[nodiscard]] bool undisturbed() const { return met_ == nullptr; }
    /// The errno of the failed call, 0 without one.
    [[nodiscard]] int error() const { return met_ != nullptr && met_->how ? met_->how->number : 0; }

    // Whether a call of that name failed, moved only half of the bytes, or found the end; the nth, counted from 0, or the
    // one about that file.
    [[nodiscard]] bool failed(std::string_view call) const { return error() != 0 && disturbed(call); }
    [[nodiscard]] bool failed(std::string_view call, std::size_t nth) const {
        return failed(call) && nth == occurrence_;
    }
    [[nodiscard]] bool failed_on(std::string_view call, std::string_view path) const {
        return failed(call) && is_about(path);
    }
    [[nodiscard]] bool cut_short(std::string_view call) const {
        return disturbed(call) && met_->how->what == effect::shape::short_count;
    }
    [[nodiscard]] bool cut_short(std::string_view call, std::size_t nth) const {
        return cut_short(call) && nth == occurrence_;
    }
    [[nodiscard]] bool cut_short_on(std::string_view call, std::string_view path) const {
        return cut_short(call) && is_about(path);
    }
    [[nodiscard]] bool found_the_end(std::string_view call, std::size_t nth) const {
        return disturbed(call) && met_->how->what == effect::shape::end && nth == occurrence_;
    }
    [[nodiscard]] bool disturbed(std::string_view call) const {
        return met_ != nullptr && met_->how && name_of(met_->usual.number) == call;
    }

    /// What is right for this run, where it is not 0.
    void leaves_open(int descriptors) { left_open_ = descriptors; }
    void closes(int descriptors) { closed_ = descriptors; }

  private:
    friend class faults;

    [[nodiscard]] bool is_about(std::string_view path) const { return met_->usual.path == path; }

    const fault *met_;
    std::size_t occurrence_;
    int left_open_ = 0;
    int closed_ = 0;
};

struct scenario {
    std::function<void()> prepare;      ///< before each run
    std::function<void(answer &)> call; ///< calls the library, in a process of its own
    std::function<void(run &)> judge;   ///< after each run, with EXPECT_...
    std::string file = {};              ///< no lock may be left on it
    std::function<void()> begin = {};   ///< in that process, before its system calls are seen; may be empty
    bool ends_thread = false;           ///< call() ends its thread
};

/// A test is named after the exported function that it calls. In the report of --gtest_output=json:FILE it has the
/// number of system calls, of faults tried, and of kills. With VARNEL_FAULTS=full in the environment all faults are tried,
/// otherwise the two likeliest, of the first and the last call of a name about a file.
class faults : public ::testing::Test {
  protected:
    void try_all(const scenario &what);

    /// The texts that a file had, one after another, while an undisturbed run changed it.
    static std::vector<std::string> versions(const scenario &what, const std::string &path);

    [[nodiscard]] std::string path(std::string_view name) const { return folder_.file(name); }

    void SetUp() override;
    void TearDown() override;

  private:
    std::vector<system_call> one(const scenario &what, const fault *planned, std::size_t occurrence);
    void try_call(const scenario &what, const std::vector<system_call> &calls, std::size_t index);

    scratch_folder folder_;
    std::size_t calls_ = 0;
    std::size_t faults_ = 0;
    std::size_t kills_ = 0;
};

} // namespace varnel::test
