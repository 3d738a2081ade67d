// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdarg>

namespace varnel::platform {

/// vsyslog() that also works in a child forked while another thread of the parent was inside syslog(), whose
/// lock then stays held for ever. Such a child sends the line itself, with the program's name, facility
/// LOG_USER and no time (the receiver adds it), because it cannot read the arguments of openlog(). errno is
/// for %m, and may change.
[[gnu::format(printf, 2, 0)]] void log_to_system(int priority, const char *format, va_list arguments);

} // namespace varnel::platform
