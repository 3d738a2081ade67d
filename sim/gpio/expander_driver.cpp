// SPDX-License-Identifier: Apache-2.0
#include "sim/gpio/expander_driver.h"

#include <utility>

namespace varnel::sim::gpio {

namespace {

constexpr unsigned int bits = 8;

constexpr uint8_t with_bit(uint8_t byte, unsigned int bit, bool set) {
    return static_cast<uint8_t>(set ? byte | 1U << bit : byte & ~(1U << bit));
}

} // namespace

expander_driver::expander_driver(const gpiochip_place &place, perform_transfer perform)
    : place_(place), perform_(std::move(perform)) {}

unsigned int expander_driver::lines() const {
    return place_.part->model->sheet().registers[input].count * bits;
}

/// Chips with a flag for auto-increment need it, and get it always.
uint8_t expander_driver::command_of(kind registers, unsigned int bank) const {
    const chips::datasheet &sheet = place_.part->model->sheet();
    return static_cast<uint8_t>((sheet.registers[registers].code + bank) | sheet.flags);
}

int expander_driver::receive(uint8_t command, std::vector<uint8_t> &to) {
    const transfer_request request{
        operation::write_read, place_.bus, place_.address, {&command, 1}, to.size()};
    const transfer_outcome outcome = perform_(request);
    if (const int error = error_of(request, outcome); error != 0) {
        return -error;
    }
    to = outcome.read;
    return 0;
}

int expander_driver::send(const std::vector<uint8_t> &bytes) {
    const transfer_request request{operation::write, place_.bus, place_.address, bytes};
    return -error_of(request, perform_(request));
}

/// The value of a register that only the driver changes.
int expander_driver::fetch(kind registers, unsigned int bank, uint8_t &value) {
    const uint8_t command = command_of(registers, bank);
    if (const auto found = known_.find(command); found != known_.end()) {
        value = found->second;
        return 0;
    }
    std::vector<uint8_t> byte(1);
    if (const int error = receive(command, byte); error != 0) {
        return error;
    }
    value = byte[0];
    known_[command] = value;
    return 0;
}

/// Writes the register even if nothing changes.
int expander_driver::change_bit(kind registers, unsigned int line, bool set) {
    uint8_t value = 0;
    if (const int error = fetch(registers, line / bits, value); error != 0) {
        return error;
    }
    const uint8_t command = command_of(registers, line / bits);
    known_[command] = with_bit(value, line % bits, set);
    return send({command, known_[command]});
}

int expander_driver::is_output(unsigned int line, bool &outward) {
    uint8_t inputs = 0;
    const int error = fetch(configuration, line / bits, inputs);
    outward = (inputs >> line % bits & 1U) == 0;
    return error;
}

int expander_driver::make_input(unsigned int line) { return change_bit(configuration, line, true); }

int expander_driver::make_output(unsigned int line, bool high) {
    const int error = change_bit(output, line, high);
    return error != 0 ? error : change_bit(configuration, line, false);
}

int expander_driver::read(line_bits &levels) {
    std::vector<uint8_t> bytes(lines() / bits);
    const int error = receive(command_of(input, 0), bytes);
    levels = 0;
    for (std::size_t bank = 0; bank < bytes.size(); ++bank) {
        levels |= line_bits{bytes[bank]} << bank * bits;
    }
    return error;
}

int expander_driver::read(unsigned int line, bool &high) {
    std::vector<uint8_t> byte(1);
    const int error = receive(command_of(input, line / bits), byte);
    high = (byte[0] >> line % bits & 1U) != 0;
    return error;
}

void expander_driver::write(line_bits lines, line_bits levels) {
    std::vector<uint8_t> bytes{command_of(output, 0)};
    for (unsigned int bank = 0; bank < this->lines() / bits; ++bank) {
        uint8_t value = 0;
        if (fetch(output, bank, value) != 0) {
            return;
        }
        const auto changed = static_cast<uint8_t>(lines >> bank * bits);
        bytes.push_back(static_cast<uint8_t>((value & ~changed) | (levels >> bank * bits & changed)));
    }
    for (unsigned int bank = 0; bank + 1 < bytes.size(); ++bank) {
        known_[command_of(output, bank)] = bytes[bank + 1];
    }
    (void)send(bytes);
}

} // namespace varnel::sim::gpio
