// SPDX-License-Identifier: Apache-2.0
// Two masters on a simulated board. A process has the board; actors send it their transfers.
#include "models/stages.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <span>
#include <sstream>
#include <stdexcept>

#include <sys/socket.h>
#include <unistd.h>

#include "sim/board/board.h"
#include "support/child_process.h"
#include "varnel/pca9541.h"
#include "varnel/platform.h"
#include "varnel/smbus.h"

namespace varnel::models {

namespace {

constexpr const char *description = "[board]\nname = selector\n"
                                    "[sel]\ntype = pca9541\nbus = 0\naddress = 0x74\nother_bus = 1\n"
                                    "[device]\ntype = pcf8574\nbus = sel\naddress = 0x20\n";
constexpr uint8_t selector_address = 0x74;
constexpr uint8_t device_address = 0x20;

constexpr uint8_t mark_of(int master) { return static_cast<uint8_t>(16 + master); }

struct request {
    enum class kind : uint8_t { transfer, show_bus } wanted = kind::show_bus;
    sim::operation operation = {};
    uint8_t bus = 0;
    uint8_t address = 0;
    uint8_t written = 0; ///< bytes
    uint8_t read = 0;
    std::array<uint8_t, 2> bytes = {};
};

struct answer {
    int result;
    int error;
    std::array<uint8_t, 2> bytes;
};

class stopped_clock : public sim::board_clock {
  public:
    [[nodiscard]] std::chrono::nanoseconds now() const override { return {}; }
};

class board_server {
  public:
    board_server() {
        if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends_.data()) != 0) {
            throw std::runtime_error("no sockets");
        }
        process_.emplace([this] { return serve(); });
    }
    ~board_server() {
        process_.reset();
        close(ends_[0]);
        close(ends_[1]);
    }
    board_server(const board_server &) = delete;
    board_server &operator=(const board_server &) = delete;

    [[nodiscard]] answer ask(const request &question) const {
        answer reply{};
        const indivisible transfer;
        if (send(ends_[0], &question, sizeof question, 0) < 0 ||
            recv(ends_[0], &reply, sizeof reply, 0) <= 0) {
            throw std::runtime_error("no board");
        }
        return reply;
    }

  private:
    [[nodiscard]] int serve() const {
        std::istringstream text(description);
        const stopped_clock clock;
        sim::board board(sim::read_description(text, "selector"), clock);
        for (request question{}; recv(ends_[1], &question, sizeof question, 0) > 0;) {
            const answer reply = question.wanted == request::kind::transfer ? transfer(board, question)
                                                                            : answer{master_on(board), 0, {}};
            send(ends_[1], &reply, sizeof reply, 0);
        }
        return 0;
    }

    static answer transfer(sim::board &board, const request &question) {
        const auto done = board.transfer({question.operation, question.bus, question.address,
                                          std::span(question.bytes).first(question.written), question.read});
        answer reply{done.result, done.error, {}};
        std::ranges::copy(done.read, reply.bytes.begin());
        return reply;
    }

    /// The master that the selector connects, or -1.
    static int master_on(const sim::board &board) {
        const std::vector<bool> on = board.status().chips.at(0).channels.at(0).on;
        const auto connected = std::ranges::find(on, true);
        return connected == on.end() ? -1 : static_cast<int>(connected - on.begin());
    }

    std::array<int, 2> ends_{-1, -1};
    std::optional<test::child_process> process_;
};

const board_server *board_of_actor = nullptr;

int transfer(request question, uint8_t *read_buffer) {
    const answer reply = board_of_actor->ask(question);
    std::copy_n(reply.bytes.begin(), question.read, read_buffer);
    errno = reply.result < 0 ? reply.error : errno;
    return reply.result;
}

request to(sim::operation operation, uint8_t bus, uint8_t address, std::span<const uint8_t> written,
           uint16_t read) {
    request question{
        request::kind::transfer,    operation, bus, address, static_cast<uint8_t>(written.size()),
        static_cast<uint8_t>(read), {}};
    std::ranges::copy(written, question.bytes.begin());
    return question;
}

constexpr uint32_t handle(int bus, uint8_t address) {
    return static_cast<uint32_t>(bus) | static_cast<uint32_t>(address) << 8U;
}

/// The byte that a function reads, or -1.
template <typename function>
long byte_read(function read) {
    uint8_t byte = 0;
    return read(&byte) == 0 ? byte : -1;
}

long perform(int master, const std::string &function) {
    const uint32_t selector = handle(master, selector_address);
    const uint32_t device = handle(master, device_address);
    if (function == "pca9541_take_bus") {
        return pca9541_take_bus(selector);
    }
    if (function == "pca9541_clear_intstatus") {
        return pca9541_clear_intstatus(selector);
    }
    if (function == "smbus_send_byte_to_device") {
        return smbus_send_byte_to_device(device, mark_of(master));
    }
    return byte_read([&](uint8_t *byte) {
        return function == "pca9541_read_ctrl"       ? pca9541_read_ctrl(selector, byte)
               : function == "pca9541_get_intstatus" ? pca9541_get_intstatus(selector, byte)
                                                     : smbus_recv_byte_to_device(device, byte);
    });
}

/// "bus of pN" or "bus of nobody"
std::string whose_bus(const board_server &board) {
    const int master = board.ask(request{}).result;
    return "bus of " + (master < 0 ? "nobody" : "p" + std::to_string(master));
}

} // namespace

stage selector_stage() {
    const auto board = std::make_shared<board_server>();
    return {
        {{0}, {1}},
        [board](int master) {
            board_of_actor = board.get();
            return [=](const std::string &function) { return perform(master, function); };
        },
        [board](const words & /*line*/) { return whose_bus(*board); },
    };
}

} // namespace varnel::models

using namespace varnel;
using namespace varnel::models;

int i2c_master_write_on_bus(uint8_t bus, uint8_t slave, const uint8_t *buffer, uint16_t length) {
    return step("i2c_master_write_on_bus", [=] {
        return transfer(to(sim::operation::write, bus, slave, {buffer, length}, 0), nullptr);
    });
}

int i2c_master_read_on_bus(uint8_t bus, uint8_t slave, uint8_t *buffer, uint16_t length) {
    return step("i2c_master_read_on_bus",
                [=] { return transfer(to(sim::operation::read, bus, slave, {}, length), buffer); });
}

int i2c_writeread_on_bus(uint8_t bus, uint8_t slave, const uint8_t *write_buffer, uint8_t *read_buffer,
                         uint16_t write_length, uint16_t read_length) {
    return step("i2c_writeread_on_bus", [=] {
        return transfer(to(sim::operation::write_read, bus, slave, {write_buffer, write_length}, read_length),
                        read_buffer);
    });
}
