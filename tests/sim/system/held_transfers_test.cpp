// SPDX-License-Identifier: Apache-2.0
// Transfers whose messages reach the board's server one by one, as a USB adapter gets them.
#include <cerrno>
#include <optional>

#include <linux/i2c.h>

#include "sim/device_files/board_adapter.h"
#include "sim/protocol/meeting_point.h"
#include "sim/protocol/message.h"
#include "tests/sim/system/workbench.h"

namespace varnel::test {

using place = sim::device_files::adapter::place;
using bytes = std::vector<uint8_t>;

constexpr place begins{.goes_on = true};
constexpr place goes_on{.continues = true, .goes_on = true};
constexpr place ends{.continues = true};
constexpr place whole{};

class held_transfers : public workbench {
  public:
    [[nodiscard]] sim::channel connect() const {
        return sim::channel(sim::meeting_point::of_board(board).connect());
    }
    static int transfer(sim::channel &link, place where, sim::device_files::i2c_message &message) {
        sim::device_files::repetition none;
        return sim::device_files::board_adapter(link, 0, none).transfer_part({&message, 1}, where);
    }
    static int write(sim::channel &link, place where, uint16_t address, bytes data) {
        sim::device_files::i2c_message message{address, 0, std::move(data)};
        return transfer(link, where, message);
    }
    static int read(sim::channel &link, place where, uint16_t address, bytes expected) {
        sim::device_files::i2c_message message{address, I2C_M_RD, bytes(expected.size())};
        const int error = transfer(link, where, message);
        EXPECT_EQ(error != 0 ? expected : message.bytes, expected);
        return error;
    }

    process powered = keep_powered();
    sim::channel one = connect();
    sim::channel other = connect();
};

TEST_F(held_transfers, have_one_stop_at_the_end) {
    EXPECT_EQ(write(one, begins, 0x70, {1}), 0); // the multiplexer connects the supply at the STOP
    EXPECT_EQ(read(one, goes_on, 0x70, {1}), 0);
    EXPECT_EQ(write(one, ends, 0x58, {0x98}), ENXIO);
    EXPECT_EQ(write(one, begins, 0x58, {0x98}), 0);
    EXPECT_EQ(read(one, ends, 0x58, {0x22}), 0);
}

TEST_F(held_transfers, are_not_interrupted) {
    EXPECT_EQ(write(one, begins, 0x20, {2, 0x11}), 0);
    // The other's request is there before this transfer goes on.
    other.send(
        sim::encode(sim::transfer_header{sim::message_kind::write, sim::protocol_version, 0, 0x20, 2, 0}),
        bytes{2, 0x22});
    EXPECT_EQ(write(one, goes_on, 0x20, {2}), 0);
    EXPECT_EQ(read(one, ends, 0x20, {0x11}), 0);
    EXPECT_FALSE(other.receive().empty());
    EXPECT_EQ(write(one, begins, 0x20, {2}), 0);
    EXPECT_EQ(read(one, ends, 0x20, {0x22}), 0);
}

TEST_F(held_transfers, end_when_their_program_leaves) {
    std::optional<sim::channel> leaving = connect();
    EXPECT_EQ(write(*leaving, begins, 0x70, {1}), 0);
    leaving.reset();
    EXPECT_EQ(write(other, whole, 0x58, {0x98}), 0);
}

TEST_F(held_transfers, end_with_an_address_that_no_chip_can_have) {
    EXPECT_EQ(write(one, begins, 0x70, {1}), 0);
    EXPECT_EQ(write(one, ends, 0x170, {1}), ENXIO);
    EXPECT_EQ(write(other, whole, 0x58, {0x98}), 0);
}

TEST_F(held_transfers, end_when_another_begins) {
    EXPECT_EQ(write(one, begins, 0x70, {1}), 0);
    EXPECT_EQ(write(one, whole, 0x58, {0x98}), 0);
    EXPECT_EQ(read(one, ends, 0x58, {0x22}), ETIMEDOUT) << "it is over";
}

TEST_F(held_transfers, end_after_a_second) {
    EXPECT_EQ(write(one, begins, 0x70, {1}), 0);
    EXPECT_EQ(write(other, whole, 0x58, {0x98}), 0);
    EXPECT_EQ(write(one, ends, 0x20, {0}), ETIMEDOUT);
}

} // namespace varnel::test
