// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace varnel::test {

/// Moves the calling thread, and the threads and processes it starts from now on, into a network of their own
/// in which there is only a loopback interface. Returns why that is impossible here; empty when it worked.
std::string enter_own_network();

} // namespace varnel::test
