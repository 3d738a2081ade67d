// SPDX-License-Identifier: Apache-2.0
#include "own_network.h"

#include <cerrno>
#include <cstring>

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace varnel::test {

namespace {

bool loopback_up() {
    const int any_socket = socket(AF_INET, SOCK_DGRAM, 0);
    ifreq loopback{};
    std::strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP | IFF_RUNNING;
    const int result = ioctl(any_socket, SIOCSIFFLAGS, &loopback);
    close(any_socket);
    return result == 0;
}

} // namespace

std::string enter_own_network() {
    // Without privileges, a user namespace gives those that count inside the new network.
    if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
        return std::string("no network namespace: ") + std::strerror(errno);
    }
    return loopback_up() ? "" : std::string("loopback stays down: ") + std::strerror(errno);
}

} // namespace varnel::test
