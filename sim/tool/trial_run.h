// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sim/board/status.h"
#include "sim/campaign/plan.h"
#include "sim/scenario/program.h"
#include "sim/tool/board_access.h"
#include "sim/tool/start.h"
#include "sim/tool/working_folder.h"

namespace varnel::sim::tool {

/// What all runs of a campaign have in common.
struct campaign_setting {
    std::string board_file;
    std::vector<std::string> program; ///< its words
    std::string check;                ///< for the shell; empty for none
    std::chrono::milliseconds timeout;
    time_options time;
};

/// A run of the program on a board of its own, in a folder of its own; then the check, if there is one.
class trial_run {
  public:
    /// Starts the program, with the faults of a trial if there is one.
    trial_run(const campaign_setting &setting, std::optional<campaign::trial> trial);

    /// Adds what becomes readable when there is news of it.
    void add_watched(std::vector<pollfd> &watched) const;
    /// Whether program and check have ended, or have had all their time. Does not wait.
    [[nodiscard]] bool over();
    /// How they ended.
    [[nodiscard]] campaign::ending ending() const;
    /// What crossed the buses before the check.
    [[nodiscard]] std::vector<transfer_record> &transfers() { return transfers_; }
    [[nodiscard]] std::chrono::steady_clock::time_point begin() const { return begin_; }
    /// The chips that two masters have.
    [[nodiscard]] std::vector<std::string> selectors();

  private:
    void inject(const campaign::strike &strike, uint64_t until);
    void inject_all();
    void clear_faults();
    [[nodiscard]] bool has_ended(scenario::program &program) const;
    [[nodiscard]] std::unique_ptr<scenario::program> start(const std::vector<std::string> &words, int input);
    [[nodiscard]] std::unique_ptr<scenario::program> start_check();
    [[nodiscard]] std::vector<transfer_record> read_trace();

    const campaign_setting &setting_;
    std::optional<campaign::trial> trial_;
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point end_ = begin_ + setting_.timeout; ///< of what is running
    working_folder folder_;
    joined_board board_;
    board_access control_;
    std::vector<transfer_record> transfers_ = {};
    std::unique_ptr<scenario::program> program_ = nullptr;
    std::unique_ptr<scenario::program> check_ = nullptr;
};

} // namespace varnel::sim::tool
