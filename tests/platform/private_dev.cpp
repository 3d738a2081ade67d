// SPDX-License-Identifier: Apache-2.0
#include "private_dev.h"

#include <array>

#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "namespaces.h"

namespace varnel::test {

namespace {

int syslog_socket = -1;

void make_private_dev() {
    if (!enter_namespaces(CLONE_NEWNS) || mount("tmpfs", "/dev", "tmpfs", 0, nullptr) != 0) {
        return;
    }
    const int log = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const sockaddr_un address{AF_UNIX, "/dev/log"};
    if (mkdir("/dev/shm", 01777) == 0 &&
        bind(log, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
        syslog_socket = log;
    }
}

} // namespace

bool has_private_dev() { return syslog_socket >= 0; }

std::string logged() {
    std::array<char, 8192> message{};
    const ssize_t length = recv(syslog_socket, message.data(), message.size(), 0);
    return length < 0 ? "" : std::string(message.data(), static_cast<std::size_t>(length));
}

} // namespace varnel::test

int main(int argc, char **argv) {
    ::testing::InitGoogleMock(&argc, argv);
    if (!::testing::GTEST_FLAG(list_tests)) {
        varnel::test::make_private_dev();
    }
    return RUN_ALL_TESTS();
}
