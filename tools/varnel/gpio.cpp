// SPDX-License-Identifier: Apache-2.0
// varnel gpio: pins of the expanders PCA9555, PCA9554 and PCA9505.

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/options.h"
#include "tools/varnel/device_address.h"
#include "tools/varnel/expander.h"
#include "tools/varnel/gpio_wait.h"
#include "tools/varnel/pin_words.h"
#include "tools/varnel/report.h"
#include "tools/varnel/verb.h"
#include "tools/varnel/watch.h"

namespace varnel::tools {

namespace {

constexpr const char *direction_name(bool input) { return input ? "input" : "output"; }

struct options {
    device_address chip;
    const expander_model *model = default_expander_model();
    std::vector<std::string> words;
    std::size_t kind = 0; ///< place among the kinds of registers
    std::string bank;
    std::optional<uint64_t> value;
    std::vector<std::string> outputs, inputs, high, low;
    watch_options watch;
    bool verify = false;

    [[nodiscard]] expander target() const { return {chip, *model}; }
};

std::vector<expander_pin> pins_from(const std::vector<std::string> &words, const expander &target) {
    std::vector<expander_pin> pins;
    pins.reserve(words.size());
    for (const std::string &word : words) {
        pins.push_back(target.pin_from(word));
    }
    return pins;
}

/// One word a pin, in the order that was asked for.
void print_bits(const invocation &call, const options &given, registers which, const char *(*name)(bool)) {
    const expander target = given.target();
    const auto pins = pins_from(given.words, target);
    json values = json::object();
    std::string text;
    for (const expander_pin &pin : pins) {
        const char *const word = name(target.read(which, pin));
        values[target.name(pin)] = word;
        text += fmt::format("{}\n", word);
    }
    report lines;
    lines.add("device", given.chip.name());
    lines.add("pins", std::move(values));
    print(call.json ? lines.text(call) : text);
}

void verify(const options &given, const pin_states &assignments, registers which, const char *(*name)(bool)) {
    const expander target = given.target();
    for (const auto &[pin, wanted] : assignments) {
        if (target.read(which, pin) != wanted) {
            const bool waits = which == registers::level && target.read(registers::direction, pin);
            throw failed(fmt::format("{}: pin {}: set to {}, reads {}{}", given.chip.name(), target.name(pin),
                                     name(wanted), name(!wanted), waits ? "; it is an input" : ""));
        }
    }
}

void set_bits(const options &given, registers written, registers read_back,
              const std::vector<std::string> &states, const char *(*name)(bool)) {
    const expander target = given.target();
    const pin_states assignments =
        pin_states_from(given.words, target, states); // all, before the first is written
    for (const auto &[pin, value] : assignments) {
        target.write(written, pin, value);
    }
    if (given.verify) {
        verify(given, assignments, read_back, name);
    }
}

void set(const options &given) {
    set_bits(given, registers::output, registers::level, {"high", "low"}, level_name);
}

/// Whether a word is meant as a pin, not as its direction.
bool is_pin(const options &given, const std::string &word) {
    return word.find_first_not_of("0123456789.") == std::string::npos || given.target().has_pin_named(word);
}

void direction(const invocation &call, const options &given) {
    if (given.words.size() > 1 && !is_pin(given, given.words[1])) {
        set_bits(given, registers::direction, registers::direction, {"input", "output"}, direction_name);
    } else {
        print_bits(call, given, registers::direction, direction_name);
    }
}

struct pin_view {
    const char *direction, *level, *output;
};

/// As a row, and as a member of the JSON object. Names are the board's; on most there are none.
void add_pin(table &rows, json &pins, const std::string &label, const std::string &name,
             const pin_view &pin) {
    std::vector<std::string> row{label, pin.direction, pin.level, pin.output};
    if (!name.empty()) {
        row.push_back(name);
    }
    rows.add(std::move(row));
    pins[label] = {{"direction", pin.direction}, {"level", pin.level}, {"output", pin.output}};
    if (!name.empty()) {
        pins[label]["name"] = name;
    }
}

std::string list(const invocation &call, const options &given) {
    const expander target = given.target();
    std::vector<std::string> headings{"PIN", "DIRECTION", "LEVEL", "OUTPUT"};
    if (target.has_names()) {
        headings.emplace_back("NAME");
    }
    table rows(std::move(headings));
    json pins = json::object();
    for (unsigned int bank = 0; bank < target.banks(); ++bank) {
        const uint8_t directions = target.read_bank(registers::direction, bank);
        const uint8_t levels = target.read_bank(registers::level, bank);
        const uint8_t outputs = target.read_bank(registers::output, bank);
        for (unsigned int bit = 0; bit < 8; ++bit) {
            const auto is_set = [bit](uint8_t byte) { return (byte >> bit & 1U) != 0; };
            add_pin(rows, pins, target.name({bank, bit}), target.given_name({bank, bit}),
                    {direction_name(is_set(directions)), level_name(is_set(levels)),
                     level_name(is_set(outputs))});
        }
    }
    report lines;
    lines.add("device", given.chip.name());
    lines.add("pins", std::move(pins));
    return call.json ? lines.text(call) : rows.text();
}

constexpr const char *register_kinds[] = {"level", "output", "direction"};
constexpr registers registers_of_kind[] = {registers::level, registers::output, registers::direction};

void bank(const invocation &call, const options &given) {
    const expander target = given.target();
    const auto number = static_cast<unsigned int>(c_number(given.bank, target.banks() - 1, "BANK"));
    const registers which = registers_of_kind[given.kind];
    if (!given.value) {
        const uint8_t value = target.read_bank(which, number);
        report lines;
        lines.add("device", given.chip.name());
        lines.add(register_kinds[given.kind], value);
        return print(call.json ? lines.text(call) : fmt::format("0x{:02x}\n", value));
    }
    if (which == registers::level) {
        throw bad_usage("gpio bank: levels are read; --of output or --of direction is written");
    }
    const auto wanted = static_cast<uint8_t>(*given.value);
    target.write_bank(which, number, wanted);
    if (const uint8_t found = given.verify ? target.read_bank(which, number) : wanted; found != wanted) {
        throw failed(fmt::format("{}: {} of bank {}: wrote 0x{:02x}, reads 0x{:02x}", given.chip.name(),
                                 register_kinds[given.kind], number, wanted, found));
    }
}

void check_exclusive(const std::vector<std::string> &one, const std::vector<std::string> &other,
                     const char *names) {
    if (!one.empty() && !other.empty()) {
        throw bad_usage(fmt::format("gpio init: either {}: all other pins become the opposite", names));
    }
}

/// Levels first, so that a pin that becomes an output starts with the right one.
void init(const options &given) {
    check_exclusive(given.outputs, given.inputs, "--outputs or --inputs");
    check_exclusive(given.high, given.low, "--high or --low");
    const expander target = given.target();
    const auto high = pins_from(given.high, target);
    const auto low = pins_from(given.low, target);
    const auto inputs = pins_from(given.inputs, target);
    const auto outputs = pins_from(given.outputs, target);
    if (high.size() + low.size() + inputs.size() + outputs.size() == 0) {
        throw bad_usage("missing argument: --outputs or --inputs, --high or --low");
    }
    if (!high.empty() || !low.empty()) {
        target.write_all(registers::output, high.empty() ? low : high, !high.empty());
    }
    if (!inputs.empty() || !outputs.empty()) {
        target.write_all(registers::direction, inputs.empty() ? outputs : inputs, !inputs.empty());
    }
}

void unmask(const options &given) {
    const expander target = given.target();
    target.clear_interrupt_mask(static_cast<unsigned int>(c_number(given.bank, target.banks() - 1, "BANK")));
}

void print_levels(const invocation &call, const options &given) {
    print_bits(call, given, registers::level, level_name);
}

void print_list(const invocation &call, const options &given) {
    show(given.watch, [&] { return list(call, given); });
}

template <typename Action>
added_verb<options> add_on_chip(verbs<options> &gpio, const char *name, const char *description,
                                Action action) {
    const added_verb<options> verb = gpio.add(name, description, action);
    add_model(verb.parser, verb.given.model);
    return verb;
}

void add_pin_list(argument_parser verb, const char *name, std::vector<std::string> &pins,
                  const char *description) {
    verb.add_option(name, pins, description).delimiter(',').one_value_each_time().type_name("PIN,PIN...");
}

void add_pins(verbs<options> &gpio, invocation &call) {
    const auto get = add_on_chip(gpio, "get", "Show levels, one line a pin", print_levels);
    add_pin_words(get.parser, get.given.words, "PIN", "...",
                  "3, or BANK.BIT such as 1.7, or its name in the file of a simulated board");
    add_json(get.parser, call);
    const auto setting = add_on_chip(gpio, "set", "Set output registers", set);
    setting.parser.add_note(
        "An input gets its new level when it becomes an output. Other pins do not change.");
    add_pin_words(setting.parser, setting.given.words, "PIN|high|low", "high|low ...",
                  "pins, each followed by its level");
    add_verify(setting.parser, setting.given.verify);
    const auto dir = add_on_chip(gpio, "dir", "Show directions, one line a pin, or set them", direction);
    add_pin_words(dir.parser, dir.given.words, "PIN|input|output", "[input|output] ...",
                  "pins; to set them, each followed by its direction");
    add_verify(dir.parser, dir.given.verify);
    add_json(dir.parser, call);
}

void add_whole_chip(verbs<options> &gpio, invocation &call) {
    const auto listing =
        add_on_chip(gpio, "list", "Show all pins: direction, level, and output register", print_list);
    add_json(listing.parser, call);
    add_watch(listing.parser, listing.given.watch);
    const auto all = add_on_chip(gpio, "init", "Set all pins at once, levels first", init);
    all.parser.add_note("Pins that are not listed are set to the opposite.");
    add_pin_list(all.parser, "--outputs", all.given.outputs, "outputs; all others inputs");
    add_pin_list(all.parser, "--inputs", all.given.inputs, "inputs; all others outputs");
    add_pin_list(all.parser, "--high", all.given.high, "driven high; all others low");
    add_pin_list(all.parser, "--low", all.given.low, "driven low; all others high");
}

void add_bank(const added_verb<options> &verb, const std::string &description) {
    verb.parser.add_option("BANK", verb.given.bank, description.c_str()).required().type_name("");
}

void add_banks(verbs<options> &gpio, invocation &call) {
    const auto one = add_on_chip(gpio, "bank", "Show or write eight pins as a byte", bank);
    add_bank(one, expander_banks());
    add_number(one.parser, "VALUE", one.given.value, UINT8_MAX, "the byte to write").required(false);
    add_choice(one.parser, "--of", one.given.kind, {"level", "output", "direction"},
               "default: level; a direction of 1 is an input");
    add_verify(one.parser, one.given.verify);
    add_json(one.parser, call);
    add_bank(add_on_chip(gpio, "unmask", "Enable the interrupts of a bank of a PCA9505", unmask),
             maskable_banks());
}

} // namespace

void add_gpio(argument_parser app, invocation &call) {
    verbs<options> gpio(app, call, "gpio", "PCA9555, PCA9554 and PCA9505 expanders: pins");
    add_pins(gpio, call);
    add_gpio_wait(gpio.family(), call);
    add_whole_chip(gpio, call);
    add_banks(gpio, call);
}

} // namespace varnel::tools
