// SPDX-License-Identifier: Apache-2.0
#include "scripted_bus.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ostream>
#include <utility>

#include "varnel/platform.h"

namespace varnel::test {

namespace {

scripted_bus *current = nullptr;

scripted_bus &bus_in_use() {
    if (current == nullptr) {
        std::abort();
    }
    return *current;
}

bytes copy_of(const uint8_t *buffer, unsigned int length) {
    return length == 0 ? bytes{} : bytes(buffer, buffer + length);
}

} // namespace

void PrintTo(const transfer &call, std::ostream *out) {
    static constexpr const char *names[] = {"write", "read", "write_read"};
    *out << names[static_cast<int>(call.primitive)] << " bus " << call.bus << " slave 0x" << std::hex
         << call.slave << std::dec << " written " << ::testing::PrintToString(call.written) << " preset "
         << ::testing::PrintToString(call.preset);
}

transfer write_of(unsigned int bus, unsigned int slave, bytes written) {
    return {transfer::kind::write, bus, slave, std::move(written), {}};
}

transfer read_of(unsigned int bus, unsigned int slave, bytes preset) {
    return {transfer::kind::read, bus, slave, {}, std::move(preset)};
}

transfer write_read_of(unsigned int bus, unsigned int slave, bytes written, bytes preset) {
    return {transfer::kind::write_read, bus, slave, std::move(written), std::move(preset)};
}

scripted_bus::scripted_bus() { current = this; }
scripted_bus::~scripted_bus() { current = nullptr; }

void scripted_bus::answers(std::vector<answer> next) {
    script_.insert(script_.end(), next.begin(), next.end());
}

void scripted_bus::fail_call(unsigned int n, uint8_t data) {
    answers(std::vector<answer>(n, answer{{data}}));
    answers({{{}, -1}});
}

int scripted_bus::perform(const transfer &call, uint8_t *read_buffer, unsigned int success) {
    calls.push_back(call);
    if (script_.empty()) {
        std::fill_n(read_buffer, call.preset.size(), uint8_t{0});
        return static_cast<int>(success);
    }
    const answer next = script_.front();
    script_.erase(script_.begin());
    std::copy_n(next.data.begin(), std::min(next.data.size(), call.preset.size()), read_buffer);
    errno = next.error != 0 ? next.error : errno;
    return next.result.value_or(static_cast<int>(success));
}

} // namespace varnel::test

using namespace varnel::test;

int i2c_master_write_on_bus(uint8_t bus, uint8_t slave, const uint8_t *buffer, uint16_t length) {
    return bus_in_use().perform(write_of(bus, slave, copy_of(buffer, length)), nullptr, length);
}

int i2c_master_read_on_bus(uint8_t bus, uint8_t slave, uint8_t *buffer, uint16_t length) {
    return bus_in_use().perform(read_of(bus, slave, copy_of(buffer, length)), buffer, length);
}

int i2c_writeread_on_bus(uint8_t bus, uint8_t slave, const uint8_t *write_buffer, uint8_t *read_buffer,
                         uint16_t write_length, uint16_t read_length) {
    return bus_in_use().perform(
        write_read_of(bus, slave, copy_of(write_buffer, write_length), copy_of(read_buffer, read_length)),
        read_buffer, 0);
}
