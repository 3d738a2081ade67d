// SPDX-License-Identifier: Apache-2.0
#include "udp_proxy.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bmc_servers.h"

namespace varnel::test {

namespace {

using packet = std::vector<uint8_t>;
using stopwatch = std::chrono::steady_clock;

constexpr uint16_t ipmi_port = 623;
constexpr unsigned int seed = 20;

sockaddr_in ipmi_port_of(const std::string &address) {
    return {AF_INET, htons(ipmi_port), {inet_addr(address.c_str())}, {}};
}

const sockaddr *generic(const sockaddr_in &ip) { return reinterpret_cast<const sockaddr *>(&ip); }

/// One direction of one client's packets.
struct route {
    int socket;      ///< to send on
    sockaddr_in end; ///< to send to
    std::optional<packet> held{};
    std::vector<packet> earlier{};

    void send(const packet &bytes) const {
        sendto(socket, bytes.data(), bytes.size(), 0, generic(end), sizeof end);
    }
};

struct late_packet {
    const route *way;
    packet bytes;
};

class treatment_of_packets {
  public:
    explicit treatment_of_packets(mistreatment kind) : kind_(kind) {}

    void carry(route &way, const packet &bytes) {
        switch (kind_) {
        case mistreatment::none:
            return way.send(bytes);
        case mistreatment::doubled:
            way.send(bytes);
            return way.send(bytes);
        case mistreatment::swapped:
            return swap(way, bytes);
        case mistreatment::lost:
            return up_to(3) == 0 ? void() : way.send(bytes);
        case mistreatment::corrupted:
            return way.send(up_to(3) == 0 ? corrupted(bytes) : bytes);
        case mistreatment::delayed:
            return send_later(way, bytes, std::chrono::milliseconds(up_to(150)));
        case mistreatment::replayed:
            return replay(way, bytes);
        case mistreatment::late:
            return carry_late(way, bytes);
        }
    }

    /// Sends the packets that are due. Returns the milliseconds until the next one, or -1.
    int send_late_packets() {
        while (!late_.empty() && late_.begin()->first <= stopwatch::now()) {
            late_.begin()->second.way->send(late_.begin()->second.bytes);
            late_.erase(late_.begin());
        }
        if (late_.empty()) {
            return -1;
        }
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(late_.begin()->first - stopwatch::now());
        return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
    }

  private:
    std::size_t up_to(std::size_t most) {
        return std::uniform_int_distribution<std::size_t>(0, most)(random_);
    }

    void send_later(route &way, const packet &bytes, std::chrono::milliseconds delay) {
        late_.emplace(stopwatch::now() + delay, late_packet{&way, bytes});
    }

    void carry_late(route &way, const packet &bytes) {
        constexpr std::size_t packets_to_open = 5;
        constexpr std::chrono::milliseconds delay(110);
        way.earlier.push_back(bytes);
        if (way.earlier.size() <= packets_to_open) {
            return way.send(bytes);
        }
        send_later(way, bytes, delay);
        send_later(way, way.earlier[up_to(way.earlier.size() - 1)], delay);
    }

    static void swap(route &way, const packet &bytes) {
        if (const auto first = std::exchange(way.held, std::nullopt)) {
            way.send(bytes);
            way.send(*first);
        } else {
            way.held = bytes;
        }
    }

    packet corrupted(packet bytes) {
        bytes[up_to(bytes.size() - 1)] ^= static_cast<uint8_t>(1U << up_to(7));
        return bytes;
    }

    void replay(route &way, const packet &bytes) {
        way.earlier.push_back(bytes);
        way.send(bytes);
        way.send(way.earlier[up_to(way.earlier.size() - 1)]);
    }

    mistreatment kind_;
    std::mt19937 random_{seed};
    std::multimap<stopwatch::time_point, late_packet> late_;
};

/// A client of one BMC.
struct connection {
    route to_bmc;
    route to_client;
};

packet receive(int socket, sockaddr_in &from) {
    packet bytes(2048);
    socklen_t size = sizeof from;
    const ssize_t length = recvfrom(socket, bytes.data(), bytes.size(), MSG_DONTWAIT,
                                    reinterpret_cast<sockaddr *>(&from), &size);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return bytes;
}

} // namespace

class udp_proxy::server {
  public:
    server(mistreatment kind, int count) : treatment_(kind) {
        for (int n = 0; n < count; ++n) {
            fronts_.push_back(listening_socket(proxied_address(n)));
        }
        thread_ = std::thread([this] { run(); });
    }
    ~server() {
        eventfd_write(stop_, 1);
        thread_.join();
        close(stop_);
        std::ranges::for_each(fronts_, close);
        for (const auto &[key, each] : connections_) {
            close(each.to_bmc.socket);
        }
    }
    server(const server &) = delete;
    server &operator=(const server &) = delete;

  private:
    using client_of_bmc = std::pair<int, in_port_t>; ///< BMC, client's port

    static int listening_socket(const std::string &address) {
        const int listener = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const sockaddr_in local = ipmi_port_of(address);
        if (bind(listener, generic(local), sizeof local) != 0) {
            throw std::runtime_error("cannot listen on " + address);
        }
        return listener;
    }

    connection &connection_of(int bmc, const sockaddr_in &client) {
        const client_of_bmc of_client{bmc, client.sin_port};
        const auto found = connections_.find(of_client);
        if (found != connections_.end()) {
            return found->second;
        }
        const int back = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        return connections_
            .emplace(of_client, connection{{back, ipmi_port_of(bmc_address(bmc))},
                                           {fronts_[static_cast<std::size_t>(bmc)], client}})
            .first->second;
    }

    void run() {
        for (;;) {
            std::vector<pollfd> inputs{{stop_, POLLIN, 0}};
            for (const int front : fronts_) {
                inputs.push_back({front, POLLIN, 0});
            }
            for (const auto &[key, each] : connections_) {
                inputs.push_back({each.to_bmc.socket, POLLIN, 0});
            }
            poll(inputs.data(), inputs.size(), treatment_.send_late_packets());
            if (inputs.front().revents != 0) {
                return;
            }
            carry_packets();
        }
    }

    void carry_packets() {
        sockaddr_in from{};
        for (auto &[key, each] : connections_) {
            for (packet bytes; !(bytes = receive(each.to_bmc.socket, from)).empty();) {
                treatment_.carry(each.to_client, bytes);
            }
        }
        for (int bmc = 0; bmc < static_cast<int>(fronts_.size()); ++bmc) {
            for (packet bytes; !(bytes = receive(fronts_[static_cast<std::size_t>(bmc)], from)).empty();) {
                treatment_.carry(connection_of(bmc, from).to_bmc, bytes);
            }
        }
    }

    treatment_of_packets treatment_;
    std::vector<int> fronts_;
    std::map<client_of_bmc, connection> connections_;
    int stop_ = eventfd(0, EFD_CLOEXEC);
    std::thread thread_;
};

udp_proxy::udp_proxy(mistreatment treatment, int count)
    : server_(std::make_unique<server>(treatment, count)) {}

udp_proxy::~udp_proxy() = default;

std::string proxied_address(int n) { return "127.1.0." + std::to_string(1 + n); }

} // namespace varnel::test
