// SPDX-License-Identifier: Apache-2.0
#include "varnel/iniparser.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <strings.h>

#include "base/assertion.h"
#include "config/bounded_text.h"
#include "config/format_text.h"
#include "config/ini_file.h"
#include "config/ini_scan.h"

using varnel::bounded_text;
using varnel::ini_image;
using varnel::ini_load;
using varnel::ini_match;
using varnel::scan_ini;

namespace {

constexpr const char *source = "iniparser.c";

void require_arguments(const char *file_path, const char *section, const char *key, const void *value,
                       const char *function = __builtin_FUNCTION(), unsigned line = __builtin_LINE()) {
    varnel::require(file_path != nullptr && section != nullptr && key != nullptr && value != nullptr,
                    "(file_path != ((void *)0)) && (section != ((void *)0)) && (key != ((void *)0)) && "
                    "(value != ((void *)0))",
                    source, function, line);
}

int32_t read_value(const char *file_path, const char *section, const char *key, char *value) {
    ini_image file;
    if (file.load(file_path) != ini_load::done) {
        return -1;
    }
    const ini_match match = scan_ini(file.content(), section, key);
    if (match.value == nullptr) {
        return -1;
    }
    const std::size_t length = static_cast<std::size_t>(match.value_end - match.value) % INIPARSER_VALUE_SIZE;
    std::memcpy(value, match.value, length);
    value[length] = '\0';
    return 0;
}

constexpr std::string_view between(const char *begin, const char *end) {
    return {begin, static_cast<std::size_t>(end - begin)};
}

void put_entry(bounded_text &out, std::string_view old, const ini_match &match, const char *section,
               const char *key, const char *value) {
    const char *const begin = old.data();
    const char *const end = begin + old.size();
    if (match.section_name == nullptr) {
        out.append({old, "\n[", section, "]\n", key, "=", value, "\n"});
    } else if (match.value != nullptr) {
        const std::string_view stored(value, std::strlen(value) % INIPARSER_VALUE_SIZE);
        out.append({between(begin, match.value), stored, between(match.value_end, end)});
    } else {
        out.append({between(begin, match.section_body), key, "=", value, "\n"});
        print_with_zeros(out, between(match.section_body, end));
    }
}

/// The new name, with brackets, is written after the old '[' and replaces the rest of the header's line.
void put_section(bounded_text &out, std::string_view old, const ini_match &match, const char *name) {
    if (match.section_name == nullptr) {
        out.append({old, "\n[", name, "]\n"});
        return;
    }
    const char *const end = old.data() + old.size();
    std::string_view rest = between(match.section_name, end);
    const std::size_t line_feed = rest.find('\n');
    rest.remove_prefix(line_feed != std::string_view::npos ? line_feed : 0);
    out.append({between(old.data(), match.section_name), "[", name, "]", rest});
}

int32_t save(ini_image &file, const char *file_path, bounded_text &out) {
    return out.fits() && file.replace(file_path, out) ? 0 : -1;
}

} // namespace

int32_t get_config_string(const char *file_path, const char *section, const char *key, char *value) {
    require_arguments(file_path, section, key, value);
    return read_value(file_path, section, key, value);
}

int32_t get_config_integer(const char *file_path, const char *section, const char *key, int32_t base,
                           int32_t *value) {
    require_arguments(file_path, section, key, value);
    std::array<char, INIPARSER_VALUE_SIZE> text{};
    const int32_t result = read_value(file_path, section, key, text.data());
    if (result == 0) {
        *value = static_cast<int32_t>(std::strtol(text.data(), nullptr, base));
    }
    return result;
}

int32_t get_config_boolean(const char *file_path, const char *section, const char *key, int32_t *value) {
    require_arguments(file_path, section, key, value);
    std::array<char, INIPARSER_VALUE_SIZE> text{};
    const int32_t result = read_value(file_path, section, key, text.data());
    if (result == 0) {
        *value = strncasecmp(text.data(), "true", std::strlen(text.data())) == 0 ? 1 : 0;
    }
    return result;
}

int32_t set_config_string(const char *file_path, const char *section, const char *key, const char *value) {
    require_arguments(file_path, section, key, value);
    ini_image file;
    if (file.load(file_path) == ini_load::failed) {
        return -1;
    }
    const std::string_view old = file.content();
    bounded_text out;
    put_entry(out, old, scan_ini(old, section, key), section, key, value);
    return save(file, file_path, out);
}

int32_t set_section_string(const char *file_path, const char *old_section, const char *new_section) {
    varnel::require(file_path != nullptr && old_section != nullptr && new_section != nullptr,
                    "(file_path != ((void *)0)) && (old_section != ((void *)0)) && "
                    "(new_section != ((void *)0))",
                    source);
    ini_image file;
    if (file.load(file_path) == ini_load::failed) {
        return -1;
    }
    const std::string_view old = file.content();
    bounded_text out;
    put_section(out, old, scan_ini(old, old_section, ""), new_section); // no entry has an empty key
    return save(file, file_path, out);
}
