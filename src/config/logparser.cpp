// SPDX-License-Identifier: Apache-2.0
#include "varnel/logparser.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "base/assertion.h"

namespace {

constexpr int line_size = 256;                     // of one read, NUL included
constexpr std::string_view blanks = " \r\n\f\b\t"; // trimmed from both ends of a line
constexpr std::string_view comment = "//";

/// NULs follow the line, so that a whole field can be copied from the line's last byte.
using line_buffer = std::array<char, line_size + VARNEL_LOG_TOKEN_SIZE>;

static_assert(sizeof(struct log_record) == 516);
static_assert(offsetof(struct log_record, tokens) == 0);
static_assert(offsetof(struct log_record_table, records) == 0);
static_assert(offsetof(struct log_record_table, count) == 16384UL * 516);
static_assert(sizeof(TABLE) == 16384UL * 516 + 4);

struct file_closer {
    void operator()(std::FILE *file) const { static_cast<void>(std::fclose(file)); }
};

/// Reads one line or one piece of a longer one; false at the end of the file.
bool read_line(std::FILE *file, line_buffer &line) {
    line.fill('\0');
    return std::fgets(line.data(), line_size, file) != nullptr;
}

void trim(line_buffer &line) {
    const std::string_view text(line.data());
    const std::size_t first = std::min(text.find_first_not_of(blanks), text.size());
    const std::size_t behind_last = text.find_last_not_of(blanks) + 1; // 0 without other characters
    char *const end =
        std::copy(line.begin() + first, line.begin() + std::max(first, behind_last), line.begin());
    std::fill(end, line.end(), '\0');
}

bool holds_record(const line_buffer &line) {
    return line[0] != '\0' && std::memcmp(line.data(), comment.data(), comment.size()) != 0;
}

/// False when the line has fewer tokens than wanted; those that it has are stored.
bool store_tokens(line_buffer &line, const char *delimiters, int32_t token_count, struct log_record &record) {
    for (int32_t k = 0; k < token_count; ++k) {
        const char *const token = get_token_from_string(line.data(), delimiters, k);
        if (token == nullptr) {
            return false;
        }
        std::memcpy(record.tokens[k], token, VARNEL_LOG_TOKEN_SIZE);
    }
    return true;
}

} // namespace

char *get_token_from_string(char *string, const char *delimiters, int32_t index) {
    return std::strtok(index == 0 ? string : nullptr, delimiters);
}

int32_t log_styled_file_parse(const char *file_path, const char *delimiters, int32_t token_count,
                              TABLE *multi_line_string_tokens) {
    varnel::require(multi_line_string_tokens != nullptr, "multi_line_string_tokens != ((void *)0)",
                    "logparser.c");
    if (token_count > VARNEL_LOG_TOKENS) {
        return -1;
    }
    const std::unique_ptr<std::FILE, file_closer> file(std::fopen(file_path, "re"));
    if (file == nullptr) {
        return -1;
    }
    TABLE &table = *multi_line_string_tokens;
    table.count = 0;
    line_buffer line;
    while (read_line(file.get(), line)) {
        trim(line);
        if (!holds_record(line)) {
            continue;
        }
        if (table.count == VARNEL_LOG_RECORDS ||
            !store_tokens(line, delimiters, token_count, table.records[table.count])) {
            return -1;
        }
        ++table.count;
    }
    return std::ferror(file.get()) == 0 ? 0 : -1;
}
