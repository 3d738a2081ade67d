// SPDX-License-Identifier: Apache-2.0
#include "models/replay.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <list>
#include <map>
#include <sstream>
#include <thread>

#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/child_process.h"
#include "support/pipe_ends.h"

namespace varnel::models {

namespace {

using namespace varnel::test;

// Milliseconds
constexpr int patience = 60'000;
constexpr int patience_with_sleepers = 2'000;
constexpr int moment = 100;

/// The replay's side of an actor.
class player {
  public:
    /// Called in the actor's process.
    [[nodiscard]] actor_link link() const { return {reports_.writer(), orders_.reader()}; }

    void order(const std::string &line) const {
        const std::string text = line + '\n';
        if (write(orders_.writer(), text.data(), text.size()) < 0) {
            throw divergence("its process has ended");
        }
    }

    [[nodiscard]] bool has_reported(int milliseconds = 0) const {
        pollfd report{reports_.reader(), POLLIN, 0};
        return !read_.empty() || poll(&report, 1, milliseconds) > 0;
    }

    std::string report() {
        while (read_.find('\n') == std::string::npos) {
            read_more();
        }
        std::string line = read_.substr(0, read_.find('\n'));
        read_.erase(0, line.size() + 1);
        return line;
    }

    /// What it says next is left to be read.
    void until_reported() const {
        if (!will_report()) {
            throw divergence("nothing happens");
        }
    }

    void expect(const std::string &line) {
        const std::string reported = report();
        if (reported != line) {
            throw divergence("'" + reported + "' instead of '" + line + "'");
        }
    }

    pid_t process = -1;
    std::string waits_in;      ///< a step from which it does not return
    std::string stands_before; ///< a step that it has reached

    void learn_thread() { thread_ = std::stoi(report().substr(sizeof "thread")); }
    void interrupt() const { syscall(SYS_tgkill, process, thread_, SIGUSR1); }

    /// Sleeps in the kernel. It must have been woken by an order: then it sleeps only in its step.
    [[nodiscard]] bool sleeps() const {
        std::ifstream file("/proc/" + std::to_string(process) + "/task/" + std::to_string(thread_) + "/stat");
        std::string status;
        std::getline(file, status);
        const auto end_of_name = status.rfind(") ");
        return end_of_name != std::string::npos && status.at(end_of_name + 2) == 'S';
    }

  private:
    /// False when it has slept for a while, or the replay has waited for long.
    [[nodiscard]] bool will_report() const {
        int asleep = 0;
        for (int waited = 0; waited < patience && asleep < patience_with_sleepers; waited += moment) {
            if (has_reported(moment)) {
                return true;
            }
            asleep = sleeps() ? asleep + moment : 0;
        }
        return false;
    }

    void read_more() {
        char bytes[256];
        const ssize_t n = will_report() ? read(reports_.reader(), bytes, sizeof bytes) : 0;
        if (n <= 0) {
            throw divergence("nothing happens");
        }
        read_.append(bytes, static_cast<std::size_t>(n));
    }

    pipe_ends reports_;
    pipe_ends orders_;
    std::string read_;
    pid_t thread_ = -1;
};

[[noreturn]] void run_process(const std::vector<int> &actors, std::map<int, player> &players,
                              const stage &objects) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (std::freopen("/dev/null", "w", stdout) == nullptr) { // what the library prints
        std::abort();
    }
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    std::list<std::jthread> threads;
    for (const int each : actors) {
        threads.emplace_back([&, each] { act(players[each].link(), objects.performer_of(each)); });
    }
    threads.clear(); // until functions have ended all threads
    for (;;) {
        pause();
    }
}

class performance {
  public:
    explicit performance(const stage &objects) : objects_(objects) {
        for (const auto &actors : objects.processes) {
            for (const int each : actors) {
                players_[each];
            }
        }
        for (const auto &actors : objects.processes) {
            processes_.emplace_back([&]() -> int { run_process(actors, players_, objects); });
            for (const int each : actors) {
                players_[each].process = processes_.back().id();
                players_[each].learn_thread();
            }
        }
    }

    void follow(const std::string &line) {
        std::istringstream text(line);
        words all;
        for (std::string word; text >> word;) {
            all.push_back(word);
        }
        if (all.size() >= 2 && all[0].size() == 2 && all[0][0] == 'p') {
            follow(players_.at(all[0][1] - '0'), all);
        } else if (const std::string seen = objects_.observe(all); seen != line) {
            throw divergence("'" + seen + "'");
        }
    }

    /// What waits according to the model still waits.
    void end() const {
        for (const auto &[number, each] : players_) {
            if (!each.waits_in.empty() && (each.has_reported() || !each.sleeps())) {
                throw divergence("p" + std::to_string(number) + " does not wait in " + each.waits_in);
            }
        }
    }

  private:
    void follow(player &who, const words &line) {
        const std::string &what = line[1];
        if (what == "calls") {
            who.order(line.at(2));
        } else if (what == "signal") {
            who.interrupt();
        } else if (what == "dies" || what == "exits") {
            end_process(who, what == "exits");
        } else if (what == "returns") {
            who.expect("returns = " + line.at(3));
        } else if (line.at(2) == "reached") {
            who.waits_in.clear();
            reach(who, what);
            who.stands_before = what;
        } else {
            take_step(who, what, line.at(2), line.back());
        }
    }

    static void take_step(player &who, const std::string &step, const std::string &how,
                          const std::string &result) {
        if (how != "ends" && who.waits_in != step) {
            reach(who, step);
            who.order(how == "=" ? result : "");
        }
        who.waits_in.clear();
        if (how == "waits") {
            until_asleep(who);
            who.waits_in = step;
        } else if (how == "begins") {
            who.until_reported();
        } else {
            who.expect(step + " = " + result);
        }
    }

    static void reach(player &who, const std::string &step) {
        if (who.stands_before != step) {
            who.expect("at " + step);
        }
        who.stands_before.clear();
    }

    static void until_asleep(player &who) {
        using clock = std::chrono::steady_clock;
        const auto last = clock::now() + std::chrono::milliseconds(patience);
        while (!who.sleeps() && !who.has_reported()) {
            if (clock::now() > last) {
                throw divergence("it does not wait");
            }
            sched_yield();
        }
        if (who.has_reported()) {
            throw divergence("'" + who.report() + "' instead of waiting");
        }
    }

    void end_process(const player &who, bool by_itself) {
        for (auto &[number, each] : players_) {
            if (each.process == who.process) {
                each.waits_in.clear();
            }
        }
        for (child_process &each : processes_) {
            if (each.id() == who.process) {
                by_itself ? who.order("exit") : each.kill();
                each.wait();
            }
        }
    }

    const stage &objects_;
    std::map<int, player> players_;
    std::list<child_process> processes_;
};

} // namespace

void replay(const stage &objects, const std::vector<std::string> &schedule) {
    performance shown(objects);
    for (std::size_t i = 0; i < schedule.size(); ++i) {
        try {
            shown.follow(schedule[i]);
        } catch (const divergence &what) {
            throw divergence("line " + std::to_string(i + 1) + ", '" + schedule[i] + "': " + what.what());
        }
    }
    shown.end();
}

} // namespace varnel::models
