// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "host/foreground_program.h"
#include "host/pipe_ends.h"
#include "sim/device_files/service.h"

namespace varnel::sim::device_files {

/// A program in the foreground whose device files, and those of all programs that it starts, are the board's.
///
/// A supervisor process is the program's parent: Linux lets a process read the memory of its descendants, on machines
/// that are strict about it (Yama) of no others. It goes on until the last of the programs has ended. Where
/// the kernel does not allow all that, the program runs with the machine's own device files, and a line says so.
class supervised_program {
  public:
    supervised_program(const std::vector<std::string> &words, const service &how);

    /// Becomes readable when the program has ended.
    [[nodiscard]] int ending() const { return status_.get(); }
    /// Waits; the program's exit status, or 128 and the signal that ended it.
    [[nodiscard]] int wait();

  private:
    supervised_program(const std::vector<std::string> &words, const service &how, host::pipe_ends status);

    descriptor status_;
    host::foreground_program supervisor_;
};

} // namespace varnel::sim::device_files
