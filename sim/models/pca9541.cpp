// SPDX-License-Identifier: Apache-2.0
#include "sim/models/pca9541.h"

#include <array>
#include <optional>

#include <fmt/format.h>

#include "sim/models/command_port.h"
#include "sim/models/settings.h"

namespace varnel::sim {

namespace {

enum register_number : unsigned int { interrupt_enable, control, interrupt_status };

constexpr unsigned int auto_increment = 0x10;
constexpr unsigned int pointer_bits = 0x03;

// Control, as a master reads it. It writes all but the other master's two.
constexpr unsigned int mybus = 0x01;
constexpr unsigned int nmybus = 0x02;
constexpr unsigned int buson = 0x04;
constexpr unsigned int nbuson = 0x08;
constexpr unsigned int businit = 0x10;
constexpr unsigned int teston = 0x40;
constexpr unsigned int nteston = 0x80;
constexpr unsigned int own_bits = mybus | buson | businit | teston | nteston;

// Interrupt status. A set bit of the interrupt enable register masks the bit of the same number.
constexpr unsigned int intin = 0x01;
constexpr unsigned int businit_done = 0x02;
constexpr unsigned int bus_ok = 0x04;
constexpr unsigned int bus_lost = 0x08;
constexpr unsigned int mytest = 0x40;
constexpr unsigned int nmytest = 0x80;
constexpr unsigned int maskable = intin | businit_done | bus_ok | bus_lost;

class pca9541;

/// One master's side of the chip.
class master_port : public command_port {
  public:
    master_port(pca9541 &selector, std::size_t index) : selector_(selector), index_(index) {}

    bool start(direction way) override;
    uint8_t read() override;
    void stop() override;
    [[nodiscard]] bool connects(std::size_t segment) const override;

    void reset() {
        own = masked = latched = 0;
        pointer_ = interrupt_enable;
        advances_ = false;
    }

    unsigned int own = 0;     ///< what this master wrote to the control register
    unsigned int masked = 0;  ///< interrupt enable register
    unsigned int latched = 0; ///< interrupt status bits that stay until they are read, or written with 0

  private:
    bool select(uint8_t command) override;
    bool write_data(uint8_t data) override;
    unsigned int next_register();

    pca9541 &selector_;
    std::size_t index_;
    unsigned int pointer_ = interrupt_enable;
    bool advances_ = false;
};

class pca9541 : public chip {
  public:
    [[nodiscard]] const chips::datasheet &sheet() const override { return chips::pca9541; }
    [[nodiscard]] std::size_t ports() const override { return masters_.size(); }
    bus_port &port(std::size_t index) override { return masters_.at(index); }
    [[nodiscard]] std::size_t segments() const override { return 1; }
    [[nodiscard]] std::vector<reading> readings() const override;
    void set(std::string_view name, std::string_view value) override;
    [[nodiscard]] std::vector<std::string_view> outputs() const override {
        return {"interrupt-0", "interrupt-1"};
    }
    [[nodiscard]] bool asserts(std::size_t output) const override;
    [[nodiscard]] std::vector<std::string_view> inputs() const override { return {"intin", "reset"}; }
    void power_on() override;

    [[nodiscard]] bool in_reset() const { return in_reset_; }
    [[nodiscard]] unsigned int control_of(std::size_t index) const;
    [[nodiscard]] unsigned int status_of(std::size_t index) const;
    [[nodiscard]] bool connected(std::size_t index) const { return connection_ == index; }
    /// Makes the connection that the control bits ask for, after master `author` may have changed them.
    void connect(std::size_t author);

  private:
    [[nodiscard]] std::size_t owner() const {
        return (masters_[0].own & mybus) == (masters_[1].own & mybus) ? 0 : 1;
    }
    [[nodiscard]] bool bus_on() const { return ((masters_[0].own ^ masters_[1].own) & buson) != 0; }
    [[nodiscard]] std::string interrupt_output(std::size_t index) const {
        return asserts(index) ? "asserted" : "idle";
    }

