// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/host_address.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netdb.h>
#include <netinet/in.h>

#include "tools/varnel/commands.h"

namespace varnel::tools {

std::string ipv4_address_of(const std::string &host) {
    in6_addr ipv6{};
    if (inet_pton(AF_INET6, host.c_str(), &ipv6) == 1) {
        throw bad_usage(fmt::format("'{}' is an IPv6 address; only IPv4 is supported", host));
    }
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (const int error = getaddrinfo(host.c_str(), nullptr, &wanted, &found); error != 0) {
        throw failed(fmt::format("'{}': no IPv4 address: {}", host,
                                 error == EAI_SYSTEM ? std::strerror(errno) : gai_strerror(error)));
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, &freeaddrinfo);
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in *>(found->ai_addr)->sin_addr, text.data(),
              text.size());
    return text.data();
}

} // namespace varnel::tools
