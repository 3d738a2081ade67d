// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/scenario_runner.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <utility>
#include <variant>

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include "sim/board/trace.h"
#include "sim/protocol/board_json.h"
#include "sim/scenario/followed_file.h"
#include "sim/scenario/program.h"
#include "sim/tool/board_access.h"
#include "sim/tool/commands.h"
#include "sim/tool/reading_match.h"
#include "sim/tool/run.h"
#include "sim/tool/scenario_clock.h"
#include "sim/tool/start.h"
#include "sim/tool/working_folder.h"

namespace varnel::sim::tool {

namespace {

namespace fs = std::filesystem;
using namespace scenario;
using steady_clock = std::chrono::steady_clock;
using std::chrono::nanoseconds;

/// Of the trace and of each program, for the report of a failure.
constexpr std::size_t reported_lines = 8;

/// What was expected did not come.
struct disappointment {
    std::string expected;
    std::string came;
};

/// What crosses the buses.
class watched_trace {
  public:
    explicit watched_trace(board_access board) : board_(std::move(board)) {
        board_.request({{"command", "trace"}, {"last", nullptr}, {"follow", true}});
    }

    [[nodiscard]] int news() { return board_.link().get(); }

    /// Takes in what has come. Does not wait.
    void look() {
        pollfd ready{news(), POLLIN, 0};
        while (poll(&ready, 1, 0) > 0) {
            const auto message = board_.receive();
            if (message.contains("transfer")) {
                records_.push_back(message.at("transfer").get<transfer_record>());
            }
        }
    }

    [[nodiscard]] const std::deque<transfer_record> &records() const { return records_; }

  private:
    board_access board_;
    std::deque<transfer_record> records_;
};

/// The scenario under way: board, programs and trace.
class player {
  public:
    /// In the scenario's folder, for its queues.
    player(const std::string &board_file, const meeting_point &where, const time_options &time,
           const std::set<std::string> &queues)
        : board_file_(board_file), time_(time), access_(where.connect()),
          trace_(board_access(where.connect())), clock_(where, time.is_virtual) {
        for (const std::string &name : queues) {
            queues_.emplace(name, name);
        }
    }

    void act(const start_program &start) {
        auto &place = programs_[start.name];
        place.reset();
        place = std::make_unique<program>(on_board(), start.command);
        wait_for_begin(*place);
    }
    void act(const end_program &end) {
        program &ended = *programs_.at(end.name);
        look();
        ended.send(end.signal);
    }
    /// What was plugged in gets its power back.
    void act(const switch_power &power) {
        if (!power.on) {
            for (const auto &[name, each] : programs_) {
                each->cut_off();
            }
            powered_ = plugged_chips();
        }
        access_.request({{"command", "plug"}, {"chips", powered_}, {"plugged", power.on}});
    }
    void act(const pause &pause) {
        const auto end = (pause.since_begin ? begin_ : clock_.now()) + pause.time;
        wait_until(end, [] { return false; });
    }
    void act(const scenario::run_command &command) {
        program once(on_board(), command.command);
        wait_for_begin(once);
        for (const auto since = clock_.now(); !once.status();) {
            std::vector<pollfd> watched;
            once.add_watched(watched);
            clock_.wait(watched, since, nanoseconds::max());
            look_at(once);
        }
        if (once.status() != 0) {
            const auto &lines = once.lines().all();
            throw disappointment{"exit status 0", fmt::format("exit status {}{}", *once.status(),
                                                              lines.empty() ? "" : ": " + lines.back())};
        }
    }
    void act(const board_command &command) {
        (void)tool::run_command(command.words, [](const invocation &call) { call.action(); });
    }
    void act(const expect_soon &expected) {
        begin_step();
        const bool came = wait_until(clock_.now() + expected.within, [&] { return is(expected.what); });
        if (!came) {
            throw disappointment{
                fmt::format("within {} ms: {}", expected.within.count(), words_of(expected.what)),
                state_of(expected.what)};
        }
    }
    void act(const expect_none &expected) {
        begin_step();
        if (wait_until(clock_.now() + expected.during, [&] { return is(expected.what); })) {
            throw disappointment{
                fmt::format("for {} ms not: {}", expected.during.count(), words_of(expected.what)),
                state_of(expected.what)};
        }
    }

