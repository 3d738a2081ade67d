// SPDX-License-Identifier: Apache-2.0
// varnel log: text logs that are kept small.

#include <cerrno>
#include <cstdint>
#include <limits>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include "host/descriptor.h"
#include "host/options.h"
#include "tools/varnel/text_input.h"
#include "tools/varnel/verb.h"
#include "varnel/text_log.h"

namespace varnel::tools {

namespace {

/// The library moves a full log aside with a shell, and does not quote its path.
void check_log_path(const std::string &path) {
    static constexpr const char *safe = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-";
    if (path.empty() || path.front() == '-' || path.find_first_not_of(safe) != std::string::npos) {
        throw bad_usage(fmt::format("'{}': a shell moves full logs aside: letters, digits and / . _ - only, "
                                    "and no - in front",
                                    path));
    }
    if (path.size() > TEXT_LOG_PATH_MAX) {
        throw bad_usage(fmt::format("{}: longer than {} characters: it would never be moved aside", path,
                                    static_cast<int>(TEXT_LOG_PATH_MAX)));
    }
}

int32_t checked_limit(uint64_t bytes) {
    if (bytes > std::numeric_limits<int32_t>::max()) {
        throw bad_usage("--limit: must be less than 2 GiB");
    }
    return static_cast<int32_t>(bytes);
}

/// The library drops entries for a file that cannot be opened, and says nothing.
void check_writable(const std::string &path) {
    const descriptor file(open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
    if (!file.is_open()) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

struct stat status_of(const std::string &path) {
    struct stat file {};
    stat(path.c_str(), &file); // one that vanished is all zero
    return file;
}

void append(const std::string &path, int32_t limit, const std::string &text) {
    check_writable(path);
    const struct stat before = status_of(path);
    errno = 0;
    if (log_str_size(path.c_str(), limit, "%s", text.c_str()) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    if (before.st_size > limit && status_of(path).st_ino == before.st_ino) {
        throw failed(fmt::format("{}: appended, but could not be moved to {}.old before", path, path));
    }
}

struct options {
    std::string file;
    uint64_t limit = TEXT_LOG_DEFAULT_LIMIT;
    std::vector<std::string> words;
};

void append_all(const options &given) {
    check_log_path(given.file);
    const int32_t limit = checked_limit(given.limit);
    each_text(given.words, [&](const std::string &text) { append(given.file, limit, text); });
}

} // namespace

void add_log(argument_parser app, invocation &call) {
    verbs<options> family(app, call, "log", "Text logs of limited size");
    const auto appending =
        family.add("append", "Append an entry, or one for each line of standard input", append_all);
    appending.parser.add_option("FILE", appending.given.file, "the log").required();
    appending.parser.add_option("TEXT", appending.given.words,
                                "the message; without one, lines of standard input");
    add_size(appending.parser, "--limit", appending.given.limit,
             "move a file larger than this to FILE.old first (default 1M)");
}

} // namespace varnel::tools
