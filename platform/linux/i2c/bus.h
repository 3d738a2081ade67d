// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>
#include <sys/stat.h>

namespace varnel::platform {

/// A bus and this process's descriptor of its adapter, /dev/i2c-N, opened at first use and kept.
///
/// The descriptor is checked before each transfer. The daemon may have closed it (daemons often close all
/// descriptors when they start), and another file may have its number. The adapter may have been removed and
/// added again. After fork() parent and child share the slave address of I2C_SMBUS, which belongs to the open
/// file.
class bus {
  public:
    /// Hold it from ready() to the end of the transfer.
    pthread_mutex_t &mutex() { return mutex_; }

    /// Makes the descriptor usable for I2C_RDWR. Returns 0 or an errno.
    int ready(unsigned int number);
    /// Makes the descriptor, which is ready, usable for I2C_SMBUS: no other process shares its slave address.
    /// Returns 0 or an errno.
    int separate(unsigned int number);

    [[nodiscard]] int descriptor() const { return descriptor_; }
    [[nodiscard]] unsigned long functionality() const { return functionality_; }

    /// The adapter was removed: the next transfer opens the bus again.
    void drop();

    /// For the child after fork(), in which no other thread can hold the mutex.
    void survive_fork();

  private:
    enum class condition { usable, removed, not_ours };

    [[nodiscard]] condition check() const;
    int open_adapter(unsigned int number);
    void keep(int descriptor, const struct stat &file, unsigned long functionality);

    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    bool open_ = false;
    bool inherited_ = false;
    int descriptor_ = 0; // valid while open_ is true; all zero needs no room in the library file
    unsigned long functionality_ = 0;
    dev_t file_system_ = 0;
    ino_t inode_ = 0;
    dev_t device_ = 0;
};

/// The bus object with this number.
bus &bus_number(unsigned char number);

} // namespace varnel::platform
