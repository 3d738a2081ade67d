// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>

#include <unistd.h>

namespace varnel::tools {

/// An open file descriptor, or -1; closed with the object.
class descriptor {
  public:
    explicit descriptor(int number = -1) : number_(number) {}
    ~descriptor() { reset(); }
    descriptor(descriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
    descriptor &operator=(descriptor &&other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }

    [[nodiscard]] int get() const { return number_; }
    [[nodiscard]] explicit operator bool() const { return number_ >= 0; }
    void reset() {
        if (number_ >= 0) {
            close(std::exchange(number_, -1));
        }
    }

  private:
    int number_;
};

} // namespace varnel::tools
