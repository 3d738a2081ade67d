// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace varnel::test {

/// A pipe, whose ends are closed with the object.
class pipe_ends {
  public:
    explicit pipe_ends(int flags = O_CLOEXEC) {
        if (pipe2(ends_.data(), flags) != 0) {
            std::perror("pipe2");
            std::abort();
        }
    }
    ~pipe_ends() {
        close_reader();
        close_writer();
    }
    pipe_ends(const pipe_ends &) = delete;
    pipe_ends &operator=(const pipe_ends &) = delete;

    [[nodiscard]] int reader() const { return ends_[0]; }
    [[nodiscard]] int writer() const { return ends_[1]; }
    void close_reader() { close_end(ends_[0]); }
    void close_writer() { close_end(ends_[1]); }

    /// One process or thread notifies another; each notification ends one wait.
    void notify() const {
        if (write(writer(), "x", 1) != 1) {
            std::perror("notify");
            std::abort();
        }
    }
    /// False when all writers have closed their end.
    [[nodiscard]] bool await() const {
        char byte = 0;
        return read(reader(), &byte, 1) == 1;
    }

  private:
    static void close_end(int &end) {
        if (end >= 0) {
            close(std::exchange(end, -1));
        }
    }

    std::array<int, 2> ends_{-1, -1};
};

} // namespace varnel::test