    [[nodiscard]] std::vector<std::string> last_printed() const {
        std::vector<std::string> all;
        for (const auto &[name, each] : programs_) {
            const auto &lines = each->lines().all();
            for (std::size_t i = lines.size() - std::min(lines.size(), reported_lines); i < lines.size();
                 ++i) {
                all.push_back(fmt::format("{}: {}", name, lines[i]));
            }
        }
        return all;
    }
    [[nodiscard]] std::vector<std::string> last_transfers() {
        trace_.look();
        const auto &records = trace_.records();
        std::vector<std::string> all;
        for (std::size_t i = records.size() - std::min(records.size(), reported_lines); i < records.size();
             ++i) {
            all.push_back(trace_line(records[i]));
        }
        return all;
    }

  private:
    [[nodiscard]] runner on_board() const {
        return [this](const auto &words) { become_run(board_file_, words, time_); };
    }

    void begin_step() {
        look();
        step_began_ = trace_.records().size();
    }

    [[nodiscard]] std::vector<std::string> plugged_chips() {
        std::vector<std::string> names;
        const auto status = access_.request({{"command", "show"}}).get<server_status>();
        for (const chip_status &chip : status.board.chips) {
            if (chip.plugged) {
                names.push_back(chip.name);
            }
        }
        return names;
    }

    void look() {
        trace_.look();
        for (const auto &[name, each] : programs_) {
            look_at(*each);
        }
        for (auto &[name, each] : queues_) {
            each.look();
        }
    }

    /// Before it has begun, virtual time would not wait for it.
    void wait_for_begin(program &begun) {
        if (clock_.is_virtual()) {
            begun.wait_for_begin();
        }
    }

    /// In virtual time a program that has ended has an exit status.
    void look_at(program &each) {
        if (clock_.is_virtual()) {
            each.wait_if_ended();
        }
        each.look();
    }

    void wait_for_news(nanoseconds since, nanoseconds end) {
        std::vector<pollfd> watched{{trace_.news(), POLLIN, 0}};
        for (const auto &[name, each] : programs_) {
            each->add_watched(watched);
        }
        for (const auto &[name, each] : queues_) {
            watched.push_back({each.news(), POLLIN, 0});
        }
        clock_.wait(watched, since, end);
    }

    /// Returns whether `is_there` held before the end.
    template <class Condition>
    bool wait_until(nanoseconds end, Condition is_there) {
        for (const nanoseconds since = clock_.now();;) {
            look();
            if (is_there()) {
                return true;
            }
            if (clock_.now() >= end) {
                return false;
            }
            wait_for_news(since, end);
        }
    }

    bool is(const condition &what) {
        return std::visit([this](const auto &each) { return holds(each); }, what);
    }
    bool holds(const reading_is &what) {
        return matches(look_up(access_, what.chip, what.reading), what.value);
    }
    bool holds(const transfer_to &what) {
        const auto &records = trace_.records();
        return std::any_of(records.begin() + static_cast<std::ptrdiff_t>(step_began_), records.end(),
                           [&](const transfer_record &record) {
                               return std::ranges::find(record.chips, what.chip, &traced_chip::name) !=
                                      record.chips.end();
                           });
    }
    bool holds(const prints_line &what) {
        return programs_.at(what.program)->lines().find_next(what.pattern);
    }
    bool holds(const log_has &what) {
        followed_log &log = logs_.try_emplace(what.file, what.file).first->second;
        log.look();
        return log.lines().find_next(what.pattern);
    }
    bool holds(const queue_has &what) { return queues_.at(what.file).lines().find_next(what.pattern); }
    bool holds(const ends_with &what) {
        const auto status = programs_.at(what.program)->status();
        return status && (!what.status || *what.status == *status);
    }
    bool holds(const command_succeeds &what) { return std::system(what.command.c_str()) == 0; }

