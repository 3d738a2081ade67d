// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include <sys/sem.h>

#include "varnel/sem_lock.h"

namespace varnel::test {

/// A set of locks, which the system would keep: removed with the object.
class lock_set {
  public:
    lock_set(const std::string &key_file, int32_t locks) : id_(get_sem_lock(key_file.c_str(), locks)) {}
    ~lock_set() { remove(); }
    lock_set(const lock_set &) = delete;
    lock_set &operator=(const lock_set &) = delete;

    /// -1 when there is none.
    operator int() const { return id_; }
    void remove() const { semctl(id_, 0, IPC_RMID); }

  private:
    int id_;
};

} // namespace varnel::test
