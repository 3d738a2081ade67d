// SPDX-License-Identifier: Apache-2.0
// varnel mux: PCA9548 and PCA9546 multiplexers.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/options.h"
#include "tools/varnel/device_address.h"
#include "tools/varnel/library_call.h"
#include "tools/varnel/report.h"
#include "tools/varnel/verb.h"
#include "varnel/pca9546.h"
#include "varnel/pca9548.h"

namespace varnel::tools {

namespace {

enum model : std::size_t { pca9548, pca9546 };

struct options {
    device_address chip;
    std::size_t model = pca9548;
    std::optional<uint64_t> control;
    std::vector<uint8_t> channels;
    bool verify = false;
};

unsigned int channel_count(const options &given) { return given.model == pca9546 ? 4 : 8; }

uint8_t wanted_control(const options &given) {
    if (given.control.has_value() != given.channels.empty()) {
        throw bad_usage("mux enable: either CONTROL, a bit per channel such as 0x04, or --channel N,N...");
    }
    uint64_t control = given.control.value_or(0);
    for (const uint8_t channel : given.channels) {
        control |= channel < channel_count(given) ? 1ULL << channel : 0x100;
    }
    if (control >> channel_count(given) != 0) {
        throw bad_usage(
            fmt::format("mux enable: this multiplexer has channels 0 to {}", channel_count(given) - 1));
    }
    return static_cast<uint8_t>(control);
}

uint8_t read_control(const options &given) {
    uint8_t control = 0;
    on(given.chip, "read channels", [&](uint32_t handle) {
        return given.model == pca9546 ? pca9546_get_channel(handle, &control)
                                      : pca9548_get_channel(handle, &control);
    });
    return control;
}

void write_control(const options &given, uint8_t control) {
    on(given.chip, "switch channels", [&](uint32_t handle) {
        if (given.model == pca9546) {
            return pca9546_enable_channel(handle, control);
        }
        return control == 0 ? pca9548_disable_channel(handle) : pca9548_enable_channel(handle, control);
    });
    if (const uint8_t found = given.verify ? read_control(given) : control; found != control) {
        throw failed(
            fmt::format("{}: channels: wrote 0x{:02x}, reads 0x{:02x}", given.chip.name(), control, found));
    }
}

std::vector<unsigned int> channels_in(uint8_t control) {
    std::vector<unsigned int> channels;
    for (unsigned int channel = 0; channel < 8; ++channel) {
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
    const std::vector<unsigned int> channels = channels_in(control);
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
        print(fmt::format("channels  {}\n", text_of(channels_in(control))));
    }
}

void disable_channels(const options &given) { write_control(given, 0); }

} // namespace

void add_mux(argument_parser app, invocation &call) {
    verbs<options> mux(app, call, "mux", "PCA9548 and PCA9546 multiplexers: channels");
    const auto add = [&](const char *name, const char *description, auto action) {
        const auto verb = mux.add(name, description, action);
        add_choice(verb.parser, "--chip", verb.given.model, {"pca9548", "pca9546"}, "default: pca9548");
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
