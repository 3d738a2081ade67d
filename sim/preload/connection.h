// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "sim/protocol/message.h"

namespace varnel::sim::preload {

/// One transfer of a program and where its bytes are.
struct transfer {
    message_kind kind;
    uint8_t adapter;
    uint8_t address;
    const uint8_t *write_buffer;
    uint16_t write_length;
    uint8_t *read_buffer;
    uint16_t read_length;
};

/// Has the board carry out a transfer. Callable from any thread, after fork() and whatever a program does to
/// its descriptors. Returns what the primitive returns; on failure errno is the board's, or ENODEV without a
/// board.
int transfer_bytes(const transfer &wanted);

} // namespace varnel::sim::preload
