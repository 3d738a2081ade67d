// SPDX-License-Identifier: Apache-2.0
#include "sim/usb_adapter/redirection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <memory>
#include <span>
#include <stdexcept>

#include <linux/usb/ch9.h>
#include <poll.h>
#include <sys/socket.h>
#include <usbredirparser.h>

namespace varnel::sim {

namespace {

/// What the parser takes for "nothing now".
constexpr int would_block = 0;

/// One machine that the device is plugged into. The parser calls back with `priv`, which is this.
class redirection {
  public:
    redirection(tiny_usb_device &device, const descriptor &connection);

    void run();

  private:
    static redirection &self(void *priv) { return *static_cast<redirection *>(priv); }
    static int receive(void *priv, uint8_t *data, int count);
    static int send(void *priv, uint8_t *data, int count);
    void plug_in();
    void report_configuration(uint64_t id);
    void report_setting(uint64_t id, uint8_t interface, uint8_t setting);
    void answer(uint64_t id, usb_redir_control_packet_header header, std::span<const uint8_t> data);
    void set_callbacks();

    tiny_usb_device &device_;
    int socket_;
    bool gone_ = false;
    std::unique_ptr<usbredirparser, decltype(&usbredirparser_destroy)> parser_{usbredirparser_create(),
                                                                               &usbredirparser_destroy};
};

redirection::redirection(tiny_usb_device &device, const descriptor &connection)
    : device_(device), socket_(connection.get()) {
    set_callbacks();
    std::array<uint32_t, USB_REDIR_CAPS_SIZE> capabilities{};
    for (const int capability : {usb_redir_cap_connect_device_version, usb_redir_cap_device_disconnect_ack,
                                 usb_redir_cap_ep_info_max_packet_size, usb_redir_cap_64bits_ids,
                                 usb_redir_cap_32bits_bulk_length}) { // QEMU's xHCI wants the last three
        usbredirparser_caps_set_cap(capabilities.data(), capability);
    }
    usbredirparser_init(parser_.get(), "varnel-sim-usb", capabilities.data(), USB_REDIR_CAPS_SIZE,
                        usbredirparser_fl_usb_host);
}

void redirection::set_callbacks() {
    usbredirparser &parser = *parser_;
    parser.priv = this;
    parser.log_func = [](void *, int, const char *) {};
    parser.read_func = receive;
    parser.write_func = send;
    parser.hello_func = [](void *priv, usb_redir_hello_header *) { self(priv).plug_in(); };
    parser.reset_func = [](void *) {};
    parser.device_disconnect_ack_func = [](void *) {};
    parser.cancel_data_packet_func = [](void *, uint64_t) {}; // by then it has been answered
    parser.set_configuration_func = [](void *priv, uint64_t id, usb_redir_set_configuration_header *) {
        self(priv).report_configuration(id);
    };
    parser.get_configuration_func = [](void *priv, uint64_t id) { self(priv).report_configuration(id); };
    parser.set_alt_setting_func = [](void *priv, uint64_t id, usb_redir_set_alt_setting_header *setting) {
        self(priv).report_setting(id, setting->interface, setting->alt);
    };
    parser.get_alt_setting_func = [](void *priv, uint64_t id, usb_redir_get_alt_setting_header *setting) {
        self(priv).report_setting(id, setting->interface, 0);
    };
    parser.control_packet_func = [](void *priv, uint64_t id, usb_redir_control_packet_header *header,
                                    uint8_t *data, int length) {
        self(priv).answer(id, *header, {data, static_cast<std::size_t>(length)});
        usbredirparser_free_packet_data(self(priv).parser_.get(), data);
    };
}

void redirection::run() {
    while (!gone_) {
        while (!gone_ && usbredirparser_has_data_to_write(parser_.get()) > 0) {
            usbredirparser_do_write(parser_.get());
        }
        pollfd readable{socket_, POLLIN, 0};
        poll(&readable, 1, -1);
        if (usbredirparser_do_read(parser_.get()) == usbredirparser_read_parse_error) {
            throw std::runtime_error("the other side does not speak the usbredir protocol");
        }
    }
}

int redirection::receive(void *priv, uint8_t *data, int count) {
    const ssize_t received = recv(self(priv).socket_, data, static_cast<std::size_t>(count), MSG_DONTWAIT);
    if (received > 0) {
        return static_cast<int>(received);
    }
    if (received < 0 && (errno == EINTR || errno == EAGAIN)) {
        return would_block;
    }
    self(priv).gone_ = true;
    return -1;
}

int redirection::send(void *priv, uint8_t *data, int count) {
    const ssize_t sent = ::send(self(priv).socket_, data, static_cast<std::size_t>(count), MSG_NOSIGNAL);
    if (sent >= 0 || errno == EINTR) {
        return std::max(static_cast<int>(sent), would_block);
    }
    self(priv).gone_ = true;
    return -1;
}

/// One interface without endpoints of its own, and then the device.
void redirection::plug_in() {
    usb_redir_interface_info_header interfaces{};
    interfaces.interface_count = 1;
    interfaces.interface_class[0] = USB_CLASS_VENDOR_SPEC;
    usbredirparser_send_interface_info(parser_.get(), &interfaces);

    usb_redir_ep_info_header endpoints{};
    std::ranges::fill(endpoints.type, usb_redir_type_invalid);
    constexpr std::size_t to_device = 0;
    constexpr std::size_t to_host = 16;
    for (const std::size_t control : {to_device, to_host}) {
        endpoints.type[control] = usb_redir_type_control;
        endpoints.max_packet_size[control] = tiny_usb_device::control_packet_size;
    }
    usbredirparser_send_ep_info(parser_.get(), &endpoints);

    usb_redir_device_connect_header connect{};
    connect.speed = usb_redir_speed_high;
    connect.device_class = USB_CLASS_VENDOR_SPEC;
    connect.vendor_id = tiny_usb_device::vendor;
    connect.product_id = tiny_usb_device::product;
    connect.device_version_bcd = 0x0100;
    usbredirparser_send_device_connect(parser_.get(), &connect);
}

/// There is just one.
void redirection::report_configuration(uint64_t id) {
    usb_redir_configuration_status_header status{usb_redir_success, 1};
    usbredirparser_send_configuration_status(parser_.get(), id, &status);
}

void redirection::report_setting(uint64_t id, uint8_t interface, uint8_t setting) {
    usb_redir_alt_setting_status_header status{
        static_cast<uint8_t>(setting == 0 ? usb_redir_success : usb_redir_inval), interface, 0};
    usbredirparser_send_alt_setting_status(parser_.get(), id, &status);
}

void redirection::answer(uint64_t id, usb_redir_control_packet_header header, std::span<const uint8_t> data) {
    const usb_setup setup{header.requesttype, header.request, header.value, header.index, header.length};
    auto reply = device_.control(setup, data);
    header.status = reply ? usb_redir_success : usb_redir_stall;
    if (!reply) {
        header.length = 0;
        usbredirparser_send_control_packet(parser_.get(), id, &header, nullptr, 0);
    } else if (setup.to_host()) {
        header.length = static_cast<uint16_t>(reply->size());
        usbredirparser_send_control_packet(parser_.get(), id, &header, reply->data(), header.length);
    } else { // all of it was taken
        usbredirparser_send_control_packet(parser_.get(), id, &header, nullptr, 0);
    }
}

} // namespace

void serve(tiny_usb_device &device, const descriptor &connection) { redirection(device, connection).run(); }

} // namespace varnel::sim
