// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include <syslog.h>

#include "base/system_log.h"
#include "varnel/platform.h"

namespace {

bool is_wanted_on_stderr() {
    const char *wish = std::getenv("VARNEL_DEBUG_STDERR");
    return wish != nullptr && *wish != '\0' && !(wish[0] == '0' && wish[1] == '\0');
}

/// The text's length, as printf() returns it.
int write_to_stderr_if_wanted(const char *format, va_list arguments) {
    if (is_wanted_on_stderr()) {
        return std::vfprintf(stderr, format, arguments);
    }
    return std::vsnprintf(nullptr, 0, format, arguments);
}

} // namespace

int IDBG_LINUXAPP_DbgOut(int level, const char *format, ...) {
    const int errno_before = errno;
    va_list arguments;
    va_list again;
    va_start(arguments, format);
    va_copy(again, arguments);
    varnel::platform::log_to_system(level & LOG_PRIMASK, format, arguments);
    va_end(arguments);
    errno = errno_before; // for %m
    const int length = write_to_stderr_if_wanted(format, again);
    va_end(again);
    errno = errno_before;
    return length;
}
