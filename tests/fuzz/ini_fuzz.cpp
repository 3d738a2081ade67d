// SPDX-License-Identifier: Apache-2.0
// The INI store over any file content: results and files must be those of the reference model.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include <fuzzer/FuzzedDataProvider.h>

#include "require.h"
#include "support/memory_file.h"
#include "tests/config/ini_model.h"
#include "varnel/iniparser.h"

namespace {

namespace model = varnel::test::ini_model;
using varnel::test::memory_file;
using varnel::test::require;

std::string up_to_nul(const std::string &text) { return text.c_str(); }

/// A name to search for: usually one from the file.
std::string pick_name(FuzzedDataProvider &input, const std::string &content) {
    const std::size_t from = input.ConsumeIntegralInRange<std::size_t>(0, content.size());
    if (input.ConsumeBool()) {
        const std::size_t begin = content.find_first_of("[\n", from);
        const std::size_t end = content.find_first_of("]=", begin);
        if (end != std::string::npos) {
            return up_to_nul(content.substr(begin + 1, end - begin - 1));
        }
    }
    return up_to_nul(content.substr(from, input.ConsumeIntegralInRange<std::size_t>(0, 12)));
}

void check_getters(const memory_file &file, const std::string &bytes, const std::string &section,
                   const std::string &key) {
    const std::optional<std::string> expected = model::get(bytes, section, key);
    std::array<char, INIPARSER_VALUE_SIZE> value{'~'};
    const int32_t result = get_config_string(file.path(), section.c_str(), key.c_str(), value.data());
    require(result == (expected ? 0 : -1), "get_config_string's result");
    require(expected ? value.data() == *expected : value[0] == '~', "get_config_string's value");

    int32_t number = 77;
    require(get_config_integer(file.path(), section.c_str(), key.c_str(), 0, &number) == result, "integer");
    require(number == (expected ? static_cast<int32_t>(strtol(expected->c_str(), nullptr, 0)) : 77),
            "number");
    int32_t truth = 77;
    require(get_config_boolean(file.path(), section.c_str(), key.c_str(), &truth) == result, "boolean");
    require(expected ? truth == 0 || truth == 1 : truth == 77, "truth value");
}

/// Whether a new entry can be read back: no character in it has a special meaning.
bool is_plain_entry(const std::string &section, const std::string &key, const std::string &value) {
    return section.find(']') == std::string::npos && !key.empty() &&
           key.find_first_of("=\r\n") == std::string::npos &&
           std::string("#;[ \t\v\f").find(key[0]) == std::string::npos &&
           key.find('\xFF') == std::string::npos && value.size() <= INIPARSER_VALUE_MAX &&
           value.find_first_of("\r\n\xFF") == std::string::npos;
}

void check_set(memory_file &file, const std::string &bytes, const std::string &section,
               const std::string &key, const std::string &value) {
    const model::scan_result found = model::scan(model::content_of(bytes), section, key);
    bool formats = false;
    const std::string expected = model::set(bytes, section, key, value, [&](const std::string &rest) {
        formats = rest.find('%') != std::string::npos;
        return formats ? "" : rest;
    });
    const int32_t result = set_config_string(file.path(), section.c_str(), key.c_str(), value.c_str());
    const std::string after = file.content();
    if (result != 0) {
        require(result == -1 && after == bytes, "a refused file is unchanged");
        require(formats || expected.size() > INIPARSER_CONTENT_MAX,
                "only output that is too long is refused");
        return;
    }
    require(after.size() <= INIPARSER_CONTENT_MAX, "the limit");
    require(formats ? after.starts_with(expected) : after == expected, "set_config_string's file");
    if (found.section_start >= 0 && is_plain_entry(section, key, value)) {
        require(model::get(after, section, key) == value, "a value that was set is read back");
    }
}

void check_rename(memory_file &file, const std::string &bytes, const std::string &from,
                  const std::string &to) {
    const std::string expected = model::rename(bytes, from, to);
    const int32_t result = set_section_string(file.path(), from.c_str(), to.c_str());
    require(result == (expected.size() > INIPARSER_CONTENT_MAX ? -1 : 0), "set_section_string's result");
    require(file.content() == (result == 0 ? expected : bytes), "set_section_string's file");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    static memory_file file;
    FuzzedDataProvider input(data, size);
    const unsigned int choice = input.ConsumeIntegral<uint8_t>();
    // Numbers come from the end of the input, the file from its beginning.
    const std::string all(reinterpret_cast<const char *>(data), size);
    const std::string section = pick_name(input, all);
    const std::string key = pick_name(input, all);
    const std::string value = pick_name(input, all);
    const std::string bytes = input.ConsumeRemainingBytesAsString();
    if (model::content_of(bytes).size() > INIPARSER_CONTENT_MAX) {
        return -1;
    }
    file.rewrite(bytes);
    if (choice % 3 == 0) {
        check_getters(file, bytes, section, key);
    } else if (choice % 3 == 1) {
        check_set(file, bytes, section, key, value);
    } else {
        check_rename(file, bytes, section, key);
    }
    return 0;
}
