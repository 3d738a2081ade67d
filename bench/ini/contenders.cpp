// SPDX-License-Identifier: Apache-2.0
#include "ini/contenders.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>

#include <INIReader.h>
#include <fcntl.h>
#include <glib.h>
#include <ini.h>
#include <iniparser/iniparser.h>
#include <unistd.h>

#include "varnel/iniparser.h"

namespace varnel::bench {

namespace {

const char *next_value() {
    static constexpr std::array values{"rear panel", "front panel, left"};
    static unsigned int calls = 0;
    return values.at(++calls % values.size());
}

// --- This library ---

std::string get_varnel(const entry &where) {
    std::array<char, INIPARSER_VALUE_SIZE> value{};
    const int result =
        get_config_string(where.path.c_str(), where.section.c_str(), where.key.c_str(), value.data());
    return result == 0 ? value.data() : "";
}

std::string set_varnel(const entry &where) {
    const char *const value = next_value();
    const int result = set_config_string(where.path.c_str(), where.section.c_str(), where.key.c_str(), value);
    return result == 0 ? value : "";
}

// --- Only the same system calls ---

std::string only_read(const entry &where) {
    std::array<char, 16384> bytes;
    const int file = open(where.path.c_str(), O_RDONLY | O_CLOEXEC);
    std::size_t have = 0;
    ssize_t n = 1;
    while (n > 0 && have < bytes.size()) {
        n = read(file, bytes.data() + have, bytes.size() - have);
        have += n > 0 ? static_cast<std::size_t>(n) : 0;
    }
    close(file);
    return n == 0 ? "read" : "";
}

// --- inih ---

struct search {
    const entry &where;
    std::string value{};
};

int store_if_wanted(void *user, const char *section, const char *name, const char *value) {
    auto *const wanted = static_cast<search *>(user);
    if (wanted->where.section == section && wanted->where.key == name) {
        wanted->value = value;
    }
    return 1;
}

std::string get_inih(const entry &where) {
    search wanted{where};
    return ini_parse(where.path.c_str(), store_if_wanted, &wanted) == 0 ? wanted.value : "";
}

std::string get_inireader(const entry &where) {
    return INIReader(where.path).Get(where.section, where.key, "");
}

// --- libiniparser ---

std::string iniparser_name(const entry &where) { return where.section + ':' + where.key; }

std::string get_iniparser(const entry &where) {
    dictionary *const all = iniparser_load(where.path.c_str());
    std::string value = iniparser_getstring(all, iniparser_name(where).c_str(), "");
    iniparser_freedict(all);
    return value;
}

std::string set_iniparser(const entry &where) {
    const char *const value = next_value();
    dictionary *const all = iniparser_load(where.path.c_str());
    iniparser_set(all, iniparser_name(where).c_str(), value);
    std::FILE *const file = std::fopen(where.path.c_str(), "w");
    iniparser_dump_ini(all, file);
    const bool written = std::fclose(file) == 0;
    iniparser_freedict(all);
    return written ? value : "";
}

// --- GLib ---

using key_file = std::unique_ptr<GKeyFile, decltype(&g_key_file_free)>;

/// Keeps comments if the file is to be written again, as libraries do that change a file in place.
key_file load_key_file(const entry &where, GKeyFileFlags flags) {
    key_file all(g_key_file_new(), g_key_file_free);
    return g_key_file_load_from_file(all.get(), where.path.c_str(), flags, nullptr) != 0
               ? std::move(all)
               : key_file(nullptr, g_key_file_free);
}

std::string get_key_file(const entry &where) {
    const key_file all = load_key_file(where, G_KEY_FILE_NONE);
    if (all == nullptr) {
        return "";
    }
    const std::unique_ptr<char, decltype(&g_free)> value(
        g_key_file_get_string(all.get(), where.section.c_str(), where.key.c_str(), nullptr), g_free);
    return value != nullptr ? value.get() : "";
}

std::string set_key_file(const entry &where) {
    const key_file all = load_key_file(where, G_KEY_FILE_KEEP_COMMENTS);
    if (all == nullptr) {
        return "";
    }
    const char *const value = next_value();
    g_key_file_set_string(all.get(), where.section.c_str(), where.key.c_str(), value);
    return g_key_file_save_to_file(all.get(), where.path.c_str(), nullptr) != 0 ? value : "";
}

} // namespace

const std::vector<library> &libraries() {
    static const std::vector<library> all{{"varnel", role::ours, get_varnel, set_varnel},
                                          {"inih ini_parse", role::peer, get_inih, nullptr},
                                          {"inih INIReader", role::peer, get_inireader, nullptr},
                                          {"libiniparser", role::peer, get_iniparser, set_iniparser},
                                          {"GLib GKeyFile", role::peer, get_key_file, set_key_file},
                                          {"open, read, close", role::floor, only_read, nullptr}};
    return all;
}

} // namespace varnel::bench
