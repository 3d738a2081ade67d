// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <barrier>
#include <thread>
#include <vector>

namespace varnel::test {

/// Runs body(0), body(1)... in threads that begin together. Each call is one thread's whole work.
template <class callable>
void in_parallel(int threads, callable body) {
    std::barrier all_there(threads);
    std::vector<std::jthread> running;
    for (int i = 0; i < threads; ++i) {
        running.emplace_back([&, i] {
            all_there.arrive_and_wait();
            body(i);
        });
    }
}

} // namespace varnel::test
