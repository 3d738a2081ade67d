// SPDX-License-Identifier: Apache-2.0
#include "varnel/pca9548.h"

#include "devices/failed_call.h"
#include "varnel/smbus.h"

namespace {

constexpr const char *source = "pca9548.c";

} // namespace

int pca9548_enable_channel(uint32_t device, uint8_t channel) {
    return varnel::reported(smbus_send_byte_to_device(device, channel), {source, __func__}, 17,
                            "smbus_send_byte_to_device(device, channel)");
}

int pca9548_get_channel(uint32_t device, uint8_t *channel) {
    return varnel::reported(smbus_recv_byte_to_device(device, channel), {source, __func__}, 24,
                            "smbus_recv_byte_to_device(pca9548, pca9548_channel)");
}

int pca9548_disable_channel(uint32_t device) {
    return varnel::reported(smbus_send_byte_to_device(device, 0), {source, __func__}, 30,
                            "smbus_send_byte_to_device(device, 0)");
}
