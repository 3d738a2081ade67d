// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/pmbus.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include <fmt/format.h>

#include "tools/support/command_line.h"
#include "tools/support/numbers.h"
#include "varnel/car2512.h"

namespace varnel::tools {

namespace {

constexpr std::array<std::pair<std::string_view, uint8_t>, 44> commands{{
    {"PAGE", 0x00},
    {"OPERATION", CAR2512_COMMAND_OPERATION},
    {"ON_OFF_CONFIG", 0x02},
    {"CLEAR_FAULTS", CAR2512_COMMAND_CLEAR_FAULTS},
    {"WRITE_PROTECT", CAR2512_COMMAND_WRITE_PROTECT},
    {"CAPABILITY", 0x19},
    {"VOUT_MODE", 0x20},
    {"VOUT_COMMAND", 0x21},
    {"FAN_CONFIG_1_2", 0x3A},
    {"FAN_COMMAND_1", CAR2512_COMMAND_FAN_COMMAND_1},
    {"FAN_COMMAND_2", 0x3C},
    {"STATUS_BYTE", 0x78},
    {"STATUS_WORD", CAR2512_COMMAND_STATUS_WORD},
    {"STATUS_VOUT", CAR2512_COMMAND_STATUS_VOUT},
    {"STATUS_IOUT", CAR2512_COMMAND_STATUS_IOUT},
    {"STATUS_INPUT", CAR2512_COMMAND_STATUS_INPUT},
    {"STATUS_TEMPERATURE", CAR2512_COMMAND_STATUS_TEMPERATURE},
    {"STATUS_CML", CAR2512_COMMAND_STATUS_CML},
    {"STATUS_OTHER", 0x7F},
    {"STATUS_MFR_SPECIFIC", CAR2512_COMMAND_STATUS_MFR_SPECIFIC},
    {"STATUS_FANS_1_2", CAR2512_COMMAND_STATUS_FANS_1_2},
    {"STATUS_FANS_3_4", 0x82},
    {"READ_EIN", 0x86},
    {"READ_EOUT", 0x87},
    {"READ_VIN", 0x88},
    {"READ_IIN", 0x89},
    {"READ_VCAP", 0x8A},
    {"READ_VOUT", 0x8B},
    {"READ_IOUT", 0x8C},
    {"READ_TEMPERATURE_1", 0x8D},
    {"READ_TEMPERATURE_2", 0x8E},
    {"READ_TEMPERATURE_3", 0x8F},
    {"READ_FAN_SPEED_1", 0x90},
    {"READ_FAN_SPEED_2", 0x91},
    {"READ_FREQUENCY", 0x95},
    {"READ_POUT", 0x96},
    {"READ_PIN", 0x97},
    {"PMBUS_REVISION", 0x98},
    {"MFR_ID", 0x99},
    {"MFR_MODEL", 0x9A},
    {"MFR_REVISION", 0x9B},
    {"MFR_LOCATION", 0x9C},
    {"MFR_DATE", 0x9D},
    {"MFR_SERIAL", 0x9E},
}};

bool is_number(const std::string &text) {
    return !text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) != 0;
}

} // namespace

uint8_t pmbus_command(const std::string &text) {
    if (is_number(text)) {
        return static_cast<uint8_t>(c_number(text, UINT8_MAX, "REGISTER"));
    }
    std::string name = text;
    std::ranges::transform(name, name.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    const auto *const found = std::ranges::find(commands, name, &std::pair<std::string_view, uint8_t>::first);
    if (found == commands.end()) {
        throw bad_usage(
            fmt::format("REGISTER: '{}' is neither a number from 0 to 255 (0xff) nor a PMBus command such "
                        "as STATUS_WORD",
                        text));
    }
    return found->second;
}

const status_register status_word{"STATUS_WORD",
                                  CAR2512_COMMAND_STATUS_WORD,
                                  {"other fault", "communication fault", "temperature", "input undervoltage",
                                   "output overcurrent", "output overvoltage", "output off", "busy",
                                   "unknown fault", "other", "fan", "power not good", "manufacturer's",
                                   "input", "output current or power", "output voltage"}};

const std::vector<status_register> &status_details() {
    static const std::vector<status_register> registers{
        {"STATUS_VOUT",
         CAR2512_COMMAND_STATUS_VOUT,
         {"power-on tracking error", "turn-off time too long", "rise time too long",
          "voltage above maximum refused", "undervoltage fault", "undervoltage warning",
          "overvoltage warning", "overvoltage fault"}},
        {"STATUS_IOUT",
         CAR2512_COMMAND_STATUS_IOUT,
         {"overpower warning", "overpower fault", "power limiting", "current share fault",
          "undercurrent fault", "overcurrent warning", "overcurrent and undervoltage fault",
          "overcurrent fault"}},
        {"STATUS_INPUT",
         CAR2512_COMMAND_STATUS_INPUT,
         {"overpower warning", "overcurrent warning", "overcurrent fault", "off for want of input",
          "undervoltage fault", "undervoltage warning", "overvoltage warning", "overvoltage fault"}},
        {"STATUS_TEMPERATURE",
         CAR2512_COMMAND_STATUS_TEMPERATURE,
         {"", "", "", "", "undertemperature fault", "undertemperature warning", "overtemperature warning",
          "overtemperature fault"}},
        {"STATUS_CML",
         CAR2512_COMMAND_STATUS_CML,
         {"other memory or logic fault", "other communication fault", "", "processor fault", "memory fault",
          "packet error check failed", "invalid data received", "invalid command received"}},
        {"STATUS_MFR_SPECIFIC", CAR2512_COMMAND_STATUS_MFR_SPECIFIC, {}},
        {"STATUS_FANS_1_2",
         CAR2512_COMMAND_STATUS_FANS_1_2,
         {"airflow warning", "airflow fault", "fan 2 speed overridden", "fan 1 speed overridden",
          "fan 2 warning", "fan 1 warning", "fan 2 fault", "fan 1 fault"}}};
    return registers;
}

std::vector<std::string> words_for(const status_register &status, unsigned int value) {
    std::vector<std::string> words;
    for (unsigned int bit = 16; bit-- > 0;) {
        if ((value >> bit & 1U) != 0) {
            const bool known = bit < status.bits.size() && !status.bits[bit].empty();
            words.push_back(known ? std::string(status.bits[bit]) : fmt::format("bit {}", bit));
        }
    }
    return words;
}

} // namespace varnel::tools
