// SPDX-License-Identifier: Apache-2.0
// Text logs of limited size. All contenders write the same entries: a line with date and time, and one with a
// tab and the message. The entries in the files are counted after each run.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <sys/stat.h>
#include <unistd.h>

#include "log/parts.h"
#include "support/memory_folder.h"
#include "support/processes.h"
#include "varnel/text_log.h"

namespace varnel::bench {

namespace {

constexpr int entries = 25'000; // exceed the limit once, but not twice
constexpr int32_t limit = 1 << 20;
constexpr int rotations = 50;

struct remaining {
    std::ptrdiff_t files = 0;
    std::ptrdiff_t lines = 0;
};

remaining remaining_in(const memory_folder &folder) {
    remaining found;
    for (const auto &each : std::filesystem::directory_iterator(folder.file(""))) {
        std::ifstream file(each.path());
        ++found.files;
        found.lines += std::count(std::istreambuf_iterator<char>(file), {}, '\n');
    }
    return found;
}

using writer = std::function<void(const std::string &path)>;

/// The time in seconds in which `write` writes a log; `kept` entries must remain, in two files.
double seconds(const writer &write, int kept) {
    const memory_folder folder;
    const double begin = now();
    write(folder.file("fan.log"));
    const double taken = now() - begin;
    const remaining left = remaining_in(folder);
    if (left.files != 2 || left.lines != std::ptrdiff_t{2} * kept) {
        throw std::runtime_error("a log has " + std::to_string(left.lines) + " lines in " +
                                 std::to_string(left.files) + " files, expected " + std::to_string(2 * kept) +
                                 " in 2");
    }
    return taken;
}

constexpr int fan_of(int entry) { return entry % 8; }
constexpr int speed_of(int entry) { return 3000 + entry % 1000; }

void write_ours(const std::string &path, int count, int32_t size) {
    for (int i = 0; i < count; ++i) {
        checked(log_str_size(path.c_str(), size, "fan %d at %d rpm", fan_of(i), speed_of(i)), "log_str_size");
    }
}

void write_spdlog(const std::string &path, int count, std::size_t size, spdlog::level::level_enum flushed) {
    spdlog::logger log("bench", std::make_shared<spdlog::sinks::rotating_file_sink_st>(path, size, 1));
    log.set_pattern("%c\n\t%v");
    log.flush_on(flushed);
    for (int i = 0; i < count; ++i) {
        log.info("fan {} at {} rpm", fan_of(i), speed_of(i));
    }
}

const std::string finished_entry = "Wed Jun 30 21:49:08 1993\n\tfan 2 at 3000 rpm\n";

int opened(const std::string &path) {
    return static_cast<int>(
        checked(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666), "open"));
}

void append(int file) { checked(write(file, finished_entry.data(), finished_entry.size()), "write"); }

void move_aside(const std::string &path) { checked(rename(path.c_str(), (path + ".old").c_str()), "rename"); }

/// Writes to a file that is moved after every `in_file` entries.
void write_bare(const std::string &path, int count, int in_file) {
    int file = opened(path);
    for (int i = 0; i < count; ++i) {
        if (i % in_file == 0 && i != 0) {
            close(file);
            move_aside(path);
            file = opened(path);
        }
        append(file);
    }
    close(file);
}

/// Opens the file again for each entry.
void write_reopened(const std::string &path, int count, off_t size) {
    for (int i = 0; i < count; ++i) {
        struct stat status {};
        if (stat(path.c_str(), &status) == 0 && status.st_size > size) {
            move_aside(path);
        }
        const int file = opened(path);
        append(file);
        close(file);
    }
}

contender per_second(const std::string &name, role who, const writer &write) {
    return {name, who, [write] { return entries / seconds(write, entries); }};
}

contender microseconds_each(const std::string &name, role who, const writer &write) {
    return {name, who, [write] { return seconds(write, 2) * 1e6 / rotations; }};
}

} // namespace

void text_files(results &found) {
    found.add(figure{
        "log.files", "Entries to a text log of limited size", "entries/s", better::higher,
        "25,000 entries of 45 bytes, limit 1 MiB, so that a new file is begun once; files are in memory. "
        "log_str_size opens and closes the file for each entry, so that others may move or remove it; spdlog "
        "keeps it open. Without flushing, entries wait in the process and are lost when it dies. The floors "
        "write entries made beforehand, one as log_str_size does, one to an open file.",
        interleaved(
            11, {per_second("log_str_size", role::ours, [](auto &path) { write_ours(path, entries, limit); }),
                 per_second("spdlog, flushed", role::peer,
                            [](auto &path) { write_spdlog(path, entries, limit, spdlog::level::trace); }),
                 per_second("spdlog, not flushed", role::peer,
                            [](auto &path) { write_spdlog(path, entries, limit, spdlog::level::off); }),
                 per_second("stat(), open(), write(), close()", role::floor,
                            [](auto &path) { write_reopened(path, entries, limit); }),
                 per_second("write() of a finished entry", role::floor,
                            [](auto &path) { write_bare(path, entries, entries / 2); })})});
}

void rotation(results &found) {
    found.add(figure{
        "log.rotation", "Beginning a new log file", "us", better::lower,
        "50 entries with a limit that each outgrows: move the file away, begin another, write one entry. "
        "log_str_size runs the command mv in a shell; spdlog and the floor rename the file themselves.",
        interleaved(11, {microseconds_each("log_str_size", role::ours,
                                           [](auto &path) { write_ours(path, rotations, 0); }),
                         microseconds_each(
                             "spdlog", role::peer,
                             [](auto &path) { write_spdlog(path, rotations, 1, spdlog::level::trace); }),
                         microseconds_each("rename(), open(), write()", role::floor,
                                           [](auto &path) { write_bare(path, rotations, 1); })})});
}

} // namespace varnel::bench
