// SPDX-License-Identifier: Apache-2.0
#include "sim/models/pca9548.h"

#include <fmt/format.h>

#include "sim/models/settings.h"

namespace varnel::sim {

namespace {

/// One control register, a bit per channel. A written byte is kept at once; the channels follow at the STOP.
class multiplexer : public chip, private bus_port {
  public:
    multiplexer(const chips::datasheet &sheet, std::size_t channels) : sheet_(sheet), channels_(channels) {}

    [[nodiscard]] const chips::datasheet &sheet() const override { return sheet_; }
    bus_port &port(std::size_t /*index*/) override { return *this; }
    [[nodiscard]] std::size_t segments() const override { return channels_; }

    [[nodiscard]] std::vector<reading> readings() const override {
        std::vector<std::size_t> on;
        for (std::size_t channel = 0; channel < channels_; ++channel) {
            if (connects(channel)) {
                on.push_back(channel);
            }
        }
        return {{"channels", on.empty() ? "none" : fmt::format("{}", fmt::join(on, " ")), false},
                {"reset", in_reset_ ? "low" : "high", true}};
    }

    [[nodiscard]] std::vector<std::string_view> inputs() const override { return {"reset"}; }

    void set(std::string_view name, std::string_view value) override {
        if (name != "reset") {
            refuse_name(name, "reset");
        }
        in_reset_ = parse_choice(name, value, {"high", "low"}) == 1;
        if (in_reset_) {
            power_on();
        }
    }

    void power_on() override { control_ = connected_ = 0; }

  private:
    bool start(direction /*way*/) override { return !in_reset_; }

    bool write(uint8_t byte) override {
        control_ = byte & ((1U << channels_) - 1);
        return true;
    }

    uint8_t read() override { return static_cast<uint8_t>(control_); }
    void stop() override { connected_ = control_; }

    [[nodiscard]] bool connects(std::size_t segment) const override {
        return segment < channels_ && (connected_ >> segment & 1U) != 0;
    }

    const chips::datasheet &sheet_;
    std::size_t channels_;
    unsigned int control_ = 0;
    unsigned int connected_ = 0;
    bool in_reset_ = false; ///< RESET is low: the chip does not answer, and all channels are off
};

} // namespace

std::unique_ptr<chip> make_pca9548(const board_clock & /*clock*/) {
    return std::make_unique<multiplexer>(chips::pca9548, chips::pca9548_channels);
}

std::unique_ptr<chip> make_pca9546(const board_clock & /*clock*/) {
    return std::make_unique<multiplexer>(chips::pca9546, chips::pca9546_channels);
}

} // namespace varnel::sim
