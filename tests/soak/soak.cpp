// SPDX-License-Identifier: Apache-2.0
// soak SECONDS SEED VARNEL_SIM BOARD_MONITOR: runs on a simulated board, see script/soak.
//
// Writers post to a queue and append to a log, lockers use the bus in turn, a monitor watches the board, and
// senders send files to clients, while random faults affect the board and random members are killed. What
// must hold at the end:
//
// - A record whose post returned 0 is received exactly once, and the records of a writer in order. A record
//   whose writer was killed during the post is received once or not at all. The same holds for log entries.
// - No two lockers hold the bus at the same time, and none waits for a holder that died.
// - A file arrives complete; when its sender was killed, a beginning of it arrives.
// - Members that were never killed have as many descriptors as after warming up, and at most half a mebibyte
//   more memory; one semaphore set and no unexpected file is left.
#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include "soak/ledger.h"
#include "soak/members.h"
#include "support/child_process.h"
#include "support/own_network.h"
#include "support/scratch_folder.h"
#include "varnel/sem_lock.h"

namespace varnel::soak {

namespace {

using namespace std::chrono_literals;
using clock = std::chrono::steady_clock;
using test::child_process;

constexpr long allowed_growth_kib = 512;
constexpr auto patience = 60s;

std::vector<std::string> problems;

void expect(bool holds, const std::string &problem) {
    if (!holds) {
        problems.push_back(problem);
    }
}

/// Numbers, with their writers, of records whose writer was killed during the post.
using unacknowledged = std::set<std::pair<int, uint32_t>>;

void silence() {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) {
        _exit(1);
    }
}

class run {
  public:
    run(unsigned seed, std::string simulator, std::string monitor)
        : random_(seed), simulator_(std::move(simulator)), monitor_program_(std::move(monitor)) {
        mkfifo("queue", 0600);
        test::write_file("settings.ini", "[log]\nfile=monitor.log\n[bus]\nlock=bus.lock\n");
        start(seed);
    }

