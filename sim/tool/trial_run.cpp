// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/trial_run.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

#include "sim/protocol/board_json.h"
#include "sim/tool/run.h"

namespace varnel::sim::tool {

namespace {

using steady_clock = std::chrono::steady_clock;

constexpr int time_out_status = 124; ///< as of timeout(1)

/// A file without a name, to be read from its beginning.
descriptor file_of(const std::vector<std::string> &lines) {
    descriptor file(memfd_create("output", MFD_CLOEXEC));
    for (const std::string &line : lines) {
        const std::string whole = line + '\n';
        if (write(file.get(), whole.data(), whole.size()) != static_cast<ssize_t>(whole.size())) {
            throw std::system_error(errno, std::generic_category(), "memfd_create");
        }
    }
    lseek(file.get(), 0, SEEK_SET);
    return file;
}

} // namespace

trial_run::trial_run(const campaign_setting &setting, std::optional<campaign::trial> trial)
    : setting_(setting), trial_(std::move(trial)),
      board_(start_private_board(setting.board_file, setting.time)), control_(board_.where.connect()) {
    inject_all();
    const descriptor nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
    program_ = start(setting.program, nothing.get());
}

void trial_run::inject(const campaign::strike &strike, uint64_t until) {
    nlohmann::ordered_json request = {
        {"command", "fault"}, {"chip", strike.chip}, {"kind", name_of(strike.kind)},
        {"rate", 1},          {"seed", 1},           {"from_board_transfer", strike.transfer}};
    if (!strike.stays) {
        request["until_board_transfer"] = until;
    }
    control_.request(request);
}

/// A chip has one fault of a kind: for the same at the next transfer that one lasts longer.
void trial_run::inject_all() {
    if (!trial_) {
        return;
    }
    const auto &[first, second] = *trial_;
    const bool same = second && second->chip == first.chip && second->kind == first.kind;
    inject(first, same ? second->transfer : first.transfer);
    if (second && !same) {
        inject(*second, second->transfer);
    }
}

/// The check finds the board without the faults, or it would meet them itself.
void trial_run::clear_faults() {
    if (trial_) {
        control_.request({{"command", "fault"}, {"chip", trial_->first.chip}, {"kind", "none"}});
    }
    if (trial_ && trial_->second) {
        control_.request({{"command", "fault"}, {"chip", trial_->second->chip}, {"kind", "none"}});
    }
}

std::unique_ptr<scenario::program> trial_run::start(const std::vector<std::string> &words, int input) {
    setenv(board_variable, setting_.board_file.c_str(), 1);
    setenv(socket_variable, board_.where.socket_path().c_str(), 1);
    const inside_folder inside(folder_);
    return std::make_unique<scenario::program>(
        [this](const auto &program) { become_run(setting_.board_file, program, setting_.time); }, words,
        input);
}

/// It reads what the program has printed.
std::unique_ptr<scenario::program> trial_run::start_check() {
    end_ = steady_clock::now() + setting_.timeout;
    return start({"sh", "-c", setting_.check}, file_of(program_->lines().all()).get());
}

void trial_run::add_watched(std::vector<pollfd> &watched) const {
    (check_ != nullptr ? check_ : program_)->add_watched(watched);
}

bool trial_run::has_ended(scenario::program &program) const {
    program.look();
    return program.status() || steady_clock::now() >= end_;
}

bool trial_run::over() {
    if (check_ != nullptr) {
        return has_ended(*check_);
    }
    if (!has_ended(*program_)) {
        return false;
    }
    transfers_ = read_trace();
    if (!program_->status() || setting_.check.empty()) {
        return true;
    }
    clear_faults();
    check_ = start_check();
    return false;
}

campaign::ending trial_run::ending() const {
    campaign::ending how{program_->status(), program_->lines().all()};
    if (check_ != nullptr) {
        how.check = check_->status().value_or(time_out_status);
    }
    return how;
}

std::vector<std::string> trial_run::selectors() {
    std::vector<std::string> names;
    for (const chip_status &chip : control_.request({{"command", "show"}}).get<server_status>().board.chips) {
        if (chip.connections.size() > 1 && !chip.channels.empty()) {
            names.push_back(chip.name);
        }
    }
    return names;
}

std::vector<transfer_record> trial_run::read_trace() {
    control_.request({{"command", "trace"}, {"last", UINT32_MAX}, {"follow", false}});
    std::vector<transfer_record> records;
    for (;;) {
        const auto message = control_.receive();
        if (message.contains("end")) {
            return records;
        }
        if (message.contains("transfer")) {
            records.push_back(message.at("transfer").get<transfer_record>());
        }
    }
}

} // namespace varnel::sim::tool
