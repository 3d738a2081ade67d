// SPDX-License-Identifier: Apache-2.0
// The record parser over any file: its table must be that of a simple reference parser.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "require.h"
#include "support/memory_file.h"
#include "varnel/logparser.h"

namespace {

using varnel::test::memory_file;
using varnel::test::require;

constexpr char old_byte = '~';
constexpr std::size_t piece_size = 255;

/// The lines that are records, trimmed.
std::vector<std::string> lines_of(const std::string &bytes) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < bytes.size();) {
        std::size_t end = bytes.find('\n', at);
        end = end == std::string::npos ? bytes.size() : end + 1;
        end = std::min(end, at + piece_size);
        std::string line = bytes.substr(at, end - at).c_str(); // up to a NUL
        at = end;
        line.erase(line.find_last_not_of(" \r\n\f\b\t") + 1);
        line.erase(0, line.find_first_not_of(" \r\n\f\b\t"));
        if (!line.empty() && !line.starts_with("//")) {
            lines.push_back(line);
        }
    }
    return lines;
}

std::vector<std::string> tokens_of(const std::string &line, const std::string &delimiters) {
    std::vector<std::string> tokens;
    std::size_t at = line.find_first_not_of(delimiters);
    while (at != std::string::npos) {
        const std::size_t end = std::min(line.find_first_of(delimiters, at), line.size());
        tokens.push_back(line.substr(at, end - at));
        at = line.find_first_not_of(delimiters, end);
    }
    return tokens;
}

void check_record(const log_record &record, const std::vector<std::string> &tokens, int32_t token_count) {
    for (int32_t k = 0; k < VARNEL_LOG_TOKENS; ++k) {
        const std::string field(record.tokens[k], VARNEL_LOG_TOKEN_SIZE);
        if (k >= token_count) {
            require(field == std::string(VARNEL_LOG_TOKEN_SIZE, old_byte), "other fields are untouched");
        } else {
            const std::string &token = tokens[static_cast<std::size_t>(k)];
            require(field.substr(0, token.size()) == token.substr(0, VARNEL_LOG_TOKEN_SIZE), "a token");
            require(token.size() >= VARNEL_LOG_TOKEN_SIZE || field[token.size()] == '\0', "its end");
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    static memory_file file;
    static TABLE table;
    FuzzedDataProvider input(data, size);
    const auto token_count = input.ConsumeIntegralInRange<int32_t>(-1, 9);
    const std::string delimiters = input.PickValueInArray({",", " ", " \t", ":;", "", "=\"", "\xFF|"});
    const std::string bytes = input.ConsumeRemainingBytesAsString();
    const std::vector<std::string> lines = lines_of(bytes);
    if (lines.size() >= VARNEL_LOG_RECORDS) {
        return -1;
    }
    std::memset(table.records, old_byte, (lines.size() + 1) * sizeof table.records[0]);
    table.count = -1;
    file.rewrite(bytes);

    const int32_t result = log_styled_file_parse(file.path(), delimiters.c_str(), token_count, &table);
    if (token_count > VARNEL_LOG_TOKENS) {
        require(result == -1 && table.count == -1, "too many tokens");
        return 0;
    }
    std::size_t good = 0;
    for (; good < lines.size(); ++good) {
        const std::vector<std::string> tokens = tokens_of(lines[good], delimiters);
        if (static_cast<int32_t>(tokens.size()) < token_count) {
            break;
        }
        require(table.count > static_cast<int32_t>(good), "a record is missing");
        check_record(table.records[good], tokens, token_count);
    }
    require(table.count == static_cast<int32_t>(good), "the count");
    require(result == (good == lines.size() ? 0 : -1), "the result");
    return 0;
}