    static std::string words_of(const condition &what) {
        return std::visit([](const auto &each) { return words(each); }, what);
    }
    static std::string words(const reading_is &what) {
        return fmt::format("{}.{} {}", what.chip, what.reading, what.value);
    }
    static std::string words(const transfer_to &what) { return "transfer to " + what.chip; }
    static std::string words(const prints_line &what) {
        return fmt::format("{} prints /{}/", what.program, what.pattern);
    }
    static std::string words(const log_has &what) {
        return fmt::format("log {} has /{}/", what.file, what.pattern);
    }
    static std::string words(const queue_has &what) {
        return fmt::format("queue {} has /{}/", what.file, what.pattern);
    }
    static std::string words(const ends_with &what) {
        return what.program + " ends" + (what.status ? fmt::format(" with {}", *what.status) : "");
    }
    static std::string words(const command_succeeds &what) { return what.command + " succeeds"; }

    /// What there is in place of what was expected.
    std::string state_of(const condition &what) {
        return std::visit([this](const auto &each) { return this->state(each); }, what);
    }
    std::string state(const reading_is &what) {
        return fmt::format("{}.{} is '{}'", what.chip, what.reading,
                           text_of(look_up(access_, what.chip, what.reading)));
    }
    std::string state(const transfer_to &what) {
        const auto &records = trace_.records();
        return fmt::format("{} transfers, {} to {}", records.size() - step_began_,
                           holds(what) ? "some" : "none", what.chip);
    }
    std::string state(const prints_line &what) {
        const auto &lines = programs_.at(what.program)->lines().all();
        return lines.empty() ? what.program + " has printed nothing"
                             : fmt::format("{} printed last: {}", what.program, lines.back());
    }
    std::string state(const log_has &what) { return last_of(what.file, logs_.at(what.file).lines()); }
    std::string state(const queue_has &what) { return last_of(what.file, queues_.at(what.file).lines()); }
    static std::string last_of(const std::string &file, const line_memory &lines) {
        return lines.all().empty() ? file + " has had nothing"
                                   : fmt::format("{} had last: {}", file, lines.all().back());
    }
    std::string state(const ends_with &what) {
        const auto status = programs_.at(what.program)->status();
        return status ? fmt::format("{} has ended with {}", what.program, *status)
                      : what.program + " is running";
    }
    static std::string state(const command_succeeds &what) { return what.command + " fails"; }

    const std::string &board_file_;
    time_options time_;
    board_access access_;
    watched_trace trace_;
    scenario_clock clock_;
    std::map<std::string, std::unique_ptr<program>> programs_;
    std::map<std::string, followed_log> logs_;
    std::map<std::string, followed_queue> queues_;
    std::vector<std::string> powered_; ///< chips that had power before it was switched off
    nanoseconds begin_ = clock_.now();
    std::size_t step_began_ = 0; ///< transfers before
};

/// Plays the steps up to the first that fails.
std::optional<failed_step> play_steps(const script &what, player &playing) {
    for (const step &each : what.steps) {
        std::optional<disappointment> wrong;
        try {
            std::visit([&playing](const auto &action) { playing.act(action); }, each.what);
        } catch (const disappointment &came) {
            wrong = came;
        } catch (const bad_usage &refusal) {
            wrong = disappointment{"a step that the board accepts", refusal.what()};
        }
        if (wrong) {
            return failed_step{each.line,
                               each.text,
                               wrong->expected,
                               wrong->came,
                               playing.last_printed(),
                               playing.last_transfers()};
        }
    }
    return std::nullopt;
}

/// The description that a scenario names, relative to its own file.
std::string board_file_of(const script &what) {
    const fs::path file = fs::path(what.file).parent_path() / what.board;
    std::error_code missing;
    const fs::path canonical = fs::canonical(file, missing);
    if (missing) {
        throw bad_usage(fmt::format("{}: board {}: {}", what.file, what.board, missing.message()));
    }
    return canonical;
}

} // namespace

result play(const script &what, const time_options &time) {
    const std::string board_file = board_file_of(what);
    const auto begin = steady_clock::now();
    const auto [where, keeps_it_powered] = start_private_board(board_file, time);
    setenv(board_variable, board_file.c_str(), 1);
    setenv(socket_variable, where.socket_path().c_str(), 1);
    const working_folder folder;
    const inside_folder inside(folder);
    player playing(board_file, where, time, what.queues);
    std::optional<failed_step> failure = play_steps(what, playing);
    return {what.file, what.title, steady_clock::now() - begin, std::move(failure)};
}

} // namespace varnel::sim::tool
