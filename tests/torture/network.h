// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace varnel::test {

/// What stands behind the library's sockets.
struct network {
    std::string incoming;          ///< what recv() has still to give
    std::vector<std::string> sent; ///< by connection
};

extern network the_network;

} // namespace varnel::test
