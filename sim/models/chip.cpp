// SPDX-License-Identifier: Apache-2.0
#include "sim/models/chip.h"

#include <algorithm>
#include <array>
#include <iterator>

#include <fmt/format.h>

#include "sim/models/car2512.h"
#include "sim/models/ds3232.h"
#include "sim/models/eeprom_24c.h"
#include "sim/models/lm75.h"
#include "sim/models/pca9505.h"
#include "sim/models/pca9541.h"
#include "sim/models/pca9548.h"
#include "sim/models/pca9555.h"
#include "sim/models/pcf8574.h"
#include "sim/models/plugin.h"
#include "sim/models/pmbus_supply.h"
#include "sim/models/registers.h"
#include "sim/models/settings.h"

namespace varnel::sim {

namespace {

struct model {
    const chips::datasheet &sheet;
    std::unique_ptr<chip> (*make)(const board_clock &clock);

    [[nodiscard]] constexpr std::string_view type() const { return sheet.type; }
};

/// In alphabetical order of their types; one row a line, so that a new one is a line.
// clang-format off
constexpr std::array models{
    model{chips::eeprom_24c02, make_24c02},
    model{chips::eeprom_24c256, make_24c256},
    model{chips::eeprom_24c64, make_24c64},
    model{chips::car2512, make_car2512},
    model{chips::ds3232, make_ds3232},
    model{chips::lm75, make_lm75},
    model{chips::pca9505, make_pca9505},
    model{chips::pca9541, make_pca9541},
    model{chips::pca9546, make_pca9546},
    model{chips::pca9548, make_pca9548},
    model{chips::pca9554, make_pca9554},
    model{chips::pca9555, make_pca9555},
    model{chips::pcf8574, make_pcf8574},
    model{chips::pmbus_supply, make_pmbus_supply},
    model{chips::registers, make_registers},
    model{chips::tmp75, make_tmp75},
};
// clang-format on

} // namespace

void bus_port::set_address(uint8_t /*address*/) {}

bool bus_port::alerts() const { return false; }

void bus_port::start_alert_response() {}

bool bus_port::connects(std::size_t /*segment*/) const { return false; }

bool chip::asserts(std::size_t /*output*/) const { return false; }

std::vector<std::string_view> chip_types() {
    std::vector<std::string_view> types;
    std::ranges::transform(models, std::back_inserter(types), &model::type);
    return types;
}

std::unique_ptr<chip> make_chip(std::string_view type, const board_clock &clock) {
    if (type.find('/') != std::string_view::npos) {
        return make_plugin(std::string(type), clock);
    }
    const auto *const found = std::ranges::find(models, type, &model::type);
    if (found == models.end()) {
        refuse_value("type", type, fmt::format("{}", fmt::join(chip_types(), ", ")));
    }
    return found->make(clock);
}

} // namespace varnel::sim
