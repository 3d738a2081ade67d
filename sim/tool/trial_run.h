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
    std::string program; ///< for the shell
    std::string check;   ///< likewise; empty for none
    std::chrono::milliseconds timeout;
};

/// A run of the program on a board of its own, in a folder of its own.
class trial_run {
  public:
    /// Starts the program, with the fault of a trial if there is one.
    trial_run(const campaign_setting &setting, const std::optional<campaign::trial> &trial);

    /// Becomes readable when there is news of the program.
    [[nodiscard]] int news() const { return program_->news(); }
    /// Whether the program has ended, or has had all its time. Does not wait.
    [[nodiscard]] bool over();
    /// How it ended; runs the check.
    [[nodiscard]] campaign::ending finish();
    /// What crossed the buses.
    [[nodiscard]] std::vector<transfer_record> transfers();
    /// The chips that two masters have.
    [[nodiscard]] std::vector<std::string> selectors();

  private:
    [[nodiscard]] std::vector<chip_status> chips();
    void inject(const campaign::trial &trial);
    std::unique_ptr<scenario::program> start(const std::string &command);
    int check();

    const campaign_setting &setting_;
    std::chrono::steady_clock::time_point end_;
    working_folder folder_;
    joined_board board_;
    std::unique_ptr<scenario::program> program_;
};

} // namespace varnel::sim::tool