    void go_on_until(clock::time_point end) {
        while (clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5 + random_() % 60));
            kill_random_member();
            if (random_() % 16 == 0) {
                disturb_board();
            }
        }
    }

    /// The footprints of the members that are never killed.
    std::vector<std::pair<int, long>> footprints() {
        const int wanted = ++shared_.footprint_wanted;
        std::vector<std::pair<int, long>> taken;
        for (const footprint &each : shared_.footprints) {
            expect(comes_true([&] { return each.answered_request == wanted; }),
                   "a member that was not killed makes no progress");
            taken.emplace_back(each.descriptors, each.resident_kib);
        }
        return taken;
    }

    void finish() {
        shared_.stop = true;
        disturb("none", "");
        for (int i = 0; i < writers; ++i) {
            expect_end(writers_[static_cast<std::size_t>(i)], "writer");
            note_unacknowledged(i);
        }
        for (child_process &each : lockers_) {
            expect_end(each, "locker");
        }
        expect_end(rotator_, "rotating log");
        expect_end(transfers_, "transfers");
        monitor_.kill(SIGTERM);
        expect_end(monitor_, "board_monitor");
        shared_.drained = true;
        expect_end(reader_, "reader");
    }

    void check_queue() {
        expect(shared_.broken_records == 0,
               std::to_string(shared_.broken_records) + " records broken, twice or out of order");
        expect(shared_.failed_posts == 0, std::to_string(shared_.failed_posts) + " posts failed");
        expect(shared_.missed <= shared_.missed_records.size(), "too many records missed");
        unacknowledged missed;
        for (uint32_t i = 0; i < std::min<std::size_t>(shared_.missed, shared_.missed_records.size()); ++i) {
            const uint64_t one = shared_.missed_records[i];
            missed.emplace(static_cast<int>(one >> 32), static_cast<uint32_t>(one));
        }
        for (int i = 0; i < writers; ++i) {
            const writer_account &account = shared_.accounts[static_cast<std::size_t>(i)];
            for (uint32_t number = account.last_received + 1; number <= account.begun; ++number) {
                missed.emplace(i, number);
            }
            posted_ += account.begun;
            received_ += account.received;
        }
        expect(std::ranges::includes(posts_, missed), "acknowledged records were not received");
        expect(received_ + missed.size() == posted_,
               "received and missed records are not those that were sent");
    }

    void check_log() {
        std::ifstream log("log");
        unacknowledged missing;
        std::vector<uint32_t> last(writers, 0);
        for (std::string date, entry; std::getline(log, date) && std::getline(log, entry);) {
            int writer = -1;
            unsigned number = 0;
            if (std::sscanf(entry.c_str(), "\twriter %d entry %u", &writer, &number) != 2 || writer < 0 ||
                writer >= writers || number <= last[static_cast<std::size_t>(writer)]) {
                expect(false, "the log has an entry that is broken, twice or out of order: " + entry);
                return;
            }
            uint32_t &before = last[static_cast<std::size_t>(writer)];
            while (++before < number) {
                missing.emplace(writer, before);
            }
            ++entries_;
        }
        for (int i = 0; i < writers; ++i) {
            for (uint32_t n = last[static_cast<std::size_t>(i)] + 1;
                 n <= shared_.accounts[static_cast<std::size_t>(i)].begun; ++n) {
                missing.emplace(i, n);
            }
        }
        expect(std::ranges::includes(log_entries_, missing), "acknowledged entries are not in the log");
        expect(std::filesystem::file_size("small") <= 4096 + 64, "the small log has outgrown its limit");
    }

    void check_rest() const {
        expect(shared_.shared_turns == 0, std::to_string(shared_.shared_turns) + " times two held the bus");
        expect(shared_.wrong_transfers == 0,
               std::to_string(shared_.wrong_transfers) + " transfers went wrong");
        expect(shared_.readings > 0 && shared_.transfers > 0, "no reading, or no transfer");
    }

    std::string summary() const {
        const auto text = [](const auto &number) { return std::to_string(+number); };
        return text(posted_) + " records sent, " + text(received_) + " received (" + text(posts_.size()) +
               " unacknowledged), " + text(entries_) + " log entries, " + text(shared_.turns) +
               " turns on the bus (" + text(shared_.failed_readings) + " failed readings), " +
               text(shared_.transfers) + " transfers (" + text(shared_.cut_transfers) + " senders killed), " +
               text(kills_) + " kills, " + text(faults_) + " faults";
    }

  private:
    void start(unsigned seed) {
        reader_ = child_process([this] { return read_records(shared_); });
        rotator_ = child_process([this] { return rotate_log(shared_); });
        transfers_ = child_process([this, seed] { return transfer_files(shared_, seed); });
        for (int i = 0; i < writers; ++i) {
            writers_.push_back(new_writer(i));
        }
        for (int i = 0; i < lockers; ++i) {
            lockers_.push_back(new_locker(i));
        }
        monitor_ = new_monitor();
    }

    child_process new_writer(int i) {
        return child_process([this, i] { return write_records(shared_, i); });
    }
    child_process new_locker(int i) {
        const uint32_t incarnation = shared_.doomed[static_cast<std::size_t>(i)] + 1;
        return child_process([this, i, incarnation] {
            silence(); // each failed reading prints a line
            return use_bus(shared_, i, incarnation);
        });
    }
    child_process new_monitor() {
        return child_process([this] {
            silence();
            execl(monitor_program_.c_str(), "board_monitor", "-c", "settings.ini", "-i", "1", nullptr);
            return 127;
        });
    }

    void kill_random_member() {
        const auto victim = static_cast<int>(random_() % (writers + lockers));
        if (victim < writers) {
            auto &writer = writers_[static_cast<std::size_t>(victim)];
            writer.kill();
            writer.wait();
            note_unacknowledged(victim);
            writer = new_writer(victim);
        } else if (victim > writers) { // the first locker is never killed
            const int i = victim - writers;
            ++shared_.doomed[static_cast<std::size_t>(i)];
            auto &locker = lockers_[static_cast<std::size_t>(i)];
            locker.kill();
            locker.wait();
            locker = new_locker(i);
        } else {
            monitor_.kill();
            monitor_.wait();
            monitor_ = new_monitor();
        }
        ++kills_;
    }

    void note_unacknowledged(int writer) {
        const writer_account &account = shared_.accounts[static_cast<std::size_t>(writer)];
        if (account.last_post != account.begun) {
            posts_.emplace(writer, account.begun);
        }
        if (account.last_entry != account.begun) {
            log_entries_.emplace(writer, account.begun);
        }
    }

    void disturb_board() {
        static constexpr std::array<const char *, 5> kinds{"nack", "short", "flip", "stuck", "none"};
        disturb(kinds[random_() % kinds.size()], " --rate 0.05 --seed " + std::to_string(random_()));
        ++faults_;
    }

    void disturb(const std::string &kind, const std::string &options) {
        for (const char *chip : {"mux0", "psu0", "psu1"}) {
            const bool clear = kind == "none";
            const std::string command = simulator_ + " fault " + chip + " " + kind + (clear ? "" : options);
            expect(std::system(command.c_str()) == 0, "failed: " + command);
        }
    }

    template <class condition>
    static bool comes_true(condition holds) {
        for (const auto end = clock::now() + patience; clock::now() < end; std::this_thread::sleep_for(5ms)) {
            if (holds()) {
                return true;
            }
        }
        return false;
    }

    static void expect_end(child_process &member, const char *name) {
        std::optional<int> status;
        comes_true([&] { return (status = member.ended()).has_value(); });
        expect(status == 0, std::string(name) + (status ? " failed" : " does not end"));
    }

    std::mt19937 random_;
    std::string simulator_;
    std::string monitor_program_;
    ledger &shared_ = make_ledger();
    child_process reader_{child_process::none()};
    child_process rotator_{child_process::none()};
    child_process transfers_{child_process::none()};
    child_process monitor_{child_process::none()};
    std::vector<child_process> writers_;
    std::vector<child_process> lockers_;
    unacknowledged posts_;
    unacknowledged log_entries_;
    std::size_t posted_ = 0;
    std::size_t received_ = 0;
    std::size_t entries_ = 0;
    unsigned kills_ = 0;
    unsigned faults_ = 0;
};

