// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

namespace varnel::test {

/// What happens to packets, both ways.
enum class mistreatment {
    none,
    doubled,   ///< each arrives twice
    swapped,   ///< of two, the second arrives first
    lost,      ///< one of four does not arrive
    corrupted, ///< one of four has a bit changed
    delayed,   ///< each by 0 to 150 ms, so that they overtake each other
    replayed,  ///< each is followed by an earlier one
    late,      ///< once a session is open, each by 110 ms, followed by an earlier one
};

/// Forwards packets between clients and the IPMI ports of BMCs, on loopback: proxied_address(n) leads to
/// bmc_address(n).
class udp_proxy {
  public:
    explicit udp_proxy(mistreatment treatment, int count = 1);
    ~udp_proxy();
    udp_proxy(const udp_proxy &) = delete;
    udp_proxy &operator=(const udp_proxy &) = delete;

  private:
    class server;
    std::unique_ptr<server> server_;
};

/// The proxy's address for BMC `n`.
std::string proxied_address(int n);

} // namespace varnel::test
