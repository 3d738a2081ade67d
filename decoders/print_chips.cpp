// SPDX-License-Identifier: Apache-2.0
// print_chips lua|python: the register tables in chips/ as a table of the language, by type of chip.
#include <array>
#include <chrono>
#include <iostream>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "chips/number_format.h"
#include "chips/pmbus.h"
#include "sim/models/chip.h"

namespace {

using namespace varnel;
using chips::chip_register;

class no_clock : public sim::board_clock {
  public:
    [[nodiscard]] std::chrono::nanoseconds now() const override { return {}; }
};

/// How a language writes a table; names and texts need no escapes in either.
struct language {
    std::string_view name;
    std::string_view key; ///< format of a key and its value
    std::string_view open_list;
    std::string_view close_list;
    std::string_view before;
};
// REUSE-IgnoreStart
constexpr language lua{"lua", "[\"{}\"] = {}, ", "{", "}",
                       "-- SPDX-License-Identifier: Apache-2.0\nlocal chips = "};
constexpr language python{"python", "\"{}\": {}, ", "[", "]",
                          "# SPDX-License-Identifier: Apache-2.0\nCHIPS = "};
// REUSE-IgnoreEnd

class table_text {
  public:
    explicit table_text(const language &in) : in_(in) {}

    table_text &add(std::string_view key, const std::string &value) {
        text_ += fmt::format(fmt::runtime(in_.key), key, value);
        return *this;
    }
    table_text &add(std::string_view key, int value) { return add(key, fmt::to_string(value)); }
    table_text &add_text(std::string_view key, std::string_view value) {
        return add(key, fmt::format("\"{}\"", value));
    }
    [[nodiscard]] std::string str() const { return "{" + text_ + "}"; }

  private:
    const language &in_;
    std::string text_;
};

template <class Items, class Text>
std::string list_of(const language &in, const Items &items, Text text) {
    std::string all;
    for (const auto &item : items) {
        all += text(item) + ", ";
    }
    return std::string(in.open_list) + all + std::string(in.close_list);
}

std::string_view ending_of(chips::numbering numbers) {
    return numbers == chips::numbering::from_zero ? "from zero"
           : numbers == chips::numbering::by_code ? "by code"
                                                  : "";
}

std::string text_of(const language &in, const chip_register &each) {
    const auto [format, unit] = chips::format_of(each);
    const auto quoted = [](std::string_view text) { return fmt::format("\"{}\"", text); };
    return table_text(in)
        .add("code", each.code)
        .add("count", static_cast<int>(each.count))
        .add_text("name", each.name)
        .add_text("ending", ending_of(each.numbers))
        .add("bytes", static_cast<int>(each.bytes))
        .add_text("format", format)
        .add_text("unit", unit)
        .add("decimals", each.decimals)
        .add("signed", each.has_sign ? 1 : 0)
        .add("bits", list_of(in, each.bits, quoted))
        .str();
}

std::string text_of(const language &in, const chips::datasheet &sheet) {
    return table_text(in)
        .add_text("title", sheet.title)
        .add("flags", static_cast<int>(sheet.flags))
        .add("channels", static_cast<int>(sheet.channels))
        .add("exponent", chips::linear16_exponent(sheet))
        .add("registers", list_of(in, sheet.registers,
                                  [&](const chip_register &each) { return "\n    " + text_of(in, each); }))
        .str();
}

/// For supplies that have no table of their own.
constexpr chips::datasheet any_pmbus{.type = "pmbus",
                                     .title = "any device with PMBus",
                                     .source = "PMBus 1.2 Part II, Appendix I",
                                     .registers = chips::pmbus_commands};

void print(const language &in) {
    const no_clock clock;
    std::string all = std::string(in.before) + "{\n";
    for (const std::string_view type : sim::chip_types()) {
        all +=
            fmt::format(fmt::runtime(in.key), type, text_of(in, sim::make_chip(type, clock)->sheet())) + '\n';
    }
    all += fmt::format(fmt::runtime(in.key), any_pmbus.type, text_of(in, any_pmbus)) + "\n}\n";
    std::cout << all << std::flush;
}

} // namespace

int main(int count, char *words[]) {
    for (const language &in : std::array{lua, python}) {
        if (count == 2 && words[1] == in.name) {
            print(in);
            return std::cout ? 0 : 1;
        }
    }
    std::cerr << "print_chips: lua or python\n";
    return 2;
}
