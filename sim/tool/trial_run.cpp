// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/trial_run.h"

#include <algorithm>
#include <cstdlib>
#include <thread>

#include "sim/protocol/board_json.h"

namespace varnel::sim::tool {

namespace {

using steady_clock = std::chrono::steady_clock;

constexpr auto poll_interval = std::chrono::milliseconds(2);
constexpr int time_out_status = 124; ///< as of timeout(1)

} // namespace

trial_run::trial_run(const campaign_setting &setting, const std::optional<campaign::trial> &trial)
    : setting_(setting), end_(steady_clock::now() + setting.timeout),
      board_(start_private_board(setting.board_file)) {
    if (trial) {
        inject(*trial);
    }
    program_ = start(setting.program);
}

void trial_run::inject(const campaign::trial &trial) {
    nlohmann::ordered_json request = {
        {"command", "fault"}, {"chip", trial.chip}, {"kind", name_of(trial.kind)},
        {"rate", 1},          {"seed", 1},          {"from_board_transfer", trial.transfer}};
    if (!trial.stays) {
        request["until_board_transfer"] = trial.transfer;
    }
    board_access(board_.where.connect()).request(request);
}

std::unique_ptr<scenario::program> trial_run::start(const std::string &command) {
    setenv(board_variable, setting_.board_file.c_str(), 1);
    setenv(socket_variable, board_.where.socket_path().c_str(), 1);
    const inside_folder inside(folder_);
    return std::make_unique<scenario::program>(
        std::vector<std::string>{std::filesystem::read_symlink("/proc/self/exe"), "run", "--board",
                                 setting_.board_file, "--"},
        command);
}

bool trial_run::over() {
    program_->look();
    return program_->status() || steady_clock::now() >= end_;
}

campaign::ending trial_run::finish() {
    program_->look();
    campaign::ending ending{program_->status(), program_->lines()};
    const auto records = transfers();
    ending.struck =
        std::ranges::any_of(records, [](const transfer_record &each) { return !each.faults.empty(); });
    if (ending.status && !setting_.check.empty()) {
        ending.check = check();
    }
    return ending;
}

/// The check finds the board without the fault, or it would meet it itself.
int trial_run::check() {
    board_access board(board_.where.connect());
    for (const chip_status &chip : chips()) {
        board.request({{"command", "fault"}, {"chip", chip.name}, {"kind", "none"}});
    }
    const auto checking = start(setting_.check);
    const auto end = steady_clock::now() + setting_.timeout;
    while (!checking->status() && steady_clock::now() < end) {
        std::this_thread::sleep_for(poll_interval);
        checking->look();
    }
    return checking->status().value_or(time_out_status);
}

std::vector<chip_status> trial_run::chips() {
    board_access board(board_.where.connect());
    return board.request({{"command", "show"}}).get<server_status>().board.chips;
}

std::vector<std::string> trial_run::selectors() {
    std::vector<std::string> names;
    for (const chip_status &chip : chips()) {
        if (chip.connections.size() > 1 && !chip.channels.empty()) {
            names.push_back(chip.name);
        }
    }
    return names;
}

std::vector<transfer_record> trial_run::transfers() {
    board_access board(board_.where.connect());
    board.request({{"command", "trace"}, {"last", UINT32_MAX}, {"follow", false}});
    std::vector<transfer_record> records;
    for (;;) {
        const auto message = board.receive();
        if (message.contains("end")) {
            return records;
        }
        if (message.contains("transfer")) {
            records.push_back(message.at("transfer").get<transfer_record>());
        }
    }
}

} // namespace varnel::sim::tool
