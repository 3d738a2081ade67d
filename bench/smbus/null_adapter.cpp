// SPDX-License-Identifier: Apache-2.0
// The kernel's /dev/i2c-N over the null bus: replaces the C library's open64() and ioctl() in the whole
// program. Descriptors are real ones, of /dev/null.
#include <cerrno>
#include <cstdarg>
#include <cstring>

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "smbus/null_bus.h"

namespace {

using varnel::bench::answer;
using varnel::bench::block_length;

int transfer_messages(const i2c_rdwr_ioctl_data &all) {
    for (uint32_t i = 0; i < all.nmsgs; ++i) {
        if ((all.msgs[i].flags & I2C_M_RD) != 0) {
            answer(all.msgs[i].buf, all.msgs[i].len);
        }
    }
    return static_cast<int>(all.nmsgs);
}

int transfer_smbus(const i2c_smbus_ioctl_data &request) {
    if (request.read_write == I2C_SMBUS_WRITE) {
        return 0;
    }
    if (request.size == I2C_SMBUS_BLOCK_DATA) {
        answer(request.data->block, 1 + block_length);
        request.data->block[0] = block_length;
    } else if (request.size == I2C_SMBUS_WORD_DATA) {
        request.data->word = varnel::bench::answer_word;
    } else {
        request.data->byte = varnel::bench::answer_byte(0);
    }
    return 0;
}

} // namespace

extern "C" int ioctl(int /*descriptor*/, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void *const argument = va_arg(arguments, void *);
    va_end(arguments);
    switch (request) {
    case I2C_RDWR:
        return transfer_messages(*static_cast<i2c_rdwr_ioctl_data *>(argument));
    case I2C_SMBUS:
        return transfer_smbus(*static_cast<i2c_smbus_ioctl_data *>(argument));
    case I2C_FUNCS:
        *static_cast<unsigned long *>(argument) = I2C_FUNC_I2C | I2C_FUNC_SMBUS_EMUL_ALL;
        return 0;
    case I2C_SLAVE:
        return 0;
    default:
        errno = ENOTTY;
        return -1;
    }
}

extern "C" int open64(const char *path, int flags, ...) {
    constexpr const char *prefix = "/dev/i2c-";
    if (std::strncmp(path, prefix, std::strlen(prefix)) == 0) {
        path = "/dev/null";
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, 0));
}
