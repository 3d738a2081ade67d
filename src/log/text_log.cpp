// SPDX-License-Identifier: Apache-2.0
#include "varnel/text_log.h"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <sys/stat.h>

namespace {

constexpr std::size_t command_size =
    sizeof "mv  .old" + 2 * std::size_t{TEXT_LOG_PATH_MAX}; // its NUL included
constexpr std::size_t append_size = 16UL * 1024;
constexpr std::size_t time_stamp_size = 26; // what ctime_r needs

void move_aside(const char *path) {
    std::array<char, command_size> command{};
    const int length = std::snprintf(command.data(), command.size(), "mv %s %s.old", path, path);
    if (static_cast<std::size_t>(length) < command.size()) {             // not when it is negative
        [[maybe_unused]] const int result = std::system(command.data()); // if it fails, the file grows
    }
}

void rotate(const char *path, int32_t limit) {
    struct stat status {};
    if (stat(path, &status) == 0 && status.st_size > limit) {
        move_aside(path);
    }
}

/// The date and time, with a newline at the end.
std::array<char, time_stamp_size> time_stamp() {
    std::array<char, time_stamp_size> text{};
    const std::time_t now = std::time(nullptr);
    tzset(); // ctime_r alone would not notice a changed TZ
    static_cast<void>(ctime_r(&now, text.data()));
    return text;
}

[[gnu::format(printf, 3, 0)]] int32_t append_entry(const char *path, int32_t limit, const char *format,
                                                   std::va_list arguments) {
    const int callers_errno = errno;
    rotate(path, limit);
    const std::array<char, time_stamp_size> stamp = time_stamp();
    std::FILE *const file = std::fopen(path, "ae");
    if (file == nullptr) {
        return 0;
    }
    std::array<char, append_size> entry; // stdio's buffer: an entry that fits is appended by one write
    std::setvbuf(file, entry.data(), _IOFBF, entry.size());
    std::fprintf(file, "%s\t", stamp.data());
    errno = callers_errno; // for %m
    std::vfprintf(file, format, arguments);
    std::fputc('\n', file);
    return std::fclose(file);
}

} // namespace

int32_t log_str_old(const char *path, const char *text) { return log_str(path, "%s", text); }

int32_t log_str(const char *path, const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int32_t result = append_entry(path, TEXT_LOG_DEFAULT_LIMIT, format, arguments);
    va_end(arguments);
    return result;
}

int32_t log_str_size(const char *path, int32_t limit, const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int32_t result = append_entry(path, limit, format, arguments);
    va_end(arguments);
    return result;
}
