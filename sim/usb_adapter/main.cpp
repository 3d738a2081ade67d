// SPDX-License-Identifier: Apache-2.0
// varnel-sim-usb: makes a bus of the board a USB I2C adapter of a virtual machine.

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

#include "host/command_line.h"
#include "host/options.h"
#include "sim/device_files/board_adapter.h"
#include "sim/protocol/channel.h"
#include "sim/protocol/meeting_point.h"
#include "sim/protocol/socket_address.h"
#include "sim/usb_adapter/redirection.h"
#include "sim/usb_adapter/tiny_usb_device.h"

namespace {

using namespace varnel::sim;
using namespace varnel::host;

[[noreturn]] void fail(const std::string &path) {
    throw std::system_error(errno, std::generic_category(), path);
}

/// Waits for a connection to the socket, which exists only while this waits.
descriptor connection_on(const std::string &path) {
    const descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const socket_address address(path.c_str());
    if (!listener.is_open() || !address.valid() ||
        bind(listener.get(), address.get(), socket_address::size()) != 0 || listen(listener.get(), 1) != 0) {
        fail(path);
    }
    descriptor connection(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    unlink(path.c_str());
    if (!connection.is_open()) {
        fail(path);
    }
    return connection;
}

/// A connection to the board of the `varnel-sim run` around us.
descriptor connection_to_board() {
    const char *const socket = std::getenv("VARNEL_SIM_SOCKET");
    descriptor connection = socket == nullptr ? descriptor() : meeting_point::at_socket(socket).connect();
    if (!connection.is_open()) {
        throw std::runtime_error("there is no board: run this with varnel-sim run");
    }
    return connection;
}

int run_command(std::vector<std::string> arguments) {
    command varnel_sim_usb(
        {"varnel-sim-usb",
         "Makes a bus a USB I2C adapter of a virtual machine: waits for QEMU\n"
         "(-chardev socket,id=ID,path=SOCKET -device usb-redir,chardev=ID) and serves it until it ends.\n"
         "Run by varnel-sim run, with a bus of a simulated board.",
         VARNEL_VERSION,
         {{success, "the machine has disconnected"},
          {failure, "the operation failed"},
          {bad_input, "bad usage: nothing was done"}},
         {}});
    uint64_t bus = 0;
    std::string path;
    const argument_parser parser = varnel_sim_usb.parser();
    add_number(parser, "BUS", bus, UINT8_MAX, "number of the I2C adapter");
    parser.add_option("SOCKET", path, "name for the socket; there must be nothing of that name").required();
    if (varnel_sim_usb.parse(std::move(arguments))) {
        channel to_server(connection_to_board());
        device_files::repetition kept; // the machine's kernel has its own
        device_files::board_adapter adapter(to_server, static_cast<uint8_t>(bus), kept);
        tiny_usb_device device(adapter);
        serve(device, connection_on(path));
    }
    return success;
}

} // namespace

int main(int argc, char *argv[]) {
    return run_guarded("varnel-sim-usb", [&] { return run_command({argv + 1, argv + argc}); });
}
