// SPDX-License-Identifier: Apache-2.0
#include "sim/models/pmbus_supply.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <sstream>

#include <fmt/format.h>

#include "host/numbers.h"
#include "sim/models/paged_supply.h"
#include "sim/models/pmbus_port.h"
#include "sim/models/stage_settings.h"

namespace varnel::sim {

namespace {

using chips::access;
using chips::measure;
using chips::supply_command;

constexpr quantity pages_range{"", 1, 32};
constexpr quantity exponent_range{"", -16, 0};
constexpr std::size_t longest_text = 32;
constexpr std::string_view known_settings =
    "pages, format, vout-exponent, direct.vout, direct.vin, direct.current, direct.power, "
    "direct.temperature, "
    "direct.fan, volts.0, amps.0, load.0, offset.0 and so on for each page, ambient, fan, input, mfr-id, "
    "mfr-model, mfr-revision, mfr-location, mfr-date, mfr-serial";

/// A setting of each output, such as "load.0".
struct output_setting {
    std::string_view name;
    quantity range;
    double supply_output::*value;
    bool rebuilds; ///< what the supply is made for, not what surrounds it
};
constexpr std::array output_settings{
    output_setting{"volts", {"V", 0.5, 60}, &supply_output::nominal_volts, true},
    output_setting{"amps", {"A", 0.1, 1000}, &supply_output::rated_amperes, true},
    output_setting{"load", {"W", 0, 5000}, &supply_output::load, false},
    output_setting{"offset", {"V", -60, 60}, &supply_output::offset, false},
};

struct named_measure {
    std::string_view name;
    measure of;
};
constexpr std::array named_measures{
    named_measure{"direct.vout", measure::output_volts},   named_measure{"direct.vin", measure::input_volts},
    named_measure{"direct.current", measure::amperes},     named_measure{"direct.power", measure::watts},
    named_measure{"direct.temperature", measure::celsius}, named_measure{"direct.fan", measure::rpm},
};

struct named_text {
    std::string_view name;
    uint8_t command;
};
constexpr std::array named_texts{
    named_text{"mfr-id", pmbus::mfr_id},
    named_text{"mfr-model", pmbus::mfr_model},
    named_text{"mfr-revision", pmbus::mfr_revision},
    named_text{"mfr-location", pmbus::mfr_location},
    named_text{"mfr-date", pmbus::mfr_date},
    named_text{"mfr-serial", pmbus::mfr_serial},
};

int whole(std::string_view setting, std::string_view value, const quantity &range) {
    const double number = parse_quantity(setting, value, range);
    if (number != std::floor(number)) {
        refuse_value(setting, value, fmt::format("a whole number, {} to {}", range.least, range.most));
    }
    return static_cast<int>(number);
}

/// "1 0 3": m and b of 16 bits, R of 8.
direct_coefficients coefficients_in(std::string_view setting, std::string_view value) {
    std::istringstream words{std::string(value)};
    direct_coefficients read;
    const bool complete = static_cast<bool>(words >> read.m >> read.b >> read.r) && (words >> std::ws).eof();
    if (!complete || read.m == 0 || static_cast<int16_t>(read.m) != read.m ||
        static_cast<int16_t>(read.b) != read.b || std::abs(read.r) > 9) {
        refuse_value(setting, value, "m, b and R, such as 1 0 3; m and b of 16 bits, m not 0, R -9 to 9");
    }
    return read;
}

/// What QUERY says of a command (PMBus 1.3 Part II, 11.13).
uint8_t query_answer(const supply_command *known, const number_formats &formats) {
    if (known == nullptr) {
        return 0;
    }
    constexpr unsigned int supported = 0x80;
    constexpr unsigned int writable = 0x40;
    constexpr unsigned int readable = 0x20;
    constexpr unsigned int direct_format = 3U << 2U;
    constexpr unsigned int one_byte = 4U << 2U;
    constexpr unsigned int no_number = 7U << 2U;
    const bool is_number = known->of != measure::no_number;
    const unsigned int linear_or_direct = formats.all_direct ? direct_format : 0;
    const unsigned int byte_or_other =
        known->entry.bits.empty() && known->entry.bytes == 1 ? one_byte : no_number;
    return static_cast<uint8_t>(supported | (known->entry.allowed != access::read ? writable : 0U) |
                                (known->entry.allowed != access::write ? readable : 0U) |
                                (is_number ? linear_or_direct : byte_or_other));
}

class pmbus_supply : public chip, private pmbus_port {
  public:
    explicit pmbus_supply(const board_clock &clock)
        : pmbus_port(chips::pmbus_supply), clock_(clock), supply_(clock.now()) {}

