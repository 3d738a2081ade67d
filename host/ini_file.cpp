// SPDX-License-Identifier: Apache-2.0
#include "host/ini_file.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <ini.h>

namespace varnel::host {

bad_line::bad_line(const std::string &file, int line, const std::string &message)
    : std::runtime_error(fmt::format("{}:{}: {}", file, line, message)) {}

namespace {

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

struct mistake {
    int line;
    std::string message;
};

/// Gives the parser the lines, and keeps the entries it finds. The parser reports neither line numbers nor
/// sections without entries. Therefore each heading is followed by a line "=", whose entry without a key begins
/// the section; in a line of the file that is a mistake.
class ini_reader {
  public:
    explicit ini_reader(std::istream &input) : input_(input) {}

    char *next_line(char *buffer, std::size_t size) {
        if (announce_section_) {
            announce_section_ = false;
            section_announced_ = true;
            return deliver("=", buffer);
        }
        section_announced_ = false;
        std::string line;
        if (!std::getline(input_, line)) {
            return nullptr;
        }
        ++line_;
        if (line_ == 1 && line.starts_with(byte_order_mark)) {
            line.erase(0, byte_order_mark.size());
        }
        // The parser would take an indented line for the continuation of the one before.
        line.erase(0, line.find_first_not_of(" \t"));
        if (line.find('\0') != std::string::npos) {
            report("the line contains a NUL");
            line.clear();
        }
        if (line.size() + 2 > size) {
            report("the line is too long");
            line.clear();
        }
        announce_section_ = line.starts_with('[');
        return deliver(line, buffer);
    }

    void add_entry(const char *section, const char *key, const char *value) {
        if (section_announced_) {
            sections_.push_back({section, line_});
        } else if (*key == '\0') {
            report("there is no key before the =");
        } else if (sections_.empty()) {
            report(fmt::format("'{}' comes before the first [section]", key));
        } else {
            sections_.back().entries.push_back({key, value, line_});
        }
    }

    /// Line of the file that the parser got as its n-th.
    [[nodiscard]] int line_of(int delivered) const {
        return delivered_[static_cast<std::size_t>(delivered) - 1];
    }
    [[nodiscard]] const std::optional<mistake> &first_mistake() const { return mistake_; }
    [[nodiscard]] std::vector<ini_section> sections() { return std::move(sections_); }

  private:
    char *deliver(const std::string &line, char *buffer) {
        delivered_.push_back(line_);
        std::memcpy(buffer, line.c_str(), line.size() + 1);
        return buffer;
    }

    void report(std::string message) {
        if (!mistake_) {
            mistake_ = {line_, std::move(message)};
        }
    }

    std::istream &input_;
    int line_ = 0;
    bool announce_section_ = false;
    bool section_announced_ = false;
    std::vector<int> delivered_ = {};
    std::optional<mistake> mistake_ = std::nullopt;
    std::vector<ini_section> sections_ = {};
};

char *next_line(char *buffer, int size, void *reader) {
    return static_cast<ini_reader *>(reader)->next_line(buffer, static_cast<std::size_t>(size));
}

int add_entry(void *reader, const char *section, const char *key, const char *value) {
    static_cast<ini_reader *>(reader)->add_entry(section, key, value);
    return 1;
}

/// Returns the line that the parser could not read, as counted by it, or 0.
int read_all(ini_reader &reader) {
    const int unreadable = ini_parse_stream(next_line, &reader, add_entry, &reader);
    if (unreadable < 0) {
        throw std::bad_alloc();
    }
    return unreadable;
}

void refuse_repeated_keys(const ini_section &section, const std::string &file) {
    for (auto entry = section.entries.begin(); entry != section.entries.end(); ++entry) {
        const auto first = std::ranges::find(section.entries, entry->key, &ini_entry::key);
        if (first != entry) {
            throw bad_line(file, entry->line,
                           fmt::format("'{}' is given twice, first on line {}", entry->key, first->line));
        }
    }
}

void refuse_repetitions(const std::vector<ini_section> &sections, const std::string &file) {
    for (auto section = sections.begin(); section != sections.end(); ++section) {
        const auto first = std::ranges::find(sections, section->name, &ini_section::name);
        if (first != section) {
            throw bad_line(
                file, section->line,
                fmt::format("[{}] is described twice, first on line {}", section->name, first->line));
        }
        refuse_repeated_keys(*section, file);
    }
}

} // namespace

std::vector<ini_section> read_ini(std::istream &input, const std::string &file) {
    ini_reader reader(input);
    const int unreadable = read_all(reader);
    const auto &mistake = reader.first_mistake();
    if (unreadable > 0 && (!mistake || reader.line_of(unreadable) < mistake->line)) {
        throw bad_line(file, reader.line_of(unreadable), "neither a [section] nor KEY = VALUE");
    }
    if (mistake) {
        throw bad_line(file, mistake->line, mistake->message);
    }
    auto sections = reader.sections();
    refuse_repetitions(sections, file);
    return sections;
}

std::vector<ini_section> read_ini_with_mistakes(std::istream &input) {
    ini_reader reader(input);
    read_all(reader);
    return reader.sections();
}

} // namespace varnel::host
