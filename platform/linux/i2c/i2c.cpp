// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>

#include "base/exclusive.h"
#include "i2c/bus.h"
#include "i2c/smbus_request.h"
#include "i2c/transfer.h"
#include "varnel/platform.h"

namespace varnel::platform {

namespace {

// Adapters would truncate a higher address to seven bits and address another chip.
constexpr uint8_t highest_address = 0x7F;

int transfer_messages(const bus &on, const transfer &wanted) {
    std::array<i2c_msg, 2> messages{};
    uint32_t count = 0;
    if (wanted.kind != phases::read) {
        messages[count++] = {wanted.slave, 0, static_cast<uint16_t>(wanted.written.size()),
                             const_cast<uint8_t *>(wanted.written.data())};
    }
    if (wanted.kind != phases::write) {
        messages[count++] = {wanted.slave, I2C_M_RD, static_cast<uint16_t>(wanted.answer.size()),
                             wanted.answer.data()};
    }
    i2c_rdwr_ioctl_data all{messages.data(), count};
    const int done = ioctl(on.descriptor(), I2C_RDWR, &all);
    if (done < 0) {
        return errno;
    }
    return static_cast<uint32_t>(done) == count ? 0 : EIO;
}

int transfer_smbus(const bus &on, const transfer &wanted) {
    std::optional<smbus_request> request = smbus_request_for(wanted, on.functionality());
    if (!request) {
        return EOPNOTSUPP;
    }
    // Forced, so that a chip with a kernel driver can be used as with I2C_RDWR, which does not check.
    i2c_smbus_ioctl_data argument{request->read_write, request->command, request->size, &request->data};
    if (ioctl(on.descriptor(), I2C_SLAVE_FORCE, static_cast<unsigned long>(wanted.slave)) != 0 ||
        ioctl(on.descriptor(), I2C_SMBUS, &argument) != 0) {
        return errno;
    }
    return store_answer(*request, wanted.answer);
}

/// An address without data is sent as a quick request, which every capable adapter supports.
bool needs_smbus(unsigned long functionality, const transfer &wanted) {
    return (functionality & I2C_FUNC_I2C) == 0 || wanted.is_quick();
}

int transfer_on(bus &on, unsigned int number, const transfer &wanted) {
    if (const int error = on.ready(number); error != 0) {
        return error;
    }
    if (!needs_smbus(on.functionality(), wanted)) {
        const bool refused = wanted.has_empty_phase() && (on.functionality() & I2C_FUNC_SMBUS_QUICK) == 0;
        return refused ? EOPNOTSUPP : transfer_messages(on, wanted);
    }
    if (const int error = on.separate(number); error != 0) {
        return error;
    }
    return transfer_smbus(on, wanted);
}

/// Returns whether the transfer succeeded; sets errno only when it did not.
bool perform(uint8_t number, const transfer &wanted) {
    if (wanted.slave > highest_address) {
        errno = EINVAL;
        return false;
    }
    const int before = errno;
    bus &on = bus_number(number);
    const exclusive turn(on.mutex());
    const int error = transfer_on(on, number, wanted);
    if (error == ENODEV || error == ESHUTDOWN) {
        on.drop();
    }
    errno = error == 0 ? before : error;
    return error == 0;
}

} // namespace

} // namespace varnel::platform

using varnel::platform::perform;
using varnel::platform::phases;

int i2c_master_write_on_bus(uint8_t bus, uint8_t slave, const uint8_t *buffer, uint16_t length) {
    return perform(bus, {phases::write, slave, {buffer, length}, {}}) ? length : -1;
}

int i2c_master_read_on_bus(uint8_t bus, uint8_t slave, uint8_t *buffer, uint16_t length) {
    return perform(bus, {phases::read, slave, {}, {buffer, length}}) ? length : -1;
}

int i2c_writeread_on_bus(uint8_t bus, uint8_t slave, const uint8_t *write_buffer, uint8_t *read_buffer,
                         uint16_t write_length, uint16_t read_length) {
    return perform(bus, {phases::write_read, slave, {write_buffer, write_length}, {read_buffer, read_length}})
               ? 0
               : -1;
}
