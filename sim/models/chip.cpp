// SPDX-License-Identifier: Apache-2.0
#include "sim/models/chip.h"

#include <algorithm>
#include <array>

#include "sim/models/car2512.h"
#include "sim/models/ds3232.h"
#include "sim/models/eeprom_24c02.h"
#include "sim/models/pca9505.h"
#include "sim/models/pca9541.h"
#include "sim/models/pca9548.h"
#include "sim/models/pca9555.h"
#include "sim/models/settings.h"

namespace varnel::sim {

namespace {

struct model {
    std::string_view type;
    std::unique_ptr<chip> (*make)(const board_clock &clock);
};

constexpr std::array models{
    model{"24c02", make_24c02},     model{"car2512", make_car2512}, model{"ds3232", make_ds3232},
    model{"pca9505", make_pca9505}, model{"pca9541", make_pca9541}, model{"pca9546", make_pca9546},
    model{"pca9548", make_pca9548}, model{"pca9554", make_pca9554}, model{"pca9555", make_pca9555},
};

std::string known_types() {
    std::string list;
    for (const auto &known : models) {
        add_to_list(list, ", ", known.type);
    }
    return list;
}

} // namespace

bool bus_port::connects(std::size_t /*segment*/) const { return false; }

const std::vector<std::string_view> &chip_types() {
    static const std::vector<std::string_view> types = [] {
        std::vector<std::string_view> all;
        std::transform(models.begin(), models.end(), std::back_inserter(all),
                       [](const model &known) { return known.type; });
        return all;
    }();
    return types;
}

std::unique_ptr<chip> make_chip(std::string_view type, const board_clock &clock) {
    const auto *const found =
        std::find_if(models.begin(), models.end(), [type](const model &known) { return known.type == type; });
    if (found == models.end()) {
        refuse_value("type", type, known_types());
    }
    return found->make(clock);
}

} // namespace varnel::sim
