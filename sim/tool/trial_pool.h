// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "sim/campaign/results.h"
#include "sim/tool/trial_run.h"

namespace varnel::sim::tool {

/// What a campaign may take: no run begins after that.
struct budget {
    std::optional<uint64_t> runs = std::nullopt;
    std::optional<std::chrono::milliseconds> time = std::nullopt;

    [[nodiscard]] bool limited() const { return runs || time; }
};

/// Runs trials, several at a time, within a budget. How far it has come is shown on a terminal.
class trial_pool {
  public:
    trial_pool(const campaign_setting &setting, const campaign::rules &rules, const budget &limits,
               unsigned int jobs)
        : setting_(setting), rules_(rules), limits_(limits), jobs_(jobs) {}

    /// Runs these trials as far as the budget goes. Returns the results in the order in which the runs ended.
    std::vector<campaign::judged> run(const std::vector<campaign::trial> &trials);

  private:
    struct running {
        const campaign::trial *trial;
        std::unique_ptr<trial_run> run;
    };

    [[nodiscard]] bool spent() const;
    void wait(const std::vector<running> &all) const;
    void judge(running &ended, std::vector<campaign::judged> &results) const;
    void show(std::size_t done, std::size_t all, std::size_t bad) const;

    const campaign_setting &setting_;
    const campaign::rules &rules_;
    budget limits_;
    unsigned int jobs_;
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    uint64_t begun_ = 0; ///< runs
};

} // namespace varnel::sim::tool
