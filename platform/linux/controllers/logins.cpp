// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdint>
#include <cstdio>

#include "controllers/complain.h"
#include "controllers/controller_table.h"
#include "varnel/platform.h"

using varnel::platform::complain_once;
using varnel::platform::controller_record;
using varnel::platform::read_controller;

namespace {

constexpr std::size_t address_room = 20; // size of the buffers of get_device_ip()'s callers

} // namespace

uint8_t *smc_get_shared_memory(int dev_id) {
    // One copy per thread: another thread may call while the caller still reads its record.
    static thread_local controller_record copy;
    const int errno_before = errno;
    complain_once(read_controller(dev_id, copy));
    errno = errno_before;
    return copy.login.data();
}

int get_device_ip(int dev_id, char *ip) {
    const int errno_before = errno;
    controller_record controller;
    complain_once(read_controller(dev_id, controller));
    const bool found = controller.present != 0;
    std::snprintf(ip, address_room, "%s", found ? controller.address.data() : "0.0.0.0");
    errno = found ? errno_before : ENODEV;
    return found ? 0 : -1;
}
