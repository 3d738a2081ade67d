// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdarg>

#include <syslog.h>

#include "base/system_log.h"
#include "controllers/controller_table.h"

namespace varnel::platform {

[[gnu::format(printf, 2, 3)]] inline void complain(int priority, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_to_system(priority, format, arguments);
    va_end(arguments);
}

/// Logs why a table cannot be used, once for each change of the reason.
inline void complain_once(complaint about_table) {
    static std::atomic<complaint> last{nullptr};
    if (last.exchange(about_table) != about_table && about_table != nullptr) {
        complain(LOG_ERR, "controller table %s is not used: %s", table_name(), about_table);
    }
}

} // namespace varnel::platform