    std::array<master_port, 2> masters_{master_port{*this, 0}, master_port{*this, 1}};
    std::optional<std::size_t> connection_;
    bool intin_low_ = false;
    bool in_reset_ = false; ///< RESET is low: neither master gets an answer
};

bool master_port::start(direction way) { return !selector_.in_reset() && command_port::start(way); }

bool master_port::select(uint8_t command) {
    if (chips::find_register(chips::pca9541, command) == nullptr) {
        return false;
    }
    pointer_ = command & pointer_bits;
    advances_ = (command & auto_increment) != 0;
    return true;
}

bool master_port::write_data(uint8_t data) {
    switch (next_register()) {
    case interrupt_enable:
        masked = data & maskable;
        break;
    case control:
        own = data & own_bits;
        break;
    default:
        latched &= data;
    }
    return true;
}

/// The register that the pointer names; auto-increment goes round the three.
unsigned int master_port::next_register() {
    const unsigned int at = pointer_;
    if (advances_) {
        pointer_ = at == interrupt_status ? static_cast<unsigned int>(interrupt_enable) : at + 1;
    }
    return at;
}

uint8_t master_port::read() {
    switch (next_register()) {
    case interrupt_enable:
        return static_cast<uint8_t>(masked);
    case control:
        return static_cast<uint8_t>(selector_.control_of(index_));
    default:
        const unsigned int status = selector_.status_of(index_);
        latched = 0;
        return static_cast<uint8_t>(status);
    }
}

void master_port::stop() { selector_.connect(index_); }

bool master_port::connects(std::size_t segment) const { return segment == 0 && selector_.connected(index_); }

/// NMYBUS is inverted on one side, so that exactly one of the two masters finds MYBUS == NMYBUS.
unsigned int pca9541::control_of(std::size_t index) const {
    const unsigned int other = masters_.at(1 - index).own ^ (index == 1 ? mybus : 0);
    return masters_.at(index).own | ((other & mybus) != 0 ? nmybus : 0) | ((other & buson) != 0 ? nbuson : 0);
}

unsigned int pca9541::status_of(std::size_t index) const {
    const master_port &self = masters_.at(index);
    const master_port &other = masters_.at(1 - index);
    return self.latched | (intin_low_ ? intin : 0) | ((self.own & teston) != 0 ? mytest : 0) |
           ((other.own & nteston) != 0 ? nmytest : 0);
}

void pca9541::connect(std::size_t author) {
    const std::optional<std::size_t> wanted = bus_on() ? std::optional(owner()) : std::nullopt;
    if (wanted == connection_) {
        return;
    }
    if (connection_ && *connection_ != author) {
        masters_.at(*connection_).latched |= bus_lost;
    }
    if (wanted) {
        master_port &winner = masters_.at(*wanted);
        winner.latched |= (winner.own & businit) != 0 ? businit_done : bus_ok;
    }
    connection_ = wanted;
}

bool pca9541::asserts(std::size_t output) const {
    return (status_of(output) & ~masters_.at(output).masked) != 0;
}

void pca9541::power_on() {
    for (master_port &master : masters_) {
        master.reset();
    }
    connection_.reset();
}

std::vector<reading> pca9541::readings() const {
    const std::string connected_to = connection_ ? fmt::format("master {}", *connection_) : "none";
    return {{"connected", connected_to, false},           {"owner", fmt::format("master {}", owner()), false},
            {"interrupt-0", interrupt_output(0), false},  {"interrupt-1", interrupt_output(1), false},
            {"intin", intin_low_ ? "low" : "high", true}, {"reset", in_reset_ ? "low" : "high", true}};
}

void pca9541::set(std::string_view name, std::string_view value) {
    if (name == "intin") {
        intin_low_ = parse_choice(name, value, {"high", "low"}) == 1;
    } else if (name == "reset") {
        in_reset_ = parse_choice(name, value, {"high", "low"}) == 1;
        if (in_reset_) {
            power_on();
        }
    } else {
        refuse_name(name, "intin, reset");
    }
}

} // namespace

std::unique_ptr<chip> make_pca9541(const board_clock & /*clock*/) { return std::make_unique<pca9541>(); }

} // namespace varnel::sim
