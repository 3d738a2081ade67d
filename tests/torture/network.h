// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace varnel::test {

/// The other end of the library's sockets.
struct network {
    std::string incoming;          ///< bytes that recv() returns next
    std::vector<std::string> sent; ///< by connection
};

extern network the_network;

} // namespace varnel::test
