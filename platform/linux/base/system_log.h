// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdarg>

namespace varnel::platform {

/// vsyslog(), also in the child of a fork while another thread of the parent was inside syslog(): its lock is
/// then taken for ever. Such a child sends the line itself, with the program's name, facility LOG_USER and no
/// time (the receiver adds it), because what openlog() was given is out of reach. errno is for %m, and may
/// change.
[[gnu::format(printf, 2, 0)]] void log_to_system(int priority, const char *format, va_list arguments);

} // namespace varnel::platform
