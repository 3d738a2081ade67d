// SPDX-License-Identifier: Apache-2.0
// varnel psu: the CAR2512 power supply.

#include <memory>

#include <fmt/format.h>

#include "tools/varnel/confirm.h"
#include "tools/varnel/device.h"
#include "tools/varnel/report.h"
#include "tools/varnel/verb.h"
#include "tools/varnel/watch.h"
#include "varnel/car2512.h"

namespace varnel::tools {

namespace {

struct options {
    device chip;
    watch_options watch;
};

std::string status(const context &context, const device &psu) {
    uint16_t word = 0;
    on(psu, "output voltage", [&](uint32_t handle) { return car2512_get_output_volt(handle, &word); });
    report report;
    report.add("output", fmt::format("{:.2f} V", word / 100.0), "output_volts", word / 100.0);
    return report.text(context);
}

} // namespace

void add_psu(CLI::App &app, context &context) {
    CLI::App &family = add_family(app, "psu", "CAR2512 power supply: readings, fan, output");
    const auto given = std::make_shared<options>();
    CLI::App &status_verb =
        add_verb(family, "status", "Show readings and faults", context,
                 [&context, given] { show(given->watch, [&] { return status(context, given->chip); }); });
    add_device(status_verb, given->chip);
    add_json(status_verb, context);
    add_watch(status_verb, given->watch);
}

} // namespace varnel::tools
