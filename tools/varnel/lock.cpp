// SPDX-License-Identifier: Apache-2.0
// varnel lock: semaphore locks that daemons share, for the time that a command runs.

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <fmt/format.h>
#include <sys/sem.h>
#include <sys/time.h>
#include <unistd.h>

#include "host/foreground_program.h"
#include "host/options.h"
#include "tools/varnel/json_text.h"
#include "tools/varnel/report.h"
#include "tools/varnel/verb.h"
#include "varnel/sem_lock.h"

namespace varnel::tools {

namespace {

constexpr int held_by_another = 75;    // EX_TEMPFAIL of sysexits.h
constexpr uint64_t most_locks = 32000; // SEMMSL of a usual kernel

struct lock_arguments {
    std::string file;
    uint64_t number = 0;
    std::optional<uint64_t> size;
    bool no_wait = false;
    std::optional<std::chrono::milliseconds> time_out;
    std::vector<std::string> command;
};

timeval from_milliseconds(int64_t time) {
    return {static_cast<time_t>(time / 1000), static_cast<suseconds_t>(time % 1000 * 1000)};
}

/// Interrupts a wait when the time is over, again and again: the first time may be just before the wait.
class wait_limit {
  public:
    explicit wait_limit(std::chrono::milliseconds time) {
        rang = 0;
        struct sigaction ring {};
        ring.sa_handler = [](int) { rang = 1; }; // no SA_RESTART
        sigaction(SIGALRM, &ring, &before_);
        const itimerval timer{from_milliseconds(10), from_milliseconds(time.count())};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }
    ~wait_limit() {
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
        sigaction(SIGALRM, &before_, nullptr);
    }
    wait_limit(const wait_limit &) = delete;
    wait_limit &operator=(const wait_limit &) = delete;

    static bool is_over() { return rang != 0; }

  private:
    static inline volatile std::sig_atomic_t rang = 0;
    struct sigaction before_ {};
};

/// Waits for a lock; false when the time is over.
bool wait_for(int set, int number, std::optional<std::chrono::milliseconds> time) {
    std::optional<wait_limit> limit;
    if (time) {
        limit.emplace(*time);
    }
    int result = 0;
    while ((result = wait_sem_lock(set, number)) != 0 && errno == EINTR && !(limit && limit->is_over())) {
    }
    return result == 0;
}

/// The set of a file as it is, or a new one.
int open_set(const std::string &file, uint64_t locks_if_new) {
    int set = get_sem_lock(file.c_str(), 0);
    if (set == -1 && errno == EINVAL) { // no set yet
        set = get_sem_lock(file.c_str(), static_cast<int32_t>(locks_if_new));
    }
    if (set == -1) {
        throw std::system_error(errno, std::generic_category(), file);
    }
    return set;
}

/// Whether the lock is ours now; false when another process holds it.
bool acquire(const lock_arguments &given) {
    const int set = open_set(given.file, given.size.value_or(given.number + 1));
    const auto number = static_cast<int>(given.number);
    const bool acquired =
        given.no_wait ? try_sem_lock(set, number) == 0 : wait_for(set, number, given.time_out);
    if (!acquired && errno == EFBIG) {
        throw failed(fmt::format("{}: has no lock {}", given.file, number));
    }
    if (!acquired && errno != EAGAIN && errno != EINTR) {
        throw std::system_error(errno, std::generic_category(), given.file);
    }
    return acquired;
}

/// The command takes our place, and the lock with it: semop(2) keeps it through execve(2), and the kernel
/// gives it back when the command has ended, in whatever way. There is no process between them that could be
/// killed alone.
int run(const lock_arguments &given) {
    if (given.size && *given.size <= given.number) {
        throw bad_usage(fmt::format("--locks {} has no --number {}", *given.size, given.number));
    }
    if (acquire(given)) {
        become(given.command);
    }
    say(fmt::format("varnel: {}: lock {} is held", given.file, given.number));
    return held_by_another;
}

// --- status ---

union semaphore_argument { // semctl(2) leaves its definition to the caller
    int value;
    semid_ds *set;
};

int locks_in(int set, const std::string &file) {
    semid_ds status{};
    semaphore_argument argument{};
    argument.set = &status;
    if (semctl(set, 0, IPC_STAT, argument) != 0) {
        throw std::system_error(errno, std::generic_category(), file);
    }
    return static_cast<int>(status.sem_nsems);
}

void show_status(const std::string &file, const invocation &call) {
    if (access(file.c_str(), F_OK) != 0) { // the library would create it
        throw std::system_error(errno, std::generic_category(), file);
    }
    const int set = get_sem_lock(file.c_str(), 0);
    if (set == -1 && errno == EINVAL) {
        throw failed(fmt::format("{}: no lock set exists for this key file", file));
    }
    if (set == -1) {
        throw std::system_error(errno, std::generic_category(), file);
    }
    table rows({"LOCK", "STATE", "PROCESS", "WAITING"});
    json locks = json::array();
    for (int i = 0; i < locks_in(set, file); ++i) {
        const bool held = semctl(set, i, GETVAL) > 0;
        const int process = semctl(set, i, GETPID); // the last that took or gave it
        const int waiting = semctl(set, i, GETZCNT);
        rows.add({fmt::to_string(i), held ? "held" : "free", held ? fmt::to_string(process) : "-",
                  fmt::to_string(waiting)});
        locks.push_back({{"lock", i},
                         {"held", held},
                         {"process", held ? json(process) : json(nullptr)},
                         {"waiting", waiting}});
    }
    const json all{{"file", file}, {"set", set}, {"locks", locks}};
    print(call.json ? json_text(all) : rows.text());
}

void add_key_file(const added_verb<lock_arguments> &verb, const char *description) {
    verb.parser.add_option("KEYFILE", verb.given.file, description).required();
}

void add_run(verbs<lock_arguments> &lock) {
    const auto running =
        lock.add("run", "Run a command while holding a lock",
                 [](auto &asked, const lock_arguments &given) { asked.status = run(given); });
    running.parser.footer("Exit status: the command's; 126 or 127 when it cannot be run or is not found, 75 "
                          "when the lock is held.");
    add_key_file(running, "names the locks; created when it is missing");
    running.parser.add_option("COMMAND", running.given.command, "after --; its exit status is passed on")
        .required();
    add_number(running.parser, "--number", running.given.number, most_locks - 1,
               "which lock of the file (default 0)");
    add_number(running.parser, "--locks", running.given.size, most_locks,
               "how many locks a new file gets (default: number + 1)");
    const argument no_wait = running.parser.add_flag("--no-wait", running.given.no_wait,
                                                     "give up with exit status 75 when it is held");
    add_duration(running.parser, "--timeout", running.given.time_out,
                 "give up with exit status 75 after this time")
        .excludes(no_wait);
}

} // namespace

void add_lock(argument_parser app, invocation &call) {
    verbs<lock_arguments> lock(app, call, "lock", "Locks between processes");
    add_run(lock);
    const auto showing =
        lock.add("status", "Show the locks of a file, and which processes hold them",
                 [](const auto &asked, const lock_arguments &given) { show_status(given.file, asked); });
    add_key_file(showing, "names the locks");
    add_json(showing.parser, call);
}

} // namespace varnel::tools
