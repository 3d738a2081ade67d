// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/i2c_file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include "sim/device_files/smbus.h"

namespace varnel::sim::device_files {

namespace {

/// Of an adapter that performs any sequence of messages; SMBus is made of these.
constexpr unsigned long functionality =
    I2C_FUNC_I2C | I2C_FUNC_SMBUS_EMUL | I2C_FUNC_SMBUS_READ_BLOCK_DATA | I2C_FUNC_SMBUS_BLOCK_PROC_CALL;

/// Longer messages are cut by read() and write(), and refused by I2C_RDWR.
constexpr std::size_t largest_message = 8192;
constexpr int unit_of_timeout = 10; // ms
constexpr uint64_t longest_timeout = INT_MAX / unit_of_timeout;
constexpr uint16_t highest_address = 0x7F;
constexpr uint16_t highest_ten_bit_address = 0x3FF;

constexpr std::size_t size_of_message(uint64_t count) {
    return static_cast<std::size_t>(std::min<uint64_t>(count, largest_message));
}

template <class Object>
bool read_object(const caller_memory &memory, uint64_t address, Object &object) {
    return memory.read(address, {reinterpret_cast<uint8_t *>(&object), sizeof object});
}

uint64_t address_of(const void *pointer) { return reinterpret_cast<uint64_t>(pointer); }

/// A message of I2C_RDWR from the caller's memory. Returns 0, or a negative errno.
int copy_message(const caller_memory &memory, const i2c_msg &from, i2c_message &to) {
    if (from.len > largest_message) {
        return -EINVAL;
    }
    to = {from.addr, from.flags, std::vector<uint8_t>(from.len)};
    if (!memory.read(address_of(from.buf), to.bytes)) {
        return -EFAULT;
    }
    if (to.counted()) { // the first byte says how many bytes are read besides those that the chip counts
        if (!to.reads() || from.len < 1 || to.bytes[0] < 1 || from.len < to.bytes[0] + I2C_SMBUS_BLOCK_MAX) {
            return -EINVAL;
        }
        to.bytes.resize(to.bytes[0]);
    }
    return 0;
}

/// Whether a request brings data with it.
bool takes_data(const i2c_smbus_ioctl_data &request) {
    return request.read_write == I2C_SMBUS_WRITE || request.size == I2C_SMBUS_PROC_CALL ||
           request.size == I2C_SMBUS_BLOCK_PROC_CALL || request.size == I2C_SMBUS_I2C_BLOCK_DATA;
}

bool gives_data(const i2c_smbus_ioctl_data &request) {
    return request.read_write == I2C_SMBUS_READ || request.size == I2C_SMBUS_PROC_CALL ||
           request.size == I2C_SMBUS_BLOCK_PROC_CALL;
}

bool has_no_data(const i2c_smbus_ioctl_data &request) {
    return request.size == I2C_SMBUS_QUICK ||
           (request.size == I2C_SMBUS_BYTE && request.read_write == I2C_SMBUS_WRITE);
}

std::size_t size_of_data(uint32_t transaction) {
    switch (transaction) {
    case I2C_SMBUS_BYTE:
    case I2C_SMBUS_BYTE_DATA:
        return sizeof i2c_smbus_data::byte;
    case I2C_SMBUS_WORD_DATA:
    case I2C_SMBUS_PROC_CALL:
        return sizeof i2c_smbus_data::word;
    default:
        return sizeof i2c_smbus_data::block;
    }
}

int set_retries(adapter &bus, uint64_t retries) {
    if (retries > INT_MAX) {
        return -EINVAL;
    }
    bus.repeated().retries = static_cast<int>(retries);
    return 0;
}

int set_timeout(adapter &bus, uint64_t timeout) {
    if (timeout > longest_timeout) {
        return -EINVAL;
    }
    bus.repeated().timeout = std::chrono::milliseconds(timeout * unit_of_timeout);
    return 0;
}

} // namespace

int64_t i2c_file::ioctl(adapter &bus, const caller_memory &memory, uint32_t request, uint64_t argument) {
    switch (request) {
    case I2C_SLAVE: // no driver of a kernel has a chip here, so no address is busy
    case I2C_SLAVE_FORCE:
        return set_address(argument);
    case I2C_TENBIT:
        ten_bits_ = argument != 0;
        return 0;
    case I2C_PEC:
        pec_ = argument != 0;
        return 0;
    case I2C_FUNCS:
        return memory.write(argument,
                            {reinterpret_cast<const uint8_t *>(&functionality), sizeof functionality})
                   ? 0
                   : -EFAULT;
    case I2C_RDWR:
        return transfer(bus, memory, argument);
    case I2C_SMBUS:
        return smbus(bus, memory, argument);
    case I2C_RETRIES:
        return set_retries(bus, argument);
    case I2C_TIMEOUT:
        return set_timeout(bus, argument);
    default:
        return -ENOTTY;
    }
}

int i2c_file::set_address(uint64_t address) {
    if (address > (ten_bits_ ? highest_ten_bit_address : highest_address)) {
        return -EINVAL;
    }
    address_ = static_cast<uint16_t>(address);
    return 0;
}

i2c_message i2c_file::message(uint16_t flags, std::vector<uint8_t> bytes) const {
    return {address_, static_cast<uint16_t>(flags | (ten_bits_ ? I2C_M_TEN : 0)), std::move(bytes)};
}

int64_t i2c_file::read(adapter &bus, const caller_memory &memory, uint64_t address, uint64_t count) const {
    i2c_message read = message(I2C_M_RD, std::vector<uint8_t>(size_of_message(count)));
    if (const int error = bus.transfer({&read, 1}); error != 0) {
        return -error;
    }
    return memory.write(address, read.bytes) ? static_cast<int64_t>(read.bytes.size()) : -EFAULT;
}

int64_t i2c_file::write(adapter &bus, const caller_memory &memory, uint64_t address, uint64_t count) const {
    i2c_message written = message(0, std::vector<uint8_t>(size_of_message(count)));
    if (!memory.read(address, written.bytes)) {
        return -EFAULT;
    }
    const int error = bus.transfer({&written, 1});
    return error != 0 ? -error : static_cast<int64_t>(written.bytes.size());
}

int64_t i2c_file::transfer(adapter &bus, const caller_memory &memory, uint64_t argument) const {
    i2c_rdwr_ioctl_data request{};
    if (!read_object(memory, argument, request)) {
        return -EFAULT;
    }
    if (request.msgs == nullptr || request.nmsgs == 0 || request.nmsgs > I2C_RDWR_IOCTL_MAX_MSGS) {
        return -EINVAL;
    }
    std::vector<i2c_msg> given(request.nmsgs);
    if (!memory.read(address_of(request.msgs),
                     {reinterpret_cast<uint8_t *>(given.data()), given.size() * sizeof(i2c_msg)})) {
        return -EFAULT;
    }
    std::vector<i2c_message> messages(given.size());
    for (std::size_t i = 0; i < given.size(); ++i) {
        if (const int error = copy_message(memory, given[i], messages[i]); error != 0) {
            return error;
        }
    }
    if (const int error = bus.transfer(messages); error != 0) {
        return -error;
    }
    for (std::size_t i = 0; i < given.size(); ++i) {
        if (messages[i].reads() && !memory.write(address_of(given[i].buf), messages[i].bytes)) {
            return -EFAULT;
        }
    }
    return static_cast<int64_t>(given.size());
}

int64_t i2c_file::smbus(adapter &bus, const caller_memory &memory, uint64_t argument) const {
    i2c_smbus_ioctl_data request{};
    if (!read_object(memory, argument, request)) {
        return -EFAULT;
    }
    const bool known = request.size <= I2C_SMBUS_I2C_BLOCK_DATA && request.read_write <= I2C_SMBUS_READ;
    if (!known || (request.data == nullptr && !has_no_data(request))) {
        return -EINVAL;
    }
    i2c_smbus_data data{};
    const std::span<uint8_t> bytes(data.block, has_no_data(request) ? 0 : size_of_data(request.size));
    if (takes_data(request) && !memory.read(address_of(request.data), bytes)) {
        return -EFAULT;
    }
    if (request.size ==
        I2C_SMBUS_I2C_BLOCK_BROKEN) { // programs from before 2.6.23 do not say how much they read
        request.size = I2C_SMBUS_I2C_BLOCK_DATA;
        data.block[0] = request.read_write == I2C_SMBUS_READ ? I2C_SMBUS_BLOCK_MAX : data.block[0];
    }
    const smbus_request wanted{address_, ten_bits_, pec_, request.read_write, request.command, request.size};
    if (const int error = perform(bus, wanted, data); error != 0) {
        return -error;
    }
    return !gives_data(request) || memory.write(address_of(request.data), bytes) ? 0 : -EFAULT;
}

} // namespace varnel::sim::device_files
