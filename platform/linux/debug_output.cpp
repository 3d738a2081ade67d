// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include <syslog.h>

#include "varnel/platform.h"

namespace {

bool is_wanted_on_stderr() {
    const char *wish = std::getenv("VARNEL_DEBUG_STDERR");
    return wish != nullptr && *wish != '\0' && !(wish[0] == '0' && wish[1] == '\0');
}

} // namespace

int IDBG_LINUXAPP_DbgOut(int level, const char *format, ...) {
    const int errno_before = errno;
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    vsyslog(level & LOG_PRIMASK, format, again);
    va_end(again);
    va_copy(again, arguments);
    errno = errno_before; // for %m
    const int length = is_wanted_on_stderr() ? std::vfprintf(stderr, format, again)
                                             : std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    va_end(arguments);
    errno = errno_before;
    return length;
}
