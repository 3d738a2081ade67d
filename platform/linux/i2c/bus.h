// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>
#include <sys/stat.h>

namespace varnel::platform {

/// A bus and this process's descriptor of its adapter, /dev/i2c-N, opened at first use and kept.
///
/// A descriptor kept in a daemon needs watching: the daemon may have closed it (closing everything is common
/// when daemons start) and something else may have its number; the adapter may have gone and come back; and
/// after fork() parent and child share the slave address that I2C_SMBUS goes to, since it is kept with the
/// open file.
class bus {
  public:
    /// To be held from ready() or ready_alone() to the end of the transfer.
    pthread_mutex_t &mutex() { return mutex_; }

    /// Makes the descriptor good for I2C_RDWR. Returns 0 or an errno.
    int ready(unsigned int number);
    /// Makes the descriptor good for I2C_SMBUS: no other process shares its slave address. Returns 0 or an
    /// errno.
    int ready_alone(unsigned int number);

    [[nodiscard]] int descriptor() const { return descriptor_; }
    [[nodiscard]] unsigned long functionality() const { return functionality_; }

    /// The adapter is gone: the next transfer opens the bus afresh.
    void drop();

    /// In the child after fork(): no other thread is there to hold the mutex.
    void survive_fork();

  private:
    enum class condition { usable, removed, not_ours };

    [[nodiscard]] condition look() const;
    int open_adapter(unsigned int number);
    void keep(int descriptor, const struct stat &file, unsigned long functionality);

    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    bool open_ = false;
    bool inherited_ = false;
    int descriptor_ = 0; // of use while open_ says so; all zero costs no room in the file
    unsigned long functionality_ = 0;
    dev_t file_system_ = 0;
    ino_t inode_ = 0;
    dev_t device_ = 0;
};

/// The one bus object of a number.
bus &bus_number(unsigned char number);

} // namespace varnel::platform
