// SPDX-License-Identifier: Apache-2.0
// Calls libi2c as a daemon does: a descriptor for each adapter; the slave address is set when it changes.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <sys/ioctl.h>

extern "C" {
#include <i2c/smbus.h>
}

#include "smbus/transactions.h"

namespace varnel::bench {

namespace {

struct adapter {
    int descriptor = -1;
    int slave = -1;
};

std::array<adapter, 256> adapters;

void use(adapter &on, chip with) {
    if (on.descriptor < 0) {
        on.descriptor = open64(("/dev/i2c-" + std::to_string(with.bus)).c_str(), O_RDWR | O_CLOEXEC);
    }
    if (on.descriptor < 0 || ioctl(on.descriptor, I2C_SLAVE, static_cast<long>(with.slave)) != 0) {
        std::perror("libi2c");
        std::exit(1);
    }
    on.slave = with.slave;
}

int descriptor_for(chip with) {
    adapter &on = adapters[with.bus];
    if (on.slave != with.slave) {
        use(on, with);
    }
    return on.descriptor;
}

} // namespace

bool read_byte(chip with) {
    return i2c_smbus_read_byte_data(descriptor_for(with), command) == answer_byte(0);
}

bool read_word(chip with) { return i2c_smbus_read_word_data(descriptor_for(with), command) == answer_word; }

bool write_word(chip with) { return i2c_smbus_write_word_data(descriptor_for(with), command, 0x1234) == 0; }

bool read_block(chip with) {
    std::array<uint8_t, block_length> block{};
    return i2c_smbus_read_block_data(descriptor_for(with), command, block.data()) == block_length &&
           block.front() == answer_byte(1) && block.back() == answer_byte(block_length);
}

} // namespace varnel::bench
