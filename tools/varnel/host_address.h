// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace varnel::tools {

/// The IPv4 address, as dotted text, of a host that is given as an address or by name: what functions of the library take.
/// Throws bad_usage for an IPv6 address, failed for a name without an IPv4 address.
[[nodiscard]] std::string ipv4_address_of(const std::string &host);

} // namespace varnel::tools
