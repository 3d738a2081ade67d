// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "sim/device_files/supervisor.h"

namespace varnel::sim::device_files {

/// What `run` knows of a program that it is about to start.
struct service {
    board_files files;
    std::string board;       ///< its file, as users call it
    std::string outer_board; ///< that of the `run` which started this one; empty if there is none
    bool verbose = false;    ///< also say what is as it should be
    bool virtual_time = false;
};

/// Whether the device files are those of the board: by our supervisor, or by that of the `run` around us. `error` is as below.
[[nodiscard]] bool are_the_boards(const service &how, int error);

/// Says in a line on standard error who answers a program that opens /dev/i2c-N or /dev/gpiochipN. `error` is that of `call`, by which the
/// program would have got a supervisor of its own: 0 when it has one, EBUSY when another supervises us.
void say_how_served(const service &how, const char *call, int error);

/// Says in a line what a program, named as for execvp(3), cannot have under a supervisor: rights of its own (set-user-ID,
/// set-group-ID, capabilities), or a board, if it is for another machine (32-bit).
void say_what_it_lacks(const std::string &program);

} // namespace varnel::sim::device_files
