// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

namespace varnel {

/// A file descriptor that is closed when its owner goes out of scope.
class owned_descriptor {
  public:
    explicit owned_descriptor(int descriptor) : descriptor_(descriptor) {}
    ~owned_descriptor() {
        if (is_open()) {
            ::close(descriptor_);
        }
    }
    owned_descriptor(const owned_descriptor &) = delete;
    owned_descriptor &operator=(const owned_descriptor &) = delete;

    [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }
    [[nodiscard]] int get() const { return descriptor_; }

    /// Closes now, for callers that need the result of close().
    [[nodiscard]] int close() {
        const int result = ::close(descriptor_);
        descriptor_ = -1;
        return result;
    }

  private:
    int descriptor_;
};

} // namespace varnel
