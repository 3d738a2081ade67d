// SPDX-License-Identifier: Apache-2.0
// varnel config: INI files and record files, as daemons read and write them.

#include <array>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <fmt/format.h>

#include "host/input_file.h"
#include "host/options.h"
#include "tools/varnel/confirm.h"
#include "tools/varnel/ini_entries.h"
#include "tools/varnel/ini_trial.h"
#include "tools/varnel/json_text.h"
#include "tools/varnel/memory_file.h"
#include "tools/varnel/report.h"
#include "tools/varnel/text_input.h"
#include "tools/varnel/verb.h"
#include "varnel/iniparser.h"
#include "varnel/logparser.h"

namespace varnel::tools {

namespace {

constexpr std::size_t longest_stream = 16UL * 1024 * 1024;

struct ini_place {
    std::string file;
    std::string section;
    std::string key;
};

// --- get ---

[[noreturn]] void fail_without(const ini_place &at) {
    throw failed(fmt::format("{}: no {} in [{}]", shown_name(at.file), at.key, at.section));
}

enum value_type : std::size_t { as_string, as_integer, as_boolean };

json read_value(const ini_place &at, std::size_t type, int base) {
    const memory_file copy(read_ini(at.file)); // a file that is too long would end the process
    const std::string path = copy.path();
    const char *const file = path.c_str();
    int32_t number = 0;
    std::array<char, INIPARSER_VALUE_SIZE> text{};
    int32_t result = 0;
    json value;
    if (type == as_integer) {
        result = get_config_integer(file, at.section.c_str(), at.key.c_str(), base, &number);
        value = number;
    } else if (type == as_boolean) {
        result = get_config_boolean(file, at.section.c_str(), at.key.c_str(), &number);
        value = number != 0;
    } else {
        result = get_config_string(file, at.section.c_str(), at.key.c_str(), text.data());
        value = text.data();
    }
    if (result != 0) {
        fail_without(at);
    }
    return value;
}

void get(const ini_place &at, std::size_t type, int base, const invocation &call) {
    const json value = read_value(at, type, base);
    const json all{{"file", at.file}, {"section", at.section}, {"key", at.key}, {"value", value}};
    const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    print(call.json ? json_text(all) : text + '\n');
}

// --- list ---

json entries_as_json(const std::vector<ini_entry> &entries) {
    json all = json::array();
    for (const auto &[section, key, value] : entries) {
        all.push_back({{"section", section}, {"key", key}, {"value", value}});
    }
    return all;
}

std::string entries_as_text(const std::vector<ini_entry> &entries) {
    std::string all;
    const ini_entry *last = nullptr;
    for (const ini_entry &each : entries) {
        if (last == nullptr || last->section != each.section) {
            all += fmt::format("[{}]\n", each.section);
        }
        all += fmt::format("{}={}\n", each.key, each.value);
        last = &each;
    }
    return all;
}

void list(const std::string &file, const invocation &call) {
    const std::vector<ini_entry> entries = entries_of(read_ini(file));
    print(call.json ? json_text(entries_as_json(entries)) : entries_as_text(entries));
}

// --- set, delete and rename ---

/// Words that would make the line mean something else when it is read again.
void check_word(const char *what, std::string_view word, std::string_view forbidden) {
    if (word.find_first_of("\r\n\xFF") != std::string_view::npos ||
        word.find_first_of(forbidden) != std::string_view::npos) {
        throw bad_usage(fmt::format("{}: may not contain line ends, byte 0xFF{}", what,
                                    forbidden.empty() ? "" : fmt::format(" or {}", forbidden)));
    }
}

void check_file(std::string_view file) {
    if (file == "-") {
        throw bad_usage("FILE: - is standard input, which cannot be changed");
    }
}

void check_section(std::string_view name) { check_word("SECTION", name, "]"); }

void check_entry(const ini_place &at, std::string_view value) {
    check_file(at.file);
    check_section(at.section);
    check_word("KEY", at.key, "=");
    check_word("VALUE", value, "");
    if (at.key.empty() || std::string_view("[;#").find(at.key.front()) != std::string_view::npos) {
        throw bad_usage(fmt::format("KEY: '{}' would not be read as a key", at.key));
    }
    if (value.size() > INIPARSER_VALUE_MAX) {
        throw bad_usage(fmt::format("VALUE: {} bytes; daemons read at most {}", value.size(),
                                    static_cast<int>(INIPARSER_VALUE_MAX)));
    }
}

bool has_key(const std::string &file, const ini_place &at) {
    std::array<char, INIPARSER_VALUE_SIZE> value{};
    return get_config_string(file.c_str(), at.section.c_str(), at.key.c_str(), value.data()) == 0;
}

/// What storing a value does beyond storing it; empty when nothing. `known`: the library finds the key.
std::string side_effect(const ini_place &at, const std::string &before, const std::string &after,
                        bool known) {
    const text_change change = difference(before, after);
    const std::string line = line_at(before, change.place);
    if (known && before != after && !line.starts_with(at.key + "=")) {
        return fmt::format("the line '{}', whose key begins {}, becomes '{}'", line, at.key,
                           line_at(after, change.place));
    }
    if (!known && !change.removed.empty()) {
        return "text after the new line changes, too: the library prints it as format text, where % has a "
               "meaning";
    }
    return "";
}

void confirm_if_any(const invocation &call, const std::string &file, const std::string &effect) {
    if (!effect.empty()) {
        confirm(call, fmt::format("{}: {}", file, effect));
    }
}

void set(const ini_place &at, const std::string &value, const invocation &call) {
    check_entry(at, value);
    const auto set_value = [&](const char *path) {
        return set_config_string(path, at.section.c_str(), at.key.c_str(), value.c_str());
    };
    const ini_trial trial(at.file);
    const bool known = has_key(trial.copy(), at);
    confirm_if_any(call, at.file, side_effect(at, trial.before(), trial.after(set_value), known));
    if (set_value(at.file.c_str()) != 0) {
        throw failed(fmt::format("{}: cannot be written", at.file));
    }
}

/// Where the library finds the value: it changes there when another one is stored.
std::size_t place_of_value(const ini_trial &trial, const ini_place &at) {
    std::array<char, INIPARSER_VALUE_SIZE> value{};
    const std::string copy = trial.copy();
    if (get_config_string(copy.c_str(), at.section.c_str(), at.key.c_str(), value.data()) != 0) {
        fail_without(at);
    }
    const char *const another = value[0] == '\0' ? "x" : "";
    return difference(trial.before(), trial.after([&](const char *path) {
               return set_config_string(path, at.section.c_str(), at.key.c_str(), another);
           }))
        .place;
}

void delete_entry(const ini_place &at, const invocation &call) {
    check_file(at.file);
    const ini_trial trial(at.file);
    const std::size_t place = place_of_value(trial, at);
    const std::string line = line_at(trial.before(), place);
    if (line.starts_with('[')) {
        throw failed(fmt::format("{}: '{}' is also the header of a section", at.file, line));
    }
    const std::size_t key = line.find_first_not_of(" \t\v\f");
    confirm_if_any(call, at.file,
                   line.compare(key, at.key.size() + 1, at.key + "=") == 0
                       ? ""
                       : fmt::format("the line '{}', whose key begins {}, is deleted", line, at.key));
    shorten_file(at.file, without_line_at(trial.before(), place));
}

void rename(const std::string &file, const std::string &old_name, const std::string &new_name,
            const invocation &call) {
    check_file(file);
    check_section(old_name);
    check_section(new_name);
    const auto rename_section = [&](const char *path) {
        return set_section_string(path, old_name.c_str(), new_name.c_str());
    };
    const ini_trial trial(file);
    const std::string after = trial.after(rename_section);
    const text_change change = difference(trial.before(), after);
    const bool appended = change.place == trial.before().size();
    confirm_if_any(
        call, file,
        appended ? ""
                 : fmt::format("the old bracket stays: the header becomes {}", line_at(after, change.place)));
    if (rename_section(file.c_str()) != 0) {
        throw failed(fmt::format("{}: cannot be written", file));
    }
}

// --- table ---

std::string token_text(const char *token) { return {token, strnlen(token, VARNEL_LOG_TOKEN_SIZE)}; }

json tokens_of(const log_record &record, int columns) {
    json tokens = json::array();
    for (int i = 0; i < columns; ++i) {
        tokens.push_back(token_text(record.tokens[i]));
    }
    return tokens;
}

std::string records_as_text(const TABLE &records, int columns) {
    std::string all;
    for (int i = 0; i < records.count; ++i) {
        for (int column = 0; column < columns; ++column) {
            all += token_text(records.records[i].tokens[column]) + (column + 1 == columns ? '\n' : '\t');
        }
    }
    return all;
}

json records_as_json(const TABLE &records, int columns) {
    json all = json::array();
    for (int i = 0; i < records.count; ++i) {
        all.push_back(tokens_of(records.records[i], columns));
    }
    return all;
}

/// The library takes a path: of anything but a regular file, such as standard input, it gets a copy. Throws
/// when the file cannot be read; the library does not say why.
std::optional<memory_file> copy_of_stream(const std::string &file) {
    std::error_code unknown;
    if (file != "-" && std::filesystem::is_regular_file(file, unknown)) {
        read_some(file, 1);
        return std::nullopt;
    }
    const std::string text = read_some(file, longest_stream + 1);
    if (text.size() > longest_stream) {
        throw failed(fmt::format("{}: more than {} bytes", shown_name(file), longest_stream));
    }
    return std::optional<memory_file>(std::in_place, text);
}

void print_table(const std::string &file, const std::string &delimiters, int columns,
                 const invocation &call) {
    const std::optional<memory_file> copy = copy_of_stream(file);
    const std::string path = copy ? copy->path() : file;
    const auto records = std::make_unique<TABLE>();
    const int result = log_styled_file_parse(path.c_str(), delimiters.c_str(), columns, records.get());
    print(call.json ? json_text(records_as_json(*records, columns)) : records_as_text(*records, columns));
    if (result != 0) {
        const int count = records->count;
        throw failed(count == VARNEL_LOG_RECORDS
                         ? fmt::format("{}: more than {} records", shown_name(file), count)
                         : fmt::format("{}: record {} has fewer than {} fields", shown_name(file), count + 1,
                                       columns));
    }
}

struct config_arguments {
    ini_place at;
    std::string value;
    std::size_t type = as_string; ///< place among --type string, integer and boolean
    uint64_t base = 10;
    std::string delimiters = " \t";
    uint64_t columns = 0;
};

void add_place(const added_verb<config_arguments> &verb, const char *file) {
    verb.parser.add_option("FILE", verb.given.at.file, file).required();
    verb.parser.add_option("SECTION", verb.given.at.section, "its name, without brackets").required();
    verb.parser
        .add_option("KEY", verb.given.at.key, "a line matches when its key is the beginning of this one")
        .required();
}

void add_get(verbs<config_arguments> &config, invocation &call) {
    const auto getting = config.add("get", "Print a value, as a daemon reads it",
                                    [](const auto &asked, const config_arguments &given) {
                                        get(given.at, given.type, static_cast<int>(given.base), asked);
                                    });
    add_place(getting, "the INI file; - is standard input");
    add_choice(getting.parser, "--type", getting.given.type, {"string", "integer", "boolean"},
               "read it as a daemon would (default: string)");
    add_number(getting.parser, "--base", getting.given.base, 36,
               "of an integer, 2 to 36; 0 knows 0x and 0 (default 10)");
    add_json(getting.parser, call);
}

void add_set(verbs<config_arguments> &config, invocation &call) {
    const auto setting = config.add(
        "set", "Store a value; adds section, key and file when they are not there",
        [](const auto &asked, const config_arguments &given) { set(given.at, given.value, asked); });
    add_place(setting, "the INI file");
    setting.parser
        .add_option("VALUE", setting.given.value, "up to 255 bytes; one that begins with - goes after --")
        .required();
    add_yes(setting.parser, call);
}

void add_list(verbs<config_arguments> &config, invocation &call) {
    const auto listing =
        config.add("list", "Print all sections, keys and values, as a daemon reads them",
                   [](const auto &asked, const config_arguments &given) { list(given.at.file, asked); });
    listing.parser.add_option("FILE", listing.given.at.file, "the INI file; - is standard input").required();
    add_json(listing.parser, call);
}

void add_delete(verbs<config_arguments> &config, invocation &call) {
    const auto deleting =
        config.add("delete", "Delete a key and its value",
                   [](const auto &asked, const config_arguments &given) { delete_entry(given.at, asked); });
    add_place(deleting, "the INI file");
    add_yes(deleting.parser, call);
}

void add_rename(verbs<config_arguments> &config, invocation &call) {
    const auto renaming = config.add("rename", "Rename a section, or append it when it is not there",
                                     [](const auto &asked, const config_arguments &given) {
                                         rename(given.at.file, given.at.section, given.value, asked);
                                     });
    renaming.parser.add_option("FILE", renaming.given.at.file, "the INI file").required();
    renaming.parser.add_option("OLD", renaming.given.at.section, "name of the section")
        .type_name("SECTION")
        .required();
    renaming.parser.add_option("NEW", renaming.given.value, "its new name, which then begins with [")
        .required();
    add_yes(renaming.parser, call);
}

void add_table(verbs<config_arguments> &config, invocation &call) {
    const auto printing =
        config.add("table", "Print the records of a file, fields separated by tabs",
                   [](const auto &asked, const config_arguments &given) {
                       print_table(given.at.file, given.delimiters, static_cast<int>(given.columns), asked);
                   });
    printing.parser
        .add_option("FILE", printing.given.at.file,
                    "one record a line; empty lines and // are skipped; - is standard input")
        .required();
    add_number(printing.parser, "--columns", printing.given.columns, {1, VARNEL_LOG_TOKENS},
               "number of fields in each record, 1 to 8")
        .required();
    printing.parser
        .add_option("--delimiters", printing.given.delimiters,
                    "characters between fields (default: space and tab)")
        .type_name("CHARACTERS");
    add_json(printing.parser, call);
}

} // namespace

void add_config(argument_parser app, invocation &call) {
    verbs<config_arguments> config(app, call, "config", "INI files and record files");
    add_get(config, call);
    add_list(config, call);
    add_set(config, call);
    add_delete(config, call);
    add_rename(config, call);
    add_table(config, call);
}

} // namespace varnel::tools
