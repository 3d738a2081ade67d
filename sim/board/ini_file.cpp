// SPDX-License-Identifier: Apache-2.0
#include "sim/board/ini_file.h"

#include <cstddef>
#include <cstring>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <ini.h>

namespace varnel::sim {

bad_description::bad_description(const std::string &file, int line, const std::string &message)
    : std::runtime_error(fmt::format("{}:{}: {}", file, line, message)) {}

namespace {

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

struct mistake {
    int line;
    std::string message;
};

/// Sits on both sides of the parser: hands it the lines, and takes what it finds in them. The parser neither
/// tells line numbers nor reports a section without entries; so each heading is followed by an entry without
/// a key, which no file can contain unnoticed, as `key_expected_` is set only for those.
class ini_reader_state {
  public:
    explicit ini_reader_state(std::istream &input) : input_(input) {}

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
            report("the line has a NUL byte");
            line.clear();
        }
        if (line.size() + 2 > size) {
            report("the line is too long");
            line.clear();
        }
        announce_section_ = line.starts_with('[');
        return deliver(line, buffer);
    }

    /// Returns whether the parser is to be content.
    bool take(const char *section, const char *key, const char *value) {
        if (section_announced_) {
            sections_.push_back({section, line_});
        } else if (*key == '\0') {
            report("nothing stands before the =");
        } else if (sections_.empty()) {
            report(fmt::format("{} stands before the first [section]", key));
        } else {
            sections_.back().entries.push_back({key, value, line_});
        }
        return true;
    }

    /// Line of the file that was handed over as the n-th.
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

char *hand_over(char *buffer, int size, void *state) {
    return static_cast<ini_reader_state *>(state)->next_line(buffer, static_cast<std::size_t>(size));
}

int take_entry(void *state, const char *section, const char *key, const char *value) {
    return static_cast<ini_reader_state *>(state)->take(section, key, value) ? 1 : 0;
}

} // namespace

std::vector<ini_section> read_ini(std::istream &input, const std::string &file) {
    ini_reader_state state(input);
    const int unreadable = ini_parse_stream(hand_over, &state, take_entry, &state);
    if (unreadable < 0) {
        throw std::bad_alloc();
    }
    const auto &mistake = state.first_mistake();
    if (unreadable > 0 && (!mistake || state.line_of(unreadable) < mistake->line)) {
        throw bad_description(file, state.line_of(unreadable), "neither a [section] nor KEY = VALUE");
    }
    if (mistake) {
        throw bad_description(file, mistake->line, mistake->message);
    }
    return state.sections();
}

} // namespace varnel::sim