    [[nodiscard]] const chips::datasheet &sheet() const override { return chips::pmbus_supply; }
    bus_port &port(std::size_t /*index*/) override { return *this; }
    [[nodiscard]] std::vector<std::string_view> outputs() const override { return {"alert"}; }
    [[nodiscard]] bool asserts(std::size_t /*output*/) const override { return current().alerts(); }
    [[nodiscard]] std::vector<reading> readings() const override;
    void set(std::string_view name, std::string_view value) override;
    void power_on() override;

  private:
    [[nodiscard]] bool alerts() const override { return current().alerts(); }
    void start_alert_response() override;
    [[nodiscard]] std::size_t question_size(uint8_t command) const override;
    std::vector<uint8_t> answer(const chips::chip_register &command,
                                std::span<const uint8_t> question) override;
    void execute(uint8_t command, unsigned int data) override { current().execute(command, data); }
    void communication_fault(unsigned int cml) override { current().communication_fault(cml); }

    paged_supply &current() const;
    std::vector<uint8_t> refusal(std::size_t bytes);
    std::vector<uint8_t> answer_to(std::span<const uint8_t> question, uint8_t command,
                                   const supply_output &of);
    std::vector<uint8_t> coefficients_of(uint8_t command);
    [[nodiscard]] std::vector<uint8_t> text_of_command(uint8_t command) const;
    bool set_surroundings(std::string_view name, std::string_view value);
    bool set_make(std::string_view name, std::string_view value);
    bool set_of_output(std::string_view name, std::string_view value);
    bool set_text(std::string_view name, std::string_view value);

