// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "sim/device_files/adapter.h"

namespace varnel::sim::device_files {

/// Memory of the program that called; functions return whether all of it could be copied.
class caller_memory {
  public:
    virtual ~caller_memory() = default;
    [[nodiscard]] virtual bool read(uint64_t address, std::span<uint8_t> to) const = 0;
    [[nodiscard]] virtual bool write(uint64_t address, std::span<const uint8_t> from) const = 0;
};

/// What /dev/i2c-N does for an open file (Linux, Documentation/i2c/dev-interface.rst). Functions return the system
/// call's result, or a negative errno.
class i2c_file {
  public:
    [[nodiscard]] int64_t ioctl(adapter &bus, const caller_memory &memory, uint32_t request,
                                uint64_t argument);
    [[nodiscard]] int64_t read(adapter &bus, const caller_memory &memory, uint64_t address,
                               uint64_t count) const;
    [[nodiscard]] int64_t write(adapter &bus, const caller_memory &memory, uint64_t address,
                                uint64_t count) const;

  private:
    [[nodiscard]] int set_address(uint64_t address);
    [[nodiscard]] int64_t transfer(adapter &bus, const caller_memory &memory, uint64_t argument) const;
    [[nodiscard]] int64_t smbus(adapter &bus, const caller_memory &memory, uint64_t argument) const;
    [[nodiscard]] i2c_message message(uint16_t flags, std::vector<uint8_t> bytes) const;

    uint16_t address_ = 0;
    bool ten_bits_ = false;
    bool pec_ = false;
};

} // namespace varnel::sim::device_files
