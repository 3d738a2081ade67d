// SPDX-License-Identifier: Apache-2.0
#include "fake_i2c_kernel.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <gmock/gmock.h>

namespace varnel::test {

namespace {

fake_i2c_kernel *kernel = nullptr;
constexpr const char *node_prefix = "/dev/i2c-";

unsigned long inode_of(int descriptor) {
    struct stat file {};
    return fstat(descriptor, &file) == 0 ? file.st_ino : 0;
}

/// The transfer of an SMBus request (SMBus 3.2 section 6.5), except the length of a block read.
wire_transfer wire_of(unsigned int slave, const i2c_smbus_ioctl_data &request) {
    const i2c_smbus_data *data = request.data;
    const bool is_read = request.read_write == I2C_SMBUS_READ;
    const uint8_t command = request.command;
    const auto low = static_cast<uint8_t>(data->word);
    const auto high = static_cast<uint8_t>(data->word >> 8);
    std::vector<uint8_t> block{command};
    switch (request.size) {
    case I2C_SMBUS_QUICK:
        return {slave, {}, is_read ? 0 : -1};
    case I2C_SMBUS_BYTE:
        return is_read ? wire_transfer{slave, {}, 1} : wire_transfer{slave, {command}, -1};
    case I2C_SMBUS_BYTE_DATA:
        return is_read ? wire_transfer{slave, {command}, 1} : wire_transfer{slave, {command, data->byte}, -1};
    case I2C_SMBUS_WORD_DATA:
        return is_read ? wire_transfer{slave, {command}, 2} : wire_transfer{slave, {command, low, high}, -1};
    case I2C_SMBUS_PROC_CALL:
        return {slave, {command, low, high}, 2};
    case I2C_SMBUS_I2C_BLOCK_DATA:
        if (!is_read) {
            block.insert(block.end(), data->block + 1, data->block + 1 + data->block[0]);
        }
        return {slave, block, is_read ? data->block[0] : -1};
    default: // a block with its count
        if (!is_read) {
            block.insert(block.end(), data->block, data->block + 1 + data->block[0]);
        }
        return {slave, block, -1};
    }
}

unsigned long function_of(const i2c_smbus_ioctl_data &request) {
    const bool is_read = request.read_write == I2C_SMBUS_READ;
    switch (request.size) {
    case I2C_SMBUS_QUICK:
        return I2C_FUNC_SMBUS_QUICK;
    case I2C_SMBUS_BYTE:
        return is_read ? I2C_FUNC_SMBUS_READ_BYTE : I2C_FUNC_SMBUS_WRITE_BYTE;
    case I2C_SMBUS_BYTE_DATA:
        return is_read ? I2C_FUNC_SMBUS_READ_BYTE_DATA : I2C_FUNC_SMBUS_WRITE_BYTE_DATA;
    case I2C_SMBUS_WORD_DATA:
        return is_read ? I2C_FUNC_SMBUS_READ_WORD_DATA : I2C_FUNC_SMBUS_WRITE_WORD_DATA;
    case I2C_SMBUS_PROC_CALL:
        return I2C_FUNC_SMBUS_PROC_CALL;
    case I2C_SMBUS_BLOCK_DATA:
        return is_read ? I2C_FUNC_SMBUS_READ_BLOCK_DATA : I2C_FUNC_SMBUS_WRITE_BLOCK_DATA;
    case I2C_SMBUS_BLOCK_PROC_CALL:
        return I2C_FUNC_SMBUS_BLOCK_PROC_CALL;
    default:
        return is_read ? I2C_FUNC_SMBUS_READ_I2C_BLOCK : I2C_FUNC_SMBUS_WRITE_I2C_BLOCK;
    }
}

int failure(int error) {
    errno = error;
    return -1;
}

} // namespace

void PrintTo(const wire_transfer &transfer, std::ostream *out) {
    *out << "slave 0x" << std::hex << transfer.slave << std::dec << " written "
         << ::testing::PrintToString(transfer.written) << " read " << transfer.read_length;
}

fake_i2c_kernel::fake_i2c_kernel() { kernel = this; }

fake_i2c_kernel::~fake_i2c_kernel() { kernel = nullptr; }

std::string fake_i2c_kernel::node(unsigned int bus) const { return folder_.file(std::to_string(bus)); }

void fake_i2c_kernel::plug(unsigned int bus, unsigned long functionality) {
    const std::string path = node(bus);
    const dev_t null_device = makedev(1, 3);
    const bool is_device = ::mknod(path.c_str(), 0600U | S_IFCHR, null_device) == 0;
    int made = is_device ? ::open(path.c_str(), O_RDWR) : -1;
    if (made < 0) {
        ::unlink(path.c_str());
        made = ::creat(path.c_str(), 0600);
    }
    const std::lock_guard lock(mutex_);
    adapters_[inode_of(made)] = {bus, functionality};
    close(made);
}

void fake_i2c_kernel::unplug(unsigned int bus) { ::unlink(node(bus).c_str()); }

std::vector<wire_transfer> fake_i2c_kernel::transfers() {
    const std::lock_guard lock(mutex_);
    return transfers_;
}

std::vector<std::string> fake_i2c_kernel::calls() {
    const std::lock_guard lock(mutex_);
    return calls_;
}

void fake_i2c_kernel::forget() {
    const std::lock_guard lock(mutex_);
    transfers_.clear();
    calls_.clear();
}

int fake_i2c_kernel::last_descriptor() {
    const std::lock_guard lock(mutex_);
    return last_descriptor_;
}

void fake_i2c_kernel::note(const std::string &call) { calls_.push_back(call); }

bool fake_i2c_kernel::is_ours(int descriptor) {
    const std::lock_guard lock(mutex_);
    return adapters_.contains(inode_of(descriptor));
}

int fake_i2c_kernel::open(const char *path, int flags) {
    const std::lock_guard lock(mutex_);
    const std::string number(path + std::strlen(node_prefix));
    note("open " + number);
    if (flags != (O_RDWR | O_CLOEXEC)) {
        throw std::logic_error("flags of open");
    }
    return ::open(folder_.file(number).c_str(), flags);
}

int fake_i2c_kernel::ioctl(int descriptor, unsigned long request, void *argument) {
    if (request == I2C_RDWR || request == I2C_SMBUS) {
        before_transfer();
    }
    const std::lock_guard lock(mutex_);
    const adapter on = adapters_.at(inode_of(descriptor));
    switch (request) {
    case I2C_FUNCS:
        if (fail_functionality_with != 0) {
            return failure(fail_functionality_with);
        }
        *static_cast<unsigned long *>(argument) = on.functionality;
        return 0;
    case I2C_SLAVE_FORCE:
        if (fail_address_with != 0) {
            return failure(fail_address_with);
        }
        slaves_[descriptor] = reinterpret_cast<unsigned long>(argument);
        return slaves_[descriptor] > 0x7F ? failure(EINVAL) : 0;
    case I2C_RDWR:
        return transfer_messages(descriptor, on, *static_cast<i2c_rdwr_ioctl_data *>(argument));
    case I2C_SMBUS:
        return transfer_smbus(descriptor, on, *static_cast<i2c_smbus_ioctl_data *>(argument));
    default:
        return failure(ENOTTY);
    }
}

void fake_i2c_kernel::put_on_wire(int descriptor, wire_transfer transfer) {
    last_descriptor_ = descriptor;
    transfers_.push_back(std::move(transfer));
}

int fake_i2c_kernel::transfer_messages(int descriptor, const adapter &on, i2c_rdwr_ioctl_data &all) {
    note("I2C_RDWR");
    messages = all.nmsgs;
    wire_transfer transfer{all.msgs[0].addr, {}, -1};
    for (uint32_t i = 0; i < all.nmsgs; ++i) {
        const i2c_msg &message = all.msgs[i];
        if ((on.functionality & I2C_FUNC_I2C) == 0) {
            return failure(EOPNOTSUPP);
        }
        if (message.len > 8192) {
            return failure(EINVAL);
        }
        if ((message.flags & I2C_M_RD) == 0) {
            transfer.written.assign(message.buf, message.buf + message.len);
            continue;
        }
        transfer.read_length = message.len;
        for (unsigned int n = 0; fail_with == 0 && n < message.len; ++n) {
            message.buf[n] = answer_byte(n);
        }
    }
    put_on_wire(descriptor, transfer);
    if (fail_with != 0) {
        return failure(fail_with);
    }
    return messages_done >= 0 ? messages_done : static_cast<int>(all.nmsgs);
}

int fake_i2c_kernel::read_answer(int read_write, uint32_t size, i2c_smbus_data &data) {
    const bool is_block_read = size == I2C_SMBUS_BLOCK_DATA && read_write == I2C_SMBUS_READ;
    if (is_block_read || size == I2C_SMBUS_BLOCK_PROC_CALL) {
        if (answer_byte(0) == 0 || answer_byte(0) > I2C_SMBUS_BLOCK_MAX) {
            return failure(EPROTO);
        }
        for (std::size_t i = 0; i <= answer_byte(0); ++i) {
            data.block[i] = answer_byte(i);
        }
        transfers_.back().read_length = answer_byte(0) + 1;
    } else if (size == I2C_SMBUS_PROC_CALL || (size == I2C_SMBUS_WORD_DATA && read_write == I2C_SMBUS_READ)) {
        data.word = static_cast<uint16_t>(answer_byte(0) | answer_byte(1) << 8);
    } else if (read_write == I2C_SMBUS_READ && size == I2C_SMBUS_I2C_BLOCK_DATA) {
        for (std::size_t i = 0; i < data.block[0]; ++i) {
            data.block[i + 1] = answer_byte(i);
        }
    } else if (read_write == I2C_SMBUS_READ && size != I2C_SMBUS_QUICK) {
        data.byte = answer_byte(0);
    }
    return 0;
}

int fake_i2c_kernel::transfer_smbus(int descriptor, const adapter &on, i2c_smbus_ioctl_data &request) {
    note("I2C_SMBUS " + std::to_string(request.size));
    if ((on.functionality & function_of(request)) == 0) {
        return failure(EOPNOTSUPP);
    }
    put_on_wire(descriptor, wire_of(static_cast<unsigned int>(slaves_.at(descriptor)), request));
    return fail_with != 0 ? failure(fail_with) : read_answer(request.read_write, request.size, *request.data);
}

} // namespace varnel::test

using varnel::test::kernel;

extern "C" {

int __real_open64(const char *path, int flags, ...);
int __real_fstat64(int descriptor, struct stat64 *file);
int __real_ioctl(int descriptor, unsigned long request, ...);

int __wrap_open64(const char *path, int flags, ...) {
    if (std::strncmp(path, varnel::test::node_prefix, std::strlen(varnel::test::node_prefix)) == 0) {
        return kernel->open(path, flags);
    }
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned int) : 0U;
    va_end(arguments);
    return __real_open64(path, flags, mode);
}

int __wrap_fstat64(int descriptor, struct stat64 *file) {
    const bool fails = kernel != nullptr && kernel->fail_status_with != 0 && kernel->is_ours(descriptor);
    return fails ? varnel::test::failure(kernel->fail_status_with) : __real_fstat64(descriptor, file);
}

int __wrap_ioctl(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void *const argument = va_arg(arguments, void *);
    va_end(arguments);
    return kernel != nullptr && kernel->is_ours(descriptor) ? kernel->ioctl(descriptor, request, argument)
                                                            : __real_ioctl(descriptor, request, argument);
}

} // extern "C"
