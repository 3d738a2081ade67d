// SPDX-License-Identifier: Apache-2.0
// varnel mux: PCA9548 and PCA9546 multiplexers.

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "chips/pca9548.h"
#include "host/options.h"
#include "tools/varnel/device_address.h"
#include "tools/varnel/library_call.h"
#include "tools/varnel/report.h"
#include "tools/varnel/verb.h"
#include "varnel/pca9546.h"
#include "varnel/pca9548.h"

namespace varnel::tools {

namespace {

struct mux_model {
    const chips::datasheet &sheet;
    unsigned int channels;
    int (*read)(uint32_t handle, uint8_t *control);
    int (*write)(uint32_t handle, uint8_t control);
};

int write_pca9548(uint32_t handle, uint8_t control) {
    return control == 0 ? pca9548_disable_channel(handle) : pca9548_enable_channel(handle, control);
}

constexpr std::array models{
    mux_model{chips::pca9548, chips::pca9548_channels, pca9548_get_channel, write_pca9548},
    mux_model{chips::pca9546, chips::pca9546_channels, pca9546_get_channel, pca9546_enable_channel},
};

std::vector<std::string> model_names() {
    std::vector<std::string> names;
    std::ranges::transform(models, std::back_inserter(names),
                           [](const mux_model &each) { return std::string(each.sheet.type); });
    return names;
}

struct options {
    device_address chip;
    std::size_t model = 0; ///< its place among the models
    std::optional<uint64_t> control;
    std::vector<uint8_t> channels;
    bool verify = false;
};

uint8_t wanted_control(const options &given) {
    const unsigned int channels = models.at(given.model).channels;
    if (given.control.has_value() != given.channels.empty()) {
        throw bad_usage("mux enable: either CONTROL, a bit per channel such as 0x04, or --channel N,N...");
    }
    uint64_t control = given.control.value_or(0);
    for (const uint8_t channel : given.channels) {
        control |= channel < channels ? 1ULL << channel : 0x100;
    }
    if (control >> channels != 0) {
        throw bad_usage(fmt::format("mux enable: this multiplexer has channels 0 to {}", channels - 1));
    }
    return static_cast<uint8_t>(control);
}

uint8_t read_control(const options &given) {
    uint8_t control = 0;
    on(given.chip, "read channels",
       [&](uint32_t handle) { return models.at(given.model).read(handle, &control); });
    return control;
}

void write_control(const options &given, uint8_t control) {
    on(given.chip, "switch channels",
       [&](uint32_t handle) { return models.at(given.model).write(handle, control); });
    if (const uint8_t found = given.verify ? read_control(given) : control; found != control) {
        throw failed(
            fmt::format("{}: channels: wrote 0x{:02x}, reads 0x{:02x}", given.chip.name(), control, found));
    }
}

std::vector<unsigned int> channels_in(const options &given, uint8_t control) {
    std::vector<unsigned int> channels;
    for (unsigned int channel = 0; channel < models.at(given.model).channels; ++channel) {
        if ((control >> channel & 1U) != 0) {
            channels.push_back(channel);
        }
    }
    return channels;
}

std::string text_of(const std::vector<unsigned int> &channels) {
    return channels.empty() ? "none" : fmt::format("{}", fmt::join(channels, " "));
}

void print_control(const invocation &call, const options &given) {
    const uint8_t control = read_control(given);
    const std::vector<unsigned int> channels = channels_in(given, control);
    report lines;
    lines.add("device", given.chip.name());
    lines.add("control", fmt::format("0x{:02x}", control), "control", control);
    lines.add("channels", text_of(channels), "channels", channels);
    print(lines.text(call));
}

/// CONTROL may have been meant as the number of a channel, so the channels are printed.
void enable_channels(const options &given) {
    const uint8_t control = wanted_control(given);
    write_control(given, control);
    if (given.control) {
        print(fmt::format("channels  {}\n", text_of(channels_in(given, control))));
    }
}

void disable_channels(const options &given) { write_control(given, 0); }

} // namespace

void add_mux(argument_parser app, invocation &call) {
    verbs<options> mux(app, call, "mux", "PCA9548 and PCA9546 multiplexers: channels");
    const auto add = [&](const char *name, const char *description, auto action) {
        const auto verb = mux.add(name, description, action);
        add_choice(verb.parser, "--chip", verb.given.model, model_names(),
                   ("default: " + model_names().front()).c_str());
        return verb;
    };
    add_json(add("get", "Show which channels are connected", print_control).parser, call);
    const auto enable = add("enable", "Connect these channels and no others", enable_channels);
    add_number(enable.parser, "CONTROL", enable.given.control, UINT8_MAX,
               "control byte, a bit per channel: 5 is channels 0 and 2")
        .required(false);
    add_bytes(enable.parser, "--channel", enable.given.channels, "by number, instead");
    add_verify(enable.parser, enable.given.verify);
    const auto disable = add("disable", "Disconnect all channels", disable_channels);
    add_verify(disable.parser, disable.given.verify);
}

} // namespace varnel::tools
