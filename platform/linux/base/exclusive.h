// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>

namespace varnel::platform {

/// Holds a mutex for a scope. Cancellation is disabled meanwhile, because a cancelled thread would leave the
/// mutex locked.
class exclusive {
  public:
    explicit exclusive(pthread_mutex_t &mutex) : mutex_(mutex) {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state_);
        pthread_mutex_lock(&mutex_);
    }
    ~exclusive() {
        pthread_mutex_unlock(&mutex_);
        pthread_setcancelstate(cancel_state_, nullptr);
    }
    exclusive(const exclusive &) = delete;
    exclusive &operator=(const exclusive &) = delete;

  private:
    pthread_mutex_t &mutex_;
    int cancel_state_ = PTHREAD_CANCEL_ENABLE;
};

} // namespace varnel::platform
