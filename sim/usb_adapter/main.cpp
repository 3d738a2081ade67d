// SPDX-License-Identifier: Apache-2.0
// varnel-sim-usb: makes a bus of the board a USB I2C adapter of a virtual machine.

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <system_error>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "sim/protocol/channel.h"
#include "sim/usb_adapter/redirection.h"
#include "sim/usb_adapter/tiny_usb_device.h"

namespace {

using namespace varnel::sim;

constexpr int failure = 1;
constexpr int bad_input = 2;

[[noreturn]] void fail(const std::string &path) {
    throw std::system_error(errno, std::generic_category(), path);
}

sockaddr_un address_of(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        fail(path);
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

/// Waits for somebody to connect to the socket, which exists only while this waits.
descriptor connection_on(const std::string &path) {
    const descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = address_of(path);
    if (bind(listener.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener.get(), 1) != 0) {
        fail(path);
    }
    descriptor connection(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    unlink(path.c_str());
    if (!connection.is_open()) {
        fail(path);
    }
    return connection;
}

int run(int argc, char *argv[]) {
    CLI::App app(
        "Makes a bus a USB I2C adapter of a virtual machine: waits for QEMU\n"
        "(-chardev socket,id=ID,path=SOCKET -device usb-redir,chardev=ID) and serves it until it ends.\n"
        "Run by varnel-sim run, with a bus of a simulated board.",
        "varnel-sim-usb");
    uint8_t bus = 0;
    std::string path;
    app.add_option("BUS", bus, "number of the I2C adapter")->required();
    app.add_option("SOCKET", path, "name for the socket; there must be nothing of that name")->required();
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &help) {
        return app.exit(help);
    }
    tiny_usb_device device(bus);
    serve(device, connection_on(path));
    return 0;
}

int complain(std::string_view message, int status) {
    fmt::print(stderr, "varnel-sim-usb: {}\n", message);
    return status;
}

} // namespace

int main(int argc, char *argv[]) {
    try {
        return run(argc, argv);
    } catch (const CLI::ParseError &mistake) {
        return complain(mistake.what(), bad_input);
    } catch (const std::exception &problem) {
        return complain(problem.what(), failure);
    }
}
