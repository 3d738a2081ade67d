// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/library_thread.h"

#include <csignal>
#include <ctime>
#include <system_error>

#include "varnel/lan_transfer.h"

namespace varnel::tools {

namespace {

constexpr std::size_t stack_size = 4UL * LAN_TRANSFER_STACK_SIZE; // sanitizers take theirs, too

timespec time_from_now(std::chrono::milliseconds time) {
    constexpr long nanoseconds = 1'000'000'000;
    timespec end{};
    clock_gettime(CLOCK_REALTIME, &end); // as pthread_timedjoin_np() wants it
    const long long sum = end.tv_nsec + time.count() * 1'000'000;
    end.tv_sec += static_cast<time_t>(sum / nanoseconds);
    end.tv_nsec = static_cast<long>(sum % nanoseconds);
    return end;
}

} // namespace

library_thread::library_thread(void *(*body)(void *), void *argument) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, stack_size);
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before); // the thread inherits it
    const int error = pthread_create(&thread_, &attributes, body, argument);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "thread");
    }
}

library_thread::~library_thread() {
    if (!joined_) {
        pthread_detach(thread_);
    }
}

bool library_thread::ended_within(std::chrono::milliseconds time) {
    const timespec end = time_from_now(time);
    joined_ = joined_ || pthread_timedjoin_np(thread_, nullptr, &end) == 0;
    return joined_;
}

} // namespace varnel::tools
