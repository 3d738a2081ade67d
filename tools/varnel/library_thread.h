// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

#include <pthread.h>

namespace varnel::tools {

/// A thread that the library's transfer functions can run on: with room for their buffers, and with all
/// signals blocked, which would end their sends and receives early. It may outlive the object: the functions
/// wait for the other end as long as that likes.
class library_thread {
  public:
    /// Throws std::system_error.
    library_thread(void *(*body)(void *), void *argument);
    ~library_thread();
    library_thread(const library_thread &) = delete;
    library_thread &operator=(const library_thread &) = delete;

    /// Waits so long for its end.
    [[nodiscard]] bool ended_within(std::chrono::milliseconds time);

  private:
    pthread_t thread_{};
    bool joined_ = false;
};

} // namespace varnel::tools
