// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace varnel::test {

/// A program linked with private_dev.cpp runs in a mount namespace whose /dev has only a syslog socket and an
/// empty /dev/shm. Returns whether the machine allowed it; otherwise /dev is the machine's.
bool has_private_dev();

/// The next syslog message, or "" when there is none.
std::string logged();

} // namespace varnel::test
