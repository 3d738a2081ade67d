// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstdint>
#include <string>

#include "tools/varnel/device_address.h"
#include "tools/varnel/library_output.h"

namespace varnel::tools {

/// Throws failed: what did not work, on which device, and why, from errno.
[[noreturn]] void fail(const device_address &device, const std::string &what);

/// Calls a function of the library that returns 0 or -1. Throws failed.
template <typename Call>
void on(const device_address &device, const std::string &what, Call call) {
    int result = 0;
    {
        const quiet_library quiet;
        errno = 0;
        result = call(device.handle());
    }
    if (result != 0) {
        fail(device, what);
    }
}

} // namespace varnel::tools