/// Semaphore sets of this IPC namespace.
int semaphore_sets() {
    seminfo info{};
    semctl(0, 0, SEM_INFO, &info);
    return info.semusz;
}

void check_growth(const std::vector<std::pair<int, long>> &before,
                  const std::vector<std::pair<int, long>> &after) {
    static constexpr std::array<const char *, long_lived> names{"reader", "locker", "rotating log",
                                                                "transfers"};
    for (std::size_t i = 0; i < before.size(); ++i) {
        const auto [descriptors, memory] = before[i];
        const auto [descriptors_now, memory_now] = after[i];
        expect(descriptors == descriptors_now, std::string(names[i]) + ": " + std::to_string(descriptors) +
                                                   " descriptors became " + std::to_string(descriptors_now));
        expect(memory_now <= memory + allowed_growth_kib, std::string(names[i]) + ": " +
                                                              std::to_string(memory) + " KiB became " +
                                                              std::to_string(memory_now));
    }
}

/// Expects only the files that a run may leave in its folder, including the monitor's backup.
void check_files(const std::vector<std::string> &names) {
    static const std::set<std::string> expected{"bus.lock",        "log",   "monitor.log",
                                                "monitor.log.old", "queue", "sent",
                                                "settings.ini",    "small", "small.old"};
    for (const std::string &each : names) {
        expect(expected.contains(each), "a file is left: " + each);
    }
}

void soak(std::chrono::seconds duration, unsigned seed, const char *simulator, const char *monitor) {
    const test::scratch_folder folder;
    if (chdir(folder.path().c_str()) != 0) {
        std::perror("soak: chdir");
        std::exit(1);
    }
    const int sets_before = semaphore_sets();
    const auto begun = clock::now();
    std::string summary;
    {
        run all(seed, simulator, monitor);
        all.go_on_until(begun + duration / 4);
        const auto warm = all.footprints();
        all.go_on_until(begun + duration);
        check_growth(warm, all.footprints());
        all.finish();
        all.check_queue();
        all.check_log();
        all.check_rest();
        summary = all.summary();
    }
    expect(semaphore_sets() == sets_before + 1, "semaphore sets are left");
    expect(semctl(get_sem_lock("bus.lock", 1), 0, GETVAL) == 0, "the bus is still held");
    semctl(get_sem_lock("bus.lock", 1), 0, IPC_RMID);
    check_files(folder.names());
    std::printf("soak: %s, seed %u: %s\n", problems.empty() ? "passed" : "FAILED", seed, summary.c_str());
    if (chdir("/") != 0) {
        std::perror("soak: chdir");
    }
}

unsigned number(const char *text) {
    unsigned value = 0;
    const char *const end = text + std::strlen(text);
    const auto [stopped, error] = std::from_chars(text, end, value);
    if (error != std::errc{} || stopped != end) {
        std::fprintf(stderr, "soak: not a number: %s\n", text);
        std::exit(2);
    }
    return value;
}

} // namespace

} // namespace varnel::soak

int main(int argc, char **argv) {
    using namespace varnel::soak;
    if (argc != 5) {
        std::fputs("usage: soak SECONDS SEED VARNEL_SIM BOARD_MONITOR\n", stderr);
        return 2;
    }
    const unsigned seconds = number(argv[1]);
    const unsigned seed = number(argv[2]);
    if (const std::string reason = varnel::test::enter_own_network(); !reason.empty()) {
        std::fprintf(stderr, "soak: %s\n", reason.c_str());
        return 77;
    }
    if (unshare(CLONE_NEWIPC) != 0) {
        std::perror("soak: cannot create an IPC namespace");
        return 77;
    }
    soak(std::chrono::seconds(seconds), seed, argv[3], argv[4]);
    for (const std::string &each : problems) {
        std::fprintf(stderr, "soak: %s\n", each.c_str());
    }
    return problems.empty() ? 0 : 1;
}
