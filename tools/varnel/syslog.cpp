// SPDX-License-Identifier: Apache-2.0
// varnel syslog: lines and hex dumps in the system log.

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <paths.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>

#include "host/descriptor.h"
#include "tools/varnel/text_input.h"
#include "tools/varnel/verb.h"
#include "varnel/debug_log.h"

namespace varnel::tools {

namespace {

constexpr std::size_t longest_dump = 65536; // 3277 lines

using named_number = std::pair<std::string_view, int>;

/// Names of syslog.conf(5) and those in the lines.
constexpr std::array<named_number, 12> levels{{{"emergency", LOG_EMERG},
                                               {"emerg", LOG_EMERG},
                                               {"alert", LOG_ALERT},
                                               {"critical", LOG_CRIT},
                                               {"crit", LOG_CRIT},
                                               {"error", LOG_ERR},
                                               {"err", LOG_ERR},
                                               {"warning", LOG_WARNING},
                                               {"warn", LOG_WARNING},
                                               {"notice", LOG_NOTICE},
                                               {"info", LOG_INFO},
                                               {"debug", LOG_DEBUG}}};

constexpr std::array<named_number, 12> facilities{{{"user", LOG_USER},
                                                   {"daemon", LOG_DAEMON},
                                                   {"auth", LOG_AUTH},
                                                   {"authpriv", LOG_AUTHPRIV},
                                                   {"local0", LOG_LOCAL0},
                                                   {"local1", LOG_LOCAL1},
                                                   {"local2", LOG_LOCAL2},
                                                   {"local3", LOG_LOCAL3},
                                                   {"local4", LOG_LOCAL4},
                                                   {"local5", LOG_LOCAL5},
                                                   {"local6", LOG_LOCAL6},
                                                   {"local7", LOG_LOCAL7}}};

template <std::size_t count>
int number_of(const std::array<named_number, count> &names, std::string_view name, const char *option) {
    const auto found = std::ranges::find(names, name, &named_number::first);
    if (found == names.end()) {
        std::string all;
        for (const named_number &each : names) {
            all += fmt::format("{}{}", all.empty() ? "" : ", ", each.first);
        }
        throw bad_usage(fmt::format("{}: '{}' is not one of {}", option, name, all));
    }
    return found->second;
}

/// syslog() reports no error when no process listens.
void check_log_socket() {
    sockaddr_un place{};
    place.sun_family = AF_UNIX;
    std::string_view(_PATH_LOG).copy(place.sun_path, sizeof place.sun_path - 1);
    for (const int type : {SOCK_DGRAM, SOCK_STREAM}) { // the C library tries both
        const descriptor socket(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
        if (connect(socket.get(), reinterpret_cast<const sockaddr *>(&place), sizeof place) == 0) {
            return;
        }
        if (errno != EPROTOTYPE) {
            break;
        }
    }
    throw std::system_error(errno, std::generic_category(), _PATH_LOG);
}

void log_line(int priority, const std::string &text) {
    static constexpr std::array<const char *, 8> shown{"EMERGENCY", "ALERT",  "CRITICAL", "ERROR",
                                                       "WARNING",   "NOTICE", "INFO",     "DEBUG"};
    const std::size_t mark =
        fmt::formatted_size("[{} {}]", getpid(), shown[static_cast<std::size_t>(LOG_PRI(priority))]);
    if (mark + text.size() > DEBUG_LOG_LINE_MAX) {
        throw bad_usage(
            fmt::format("text of {} bytes: a line takes {}", text.size(), DEBUG_LOG_LINE_MAX - mark));
    }
    IDBG_LINUXAPP_DbgLog(priority, "%s", text.c_str());
}

void dump(int priority, const std::string &file) {
    const std::string bytes = read_some(file, longest_dump + 1);
    if (bytes.size() > longest_dump) {
        throw failed(fmt::format("{}: a dump is at most {} bytes", file, longest_dump));
    }
    IDBG_LINUXAPP_DbgInit(); // or the dump would go to another facility
    IDBG_LINUXAPP_DbgLogBuf(priority, file.c_str(), 0, reinterpret_cast<const uint8_t *>(bytes.data()),
                            static_cast<int32_t>(bytes.size()));
}

struct syslog_options {
    std::string level = "info";
    std::string facility = "local6";
    std::string dump;
    std::vector<std::string> words;
};

void write_log(const syslog_options &given) {
    const int priority =
        number_of(facilities, given.facility, "--facility") | number_of(levels, given.level, "--level");
    check_log_socket();
    if (given.dump.empty()) {
        each_text(given.words, [&](const std::string &text) { log_line(priority, text); });
    } else if (given.words.empty()) {
        dump(priority, given.dump);
    } else {
        throw bad_usage("--dump takes the place of TEXT");
    }
}

} // namespace

void add_syslog(argument_parser app, invocation &call) {
    const auto writing = verbs<syslog_options>(app, call).add(
        "syslog", "Write a line to the system log, or each line of standard input", write_log);
    writing.parser.add_option("TEXT", writing.given.words,
                              "the message; without one, lines of standard input");
    writing.parser.add_option("--level", writing.given.level, "default: info")
        .type_name("emergency|alert|critical|error|warning|notice|info|debug");
    writing.parser.add_option("--facility", writing.given.facility, "local6 (default), daemon, user...")
        .type_name("NAME");
    writing.parser
        .add_option("--dump", writing.given.dump,
                    "log the bytes of a file in hexadecimal; - is standard input")
        .type_name("FILE");
}

} // namespace varnel::tools
