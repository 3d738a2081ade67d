// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include "support/scratch_folder.h"

namespace varnel::test {

/// What one transfer put on the wire, whichever request was used.
struct wire_transfer {
    unsigned int slave;
    std::vector<uint8_t> written;
    int read_length; ///< -1 when there was no read phase

    bool operator==(const wire_transfer &) const = default;
};

void PrintTo(const wire_transfer &transfer, std::ostream *out);

/// The kernel's side of /dev/i2c-N. The program is linked with --wrap for open64, fstat64 and ioctl. Everything else
/// (descriptors, inodes, fork) is the real kernel: a node is a real file, removed with its adapter; a device
/// where the test may make one.
///
/// Like the kernel, it keeps the address for I2C_SMBUS with the open file, turns each request into a transfer
/// on the wire, lets the chip decide the length of an SMBus block, and refuses what the adapter cannot do.
class fake_i2c_kernel {
  public:
    fake_i2c_kernel();
    ~fake_i2c_kernel();
    fake_i2c_kernel(const fake_i2c_kernel &) = delete;
    fake_i2c_kernel &operator=(const fake_i2c_kernel &) = delete;

    void plug(unsigned int bus, unsigned long functionality);
    void unplug(unsigned int bus);

    /// The bytes that every chip sends; zeros follow.
    std::vector<uint8_t> answer;
    /// When not 0, the next transfers fail with this errno.
    int fail_with = 0;
    /// When not 0, an adapter does not tell its functionality, but fails with this errno.
    int fail_functionality_with = 0;
    /// When not 0, the status of a node cannot be read, with this errno.
    int fail_status_with = 0;
    /// When not 0, setting the address for I2C_SMBUS fails with this errno.
    int fail_address_with = 0;
    /// When not -1, what I2C_RDWR returns.
    int messages_done = -1;
    /// How many messages the last I2C_RDWR had.
    unsigned int messages = 0;
    /// Called before a requested transfer is on the wire.
    std::function<void()> before_transfer = [] {};

    [[nodiscard]] std::vector<wire_transfer> transfers();
    [[nodiscard]] std::vector<std::string> calls(); ///< "open 3", "I2C_RDWR", "I2C_SMBUS 5"...
    void forget();
    /// The descriptor of the last transfer.
    [[nodiscard]] int last_descriptor();

    int open(const char *path, int flags);
    int ioctl(int descriptor, unsigned long request, void *argument);
    [[nodiscard]] bool is_ours(int descriptor);

  private:
    struct adapter {
        unsigned int bus;
        unsigned long functionality;
    };

    [[nodiscard]] std::string node(unsigned int bus) const;
    int transfer_messages(int descriptor, const adapter &on, i2c_rdwr_ioctl_data &all);
    int transfer_smbus(int descriptor, const adapter &on, i2c_smbus_ioctl_data &request);
    void put_on_wire(int descriptor, wire_transfer transfer);
    int read_answer(int read_write, uint32_t size, i2c_smbus_data &data);
    void note(const std::string &call);
    [[nodiscard]] uint8_t answer_byte(std::size_t i) const {
        return i < answer.size() ? answer[i] : uint8_t{0};
    }

    std::mutex mutex_;
    scratch_folder folder_;
    std::map<unsigned long, adapter> adapters_; ///< by inode
    std::map<int, unsigned long> slaves_; ///< by descriptor; threads share it as they share the descriptor
    std::vector<wire_transfer> transfers_;
    std::vector<std::string> calls_;
    int last_descriptor_ = -1;
};

} // namespace varnel::test