    const board_clock &clock_;
    mutable paged_supply supply_; ///< catches up whenever it is looked at: when that is makes no difference
    std::array<std::string, named_texts.size()> texts_{"VARNEL", "PMBUS-SUPPLY", "1", "-", "2026-01-01", "0"};
};

paged_supply &pmbus_supply::current() const {
    supply_.catch_up(clock_.now());
    return supply_;
}

void pmbus_supply::power_on() {
    current().power_on();
    forget_transfer();
}

// --- The bus ---

void pmbus_supply::start_alert_response() {
    current().end_alert();
    send_address();
}

/// With the length in front.
std::size_t pmbus_supply::question_size(uint8_t command) const {
    const unsigned int bytes = chips::find_supply_command(command)->question;
    return bytes == 0 ? 0 : bytes + 1;
}

std::vector<uint8_t> pmbus_supply::answer(const chips::chip_register &command,
                                          std::span<const uint8_t> question) {
    const supply_output *const of = current().selected(chips::find_supply_command(command.code)->per_page);
    if (of == nullptr) {
        return refusal(question.empty() ? command.bytes : 1);
    }
    if (!question.empty()) {
        return answer_to(question, command.code, *of);
    }
    return command.bytes == chips::block ? text_of_command(command.code)
                                         : low_byte_first(current().value(command.code, *of), command.bytes);
}

std::vector<uint8_t> pmbus_supply::refusal(std::size_t bytes) {
    communication_fault(invalid_data);
    return std::vector<uint8_t>(bytes, 0xFF);
}

std::vector<uint8_t> pmbus_supply::answer_to(std::span<const uint8_t> question, uint8_t command,
                                             const supply_output &of) {
    const uint8_t asked = question.front();
    if (command == pmbus::query) {
        return {query_answer(chips::find_supply_command(asked), current().formats())};
    }
    if (command == pmbus::coefficients) {
        return coefficients_of(asked);
    }
    return paged_supply::has_alert_mask(asked) ? low_byte_first(current().alert_mask(asked, of), 1)
                                               : refusal(1);
}

/// The same for reading and writing (PMBus 1.3 Part II, 14.1).
std::vector<uint8_t> pmbus_supply::coefficients_of(uint8_t command) {
    constexpr std::size_t size = 5;
    const supply_command *const known = chips::find_supply_command(command);
    const number_formats &formats = current().formats();
    if (known == nullptr || known->of == measure::no_number || !formats.all_direct) {
        return refusal(size);
    }
    const direct_coefficients &by = formats.coefficients(known->of);
    std::vector<uint8_t> sent = low_byte_first(static_cast<unsigned int>(by.m), 2);
    std::ranges::copy(low_byte_first(static_cast<unsigned int>(by.b), 2), std::back_inserter(sent));
    sent.push_back(static_cast<uint8_t>(by.r));
    return sent;
}

std::vector<uint8_t> pmbus_supply::text_of_command(uint8_t command) const {
    const auto *const named = std::ranges::find(named_texts, command, &named_text::command);
    const std::string &text = texts_.at(static_cast<std::size_t>(named - named_texts.begin()));
    return {text.begin(), text.end()};
}

// --- The surroundings ---

std::vector<reading> pmbus_supply::readings() const {
    const paged_supply &now = current();
    const power_stage &stage = now.stage();
    const measurement input{stage.input_volts, unit::volts, 1};
    std::vector<reading> all{
        {"pages", fmt::to_string(now.outputs().size()), true},
        {"format", now.formats().all_direct ? "direct" : "linear", true},
        {"input", stage.input_volts > 0 ? input : reading_value("lost"), true},
        {"input-power", measurement{stage.input_power(), unit::watts, 1}, false},
        {"temperature", measurement{stage.temperature(), unit::celsius, 1}, false},
        {"ambient", measurement{stage.ambient, unit::celsius, 1}, true},
        {"fan", stage.fan_seized ? "stopped" : "ok", true},
        {"fan-speed", measurement{stage.fan_speed(), unit::rpm, 0}, false},
        {"alert", now.alerts() ? "asserted" : "idle", false},
        {"write-protect", register_value{now.value(pmbus::write_protect, now.outputs().front()), 2}, false}};
    for (std::size_t page = 0; page < now.outputs().size(); ++page) {
        const supply_output &each = now.outputs()[page];
        const auto volts = [&](double number) { return measurement{number, unit::volts, 3}; };
        const reading_value off = each.tripped ? "off (tripped)" : "off";
        const double put_out = now.measured(watched::output_volts, each);
        const double amperes = now.measured(watched::output_amperes, each);
        all.push_back({fmt::format("output.{}", page), each.on ? volts(put_out) : off, false});
        all.push_back({fmt::format("current.{}", page), measurement{amperes, unit::amperes, 2}, false});
        all.push_back({fmt::format("load.{}", page), measurement{each.load, unit::watts, 1}, true});
        all.push_back({fmt::format("offset.{}", page), volts(each.offset), true});
        all.push_back(
            {fmt::format("status.{}", page), register_value{now.value(pmbus::status_word, each), 4}, false});
    }
    return all;
}

void pmbus_supply::set(std::string_view name, std::string_view value) {
    if (!set_surroundings(name, value) && !set_make(name, value) && !set_of_output(name, value) &&
        !set_text(name, value)) {
        refuse_name(name, known_settings);
    }
}

/// These return whether there is such a setting.
bool pmbus_supply::set_surroundings(std::string_view name, std::string_view value) {
    bool known = false;
    current().change_surroundings(
        [&](power_stage &stage, auto & /*outputs*/) { known = sim::set_surroundings(stage, name, value); });
    return known;
}

bool pmbus_supply::set_make(std::string_view name, std::string_view value) {
    const auto rebuild = [this](auto change) { current().rebuild(change); };
    const auto *const named = std::ranges::find(named_measures, name, &named_measure::name);
    if (name == "pages") {
        const int pages = whole(name, value, pages_range);
        rebuild([=](number_formats &, auto &outputs) { outputs.resize(static_cast<std::size_t>(pages)); });
    } else if (name == "format") {
        const bool direct = parse_choice(name, value, {"linear", "direct"}) == 1;
        rebuild([=](number_formats &formats, auto &) { formats.all_direct = direct; });
    } else if (name == "vout-exponent") {
        const int exponent = whole(name, value, exponent_range);
        rebuild([=](number_formats &formats, auto &) { formats.exponent = exponent; });
    } else if (named != named_measures.end()) {
        const direct_coefficients by = coefficients_in(name, value);
        rebuild([=](number_formats &formats, auto &) { formats.coefficients(named->of) = by; });
    } else {
        return false;
    }
    return true;
}

bool pmbus_supply::set_of_output(std::string_view name, std::string_view value) {
    const std::size_t dot = std::min(name.find('.'), name.size());
    const auto *const known = std::ranges::find(output_settings, name.substr(0, dot), &output_setting::name);
    const auto page = host::whole_number<std::size_t>(name.substr(std::min(dot + 1, name.size())));
    if (known == output_settings.end() || !page || *page >= current().outputs().size()) {
        return false;
    }
    const double number = parse_quantity(name, value, known->range);
    const auto change = [=](auto & /*other*/, std::vector<supply_output> &outputs) {
        outputs.at(*page).*(known->value) = number;
    };
    if (known->rebuilds) {
        current().rebuild(change);
    } else {
        current().change_surroundings(change);
    }
    return true;
}

bool pmbus_supply::set_text(std::string_view name, std::string_view value) {
    const auto *const named = std::ranges::find(named_texts, name, &named_text::name);
    if (named == named_texts.end()) {
        return false;
    }
    if (value.size() > longest_text) {
        refuse_value(name, value, fmt::format("up to {} characters", longest_text));
    }
    texts_.at(static_cast<std::size_t>(named - named_texts.begin())) = value;
    return true;
}

} // namespace

std::unique_ptr<chip> make_pmbus_supply(const board_clock &clock) {
    return std::make_unique<pmbus_supply>(clock);
}

} // namespace varnel::sim
