// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <new>

#include <sys/mman.h>

namespace varnel::test {

/// A value that a process shares with its children.
template <typename Value>
class shared_value {
  public:
    shared_value()
        : value_(new (mmap(nullptr, sizeof(Value), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
                     Value{}) {}
    ~shared_value() { munmap(value_, sizeof(Value)); }
    shared_value(const shared_value &) = delete;
    shared_value &operator=(const shared_value &) = delete;

    Value *operator->() const { return value_; }
    Value &operator*() const { return *value_; }

  private:
    Value *value_;
};

} // namespace varnel::test
