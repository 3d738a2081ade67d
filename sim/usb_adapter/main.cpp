// SPDX-License-Identifier: Apache-2.0
// varnel-sim-usb: makes a bus of the board a USB I2C adapter of a virtual machine.

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <optional>
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
#include "sim/usb_adapter/guest_time.h"
#include "sim/usb_adapter/redirection.h"
#include "sim/usb_adapter/tiny_usb_device.h"

namespace {

using namespace varnel::sim;
using namespace varnel::host;

[[noreturn]] void fail(const std::string &path) {
    throw std::system_error(errno, std::generic_category(), path);
}

/// A socket that waits for one connection. Its name exists until the machine has connected.
class awaited_connection {
  public:
    explicit awaited_connection(std::string path)
        : path_(std::move(path)), listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const socket_address address(path_.c_str());
        if (!listener_.is_open() || !address.valid() ||
            bind(listener_.get(), address.get(), socket_address::size()) != 0 ||
            listen(listener_.get(), 1) != 0) {
            fail(path_);
        }
    }

    descriptor accept() {
        descriptor connection(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        unlink(path_.c_str());
        if (!connection.is_open()) {
            fail(path_);
        }
        return connection;
    }

  private:
    std::string path_;
    descriptor listener_;
};

/// A connection to the board of the `varnel-sim run` around us.
descriptor connection_to_board() {
    const char *const socket = std::getenv("VARNEL_SIM_SOCKET");
    descriptor connection = socket == nullptr ? descriptor() : meeting_point::at_socket(socket).connect();
    if (!connection.is_open()) {
        throw std::runtime_error("there is no board: run this with varnel-sim run");
    }
    return connection;
}

/// Serves a bus until the machine disconnects. With the name of a socket for its clock, the board lives in its time.
void serve_bus(uint8_t bus, const std::string &path, const std::string &clock_path) {
    channel to_server(connection_to_board());
    device_files::repetition kept; // the machine's kernel has its own
    device_files::board_adapter adapter(to_server, bus, kept);
    std::optional<awaited_connection> clock_socket;
    if (!clock_path.empty()) {
        clock_socket.emplace(clock_path);
    }
    awaited_connection bus_socket(path);
    if (!clock_socket) {
        tiny_usb_device device(adapter);
        return serve(device, bus_socket.accept());
    }
    const guest_clock clock(clock_socket->accept());
    bus_in_guest_time in_time(adapter, to_server, clock);
    tiny_usb_device device(in_time);
    serve(device, bus_socket.accept());
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
    std::string clock_path;
    const argument_parser parser = varnel_sim_usb.parser();
    add_number(parser, "BUS", bus, UINT8_MAX, "number of the I2C adapter");
    parser.add_option("SOCKET", path, "name for the socket; there must be nothing of that name").required();
    parser
        .add_option("--guest-time", clock_path,
                    "the board, which was powered on in virtual time, lives in the machine's: a name for the "
                    "socket at which the machine is asked for it")
        .type_name("SOCKET");
    if (varnel_sim_usb.parse(std::move(arguments))) {
        serve_bus(static_cast<uint8_t>(bus), path, clock_path);
    }
    return success;
}

} // namespace

int main(int argc, char *argv[]) {
    return run_guarded("varnel-sim-usb", [&] { return run_command({argv + 1, argv + argc}); });
}
