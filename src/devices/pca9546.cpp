// SPDX-License-Identifier: Apache-2.0
#include "varnel/pca9546.h"

#include "devices/failed_call.h"
#include "varnel/smbus.h"

namespace {

constexpr const char *source = "pca9546.c";

} // namespace

int pca9546_enable_channel(uint32_t device, uint8_t channel) {
    return varnel::reported(smbus_send_byte_to_device(device, channel), {source, __func__}, 13,
                            "smbus_send_byte_to_device( device , channel)");
}

int pca9546_get_channel(uint32_t device, uint8_t *channel) {
    return varnel::reported(smbus_recv_byte_to_device(device, channel), {source, __func__}, 25,
                            "smbus_recv_byte_to_device( pca9546, pChannel)");
}
