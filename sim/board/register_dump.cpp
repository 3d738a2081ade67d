// SPDX-License-Identifier: Apache-2.0
#include "sim/board/register_dump.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string_view>

#include <fmt/format.h>

#include "host/hex.h"

namespace varnel::sim {

namespace {

/// A dump has 18 lines of at most 71 characters.
constexpr std::uintmax_t largest_dump = 4096;

constexpr std::size_t first_column = 4; // after "10: "
constexpr std::string_view start_of_byte_heading = "     0  1";
constexpr std::string_view start_of_word_heading = "     0,8";

class dump_reader {
  public:
    dump_reader(const std::string &name, int line) : name_(name), board_line_(line) {}

    std::vector<host::ini_entry> read(std::istream &input) {
        for (std::string line; std::getline(input, line);) {
            ++line_;
            if (digits_ == 0) {
                read_heading(line);
            } else if (!line.empty()) {
                read_row(line);
            }
        }
        if (digits_ == 0) {
            fail("not what i2cdump prints by bytes or words");
        }
        return std::move(settings_);
    }

  private:
    [[noreturn]] void fail(const std::string &message) const {
        throw host::bad_line(name_, std::max(line_, 1), message);
    }

    void add(const std::string &key, std::string_view value) {
        settings_.push_back({key, std::string(value), board_line_});
    }

    /// Lines before the heading are messages.
    void read_heading(std::string_view line) {
        if (line.starts_with(start_of_byte_heading)) {
            digits_ = 2;
        } else if (line.starts_with(start_of_word_heading)) {
            digits_ = 4;
            add("width", "16");
        }
    }

    void read_row(const std::string &line) {
        const auto first = host::byte_from_hex(std::string_view(line).substr(0, 2));
        const unsigned int in_row = digits_ == 2 ? 16 : 8;
        if (!first || line.substr(2, 2) != ": " || *first % in_row != 0) {
            fail(fmt::format("'{}' is not a row of a dump", line));
        }
        for (unsigned int i = 0; i < in_row; ++i) {
            read_cell(*first + i, line, first_column + i * (digits_ + 1));
        }
    }

    /// Registers outside the range that was dumped are blank.
    void read_cell(unsigned int number, const std::string &line, std::size_t column) {
        const std::string text = column < line.size() ? line.substr(column, digits_) : "";
        if (text.find_first_not_of(' ') == std::string::npos) {
            return;
        }
        if (text == std::string(digits_, 'X')) {
            return add(fmt::format("access.{:02x}", number), "none");
        }
        const auto bytes = host::bytes_from_hex(text);
        if (!bytes || bytes->size() != digits_ / 2) {
            fail(fmt::format("'{}' is not the value of a register", text));
        }
        add(fmt::format("data.{:02x}", number), text);
    }

    const std::string &name_;
    int board_line_;
    int line_ = 0;
    std::size_t digits_ = 0; ///< of a register; 0 before the heading
    std::vector<host::ini_entry> settings_;
};

} // namespace

std::vector<host::ini_entry> settings_of_dump(const std::string &dump, const dump_line &where) {
    std::error_code error;
    const bool is_file = std::filesystem::is_regular_file(dump, error);
    std::ifstream input;
    if (is_file && std::filesystem::file_size(dump, error) <= largest_dump) {
        input.open(dump);
    }
    if (!input.is_open()) {
        throw host::bad_line(
            where.file, where.number,
            fmt::format("dump: cannot read {}, a file of at most {} bytes", dump, largest_dump));
    }
    return dump_reader(dump, where.number).read(input);
}

} // namespace varnel::sim
