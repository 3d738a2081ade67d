// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/service.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <utility>

#include <elf.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "host/standard_streams.h"

namespace varnel::sim::device_files {

namespace {

std::vector<std::string> names_of(const std::vector<device_node> &nodes) {
    std::vector<std::string> names;
    std::ranges::transform(nodes, std::back_inserter(names),
                           [](const device_node &node) { return "/dev/" + name_of(node); });
    return names;
}

std::string served_by(const service &how, const char *call, int error) {
    if (are_the_boards(how, error)) {
        return fmt::format("{} are the board's, by {}", fmt::join(names_of(how.files.nodes), ", "),
                           error == 0 ? "a supervisor" : "the supervisor of the run around this one");
    }
    return error == EBUSY && !how.outer_board.empty()
               ? fmt::format("/dev/i2c-* and /dev/gpiochip* are those of {}, not of {}", how.outer_board,
                             how.board)
               : fmt::format("/dev/i2c-* and /dev/gpiochip* are this machine's, not the board's: {}: {}",
                             call, std::strerror(error));
}

/// The file that execvp() takes for a name; empty when there is none.
std::string file_of(const std::string &program) {
    if (program.find('/') != std::string::npos) {
        return program;
    }
    const char *const path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "/bin:/usr/bin" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        std::string file = fmt::format("{}/{}", folder.empty() ? "." : folder, program);
        if (access(file.c_str(), X_OK) == 0) {
            return file;
        }
    }
    return {};
}

bool changes_rights(const std::string &file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) {
        return false;
    }
    return ((status.st_mode & S_ISUID) != 0 && status.st_uid != geteuid()) ||
           ((status.st_mode & S_ISGID) != 0 && status.st_gid != getegid()) ||
           (geteuid() != 0 && getxattr(file.c_str(), "security.capability", nullptr, 0) > 0);
}

/// What a program file says of the machine that it is for; nothing for a script.
std::optional<std::pair<unsigned char, Elf64_Half>> machine_of(const std::string &file) {
    Elf64_Ehdr header{}; // up to e_machine the same for 32 bits
    std::ifstream(file, std::ios::binary).read(reinterpret_cast<char *>(&header), sizeof header);
    return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0
               ? std::optional(std::pair(header.e_ident[EI_CLASS], header.e_machine))
               : std::nullopt;
}

bool is_for_another_machine(const std::string &file) {
    const auto machine = machine_of(file);
    return machine && machine != machine_of("/proc/self/exe");
}

} // namespace

bool are_the_boards(const service &how, int error) {
    return error == 0 || (error == EBUSY && how.outer_board == how.board);
}

void say_how_served(const service &how, const char *call, int error) {
    if (how.verbose) {
        host::say(
            fmt::format("varnel-sim: {}; the library's I2C primitives are the board's, by LD_PRELOAD={}",
                        served_by(how, call, error), std::getenv("LD_PRELOAD")));
    } else if (!are_the_boards(how, error)) {
        host::say(fmt::format("varnel-sim: {}", served_by(how, call, error)));
    }
}

void say_what_it_lacks(const std::string &program) {
    const std::string file = file_of(program);
    if (changes_rights(file)) {
        host::say(fmt::format(
            "varnel-sim: {} does not get its set-user-ID, set-group-ID or capabilities on a board "
            "(it does with --host-devices)",
            file));
    }
    if (is_for_another_machine(file)) {
        host::say(fmt::format("varnel-sim: {} is for another machine: it finds this machine's /dev/i2c-* and "
                              "/dev/gpiochip*, not the board's",
                              file));
    }
}

} // namespace varnel::sim::device_files
