// SPDX-License-Identifier: Apache-2.0
#include "footprint/daemons.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "support/command.h"
#include "support/scratch_folder.h"

namespace varnel::bench {

namespace {

/// A process with pipes at its standard input and output.
class running_daemon {
  public:
    running_daemon(const std::string &program, const std::string &job, const std::string &argument)
        : program_(program) {
        std::array<int, 2> input{};
        std::array<int, 2> output{};
        if (pipe2(input.data(), O_CLOEXEC) != 0 || pipe2(output.data(), O_CLOEXEC) != 0) {
            fail("has no pipe");
        }
        id_ = fork();
        if (id_ == 0) {
            dup2(input[0], STDIN_FILENO);
            dup2(output[1], STDOUT_FILENO);
            become(job, argument);
        }
        close(input[0]);
        close(output[1]);
        to_ = input[1];
        from_ = fdopen(output[0], "r");
    }
    ~running_daemon() {
        close_input();
        (void)std::fclose(from_);
        if (id_ > 0) {
            waitpid(id_, nullptr, 0);
        }
    }
    running_daemon(const running_daemon &) = delete;
    running_daemon &operator=(const running_daemon &) = delete;

    [[nodiscard]] std::string read_line() const {
        std::array<char, 128> line{};
        if (std::fgets(line.data(), line.size(), from_) == nullptr) {
            fail("printed nothing");
        }
        const std::string text(line.data());
        return text.substr(0, text.find('\n'));
    }

    /// Waits until the process ends.
    void finish() {
        close_input();
        int status = 0;
        if (waitpid(id_, &status, 0) != id_ || status != 0) {
            id_ = -1;
            fail("failed");
        }
        id_ = -1;
    }

    [[nodiscard]] std::string file_of_process(const std::string &name) const {
        std::ifstream file("/proc/" + std::to_string(id_) + "/" + name);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    [[noreturn]] void fail(const std::string &what) const { throw std::runtime_error(program_ + " " + what); }

  private:
    /// Runs the program; an empty argument is replaced by the current time.
    [[noreturn]] void become(const std::string &job, const std::string &argument) const {
        std::array<char, 32> time{};
        if (argument.empty()) {
            timespec now{};
            (void)clock_gettime(CLOCK_MONOTONIC, &now);
            (void)std::snprintf(time.data(), time.size(), "%lld",
                                static_cast<long long>(now.tv_sec) * 1'000'000'000 + now.tv_nsec);
        }
        execl(program_.c_str(), program_.c_str(), job.c_str(),
              argument.empty() ? time.data() : argument.c_str(), nullptr);
        std::perror(program_.c_str());
        _exit(127);
    }

    void close_input() {
        if (to_ >= 0) {
            close(to_);
            to_ = -1;
        }
    }

    std::string program_;
    pid_t id_ = -1;
    int to_ = -1;
    std::FILE *from_ = nullptr;
};

/// The number after `label`.
double number_after(const std::string &label, const std::string &text) {
    const std::size_t at = text.find(label);
    if (at == std::string::npos) {
        throw std::runtime_error("no '" + label + "' in: " + text);
    }
    return std::stod(text.substr(at + label.size()));
}

double mapped_libraries(const std::string &maps) {
    std::set<std::string> libraries;
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = maps.find('\n', begin)) != std::string::npos; begin = end + 1) {
        const std::string line = maps.substr(begin, end - begin);
        const std::size_t path = line.find('/');
        if (path != std::string::npos && line.find(".so", path) != std::string::npos) {
            libraries.insert(line.substr(path));
        }
    }
    return static_cast<double>(libraries.size());
}

void make_files(const test::scratch_folder &folder) {
    test::write_file(folder.file("fan.ini"), "[fan]\nlimit=1000\n");
    test::write_file(folder.file("fans.xml"),
                     "<fans>\n  <fan id=\"1\" speed=\"9000\"/>\n  <fan id=\"2\" speed=\"8800\"/>\n</fans>\n");
    if (mkfifo(folder.file("events").c_str(), 0600) != 0) {
        throw std::runtime_error("mkfifo failed");
    }
}

} // namespace

double start_time(const std::string &program) {
    running_daemon daemon(program, "start", "");
    const double nanoseconds = std::stod(daemon.read_line());
    daemon.finish();
    return nanoseconds / 1000;
}

loader_work loader_work_of(const std::string &program) {
    const std::string report = output_of("LD_DEBUG=statistics " + quoted(program) + " start 0 2>&1");
    return {number_after("number of relocations: ", report),
            number_after("number of relative relocations: ", report)};
}

memory_use memory_of(const std::string &program, const std::string &expected) {
    const test::scratch_folder folder;
    make_files(folder);
    running_daemon daemon(program, "work", folder.path());
    if (const std::string found = daemon.read_line(); found != expected) {
        daemon.fail("printed '" + found + "', expected " + expected);
    }
    const std::string rollup = daemon.file_of_process("smaps_rollup");
    const memory_use use{number_after("Rss:", rollup), number_after("Pss:", rollup),
                         number_after("Private_Dirty:", rollup),
                         mapped_libraries(daemon.file_of_process("maps"))};
    daemon.finish();
    return use;
}

} // namespace varnel::bench
