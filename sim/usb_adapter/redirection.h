// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/protocol/channel.h"
#include "sim/usb_adapter/tiny_usb_device.h"

namespace varnel::sim {

/// Plugs the device into the virtual machine at the other end of the connection, which speaks the usbredir
/// protocol (QEMU's device "usb-redir"). Returns when the machine is gone; throws std::runtime_error when it
/// says something that cannot be understood.
void serve(tiny_usb_device &device, const descriptor &connection);

} // namespace varnel::sim
