// SPDX-License-Identifier: Apache-2.0
#include <array>

#include "tests/sim/models/chip_bench.h"

namespace varnel::sim::test {
namespace {

enum : uint8_t { interrupt_enable = 0, control = 1, interrupt_status = 2, auto_increment = 0x10 };

constexpr unsigned int mybus = 0x01;
constexpr unsigned int nmybus = 0x02;
constexpr unsigned int buson = 0x04;
constexpr unsigned int nbuson = 0x08;
constexpr unsigned int businit = 0x10;
constexpr unsigned int teston = 0x40;
constexpr unsigned int nteston = 0x80;

bool owns(unsigned int seen) { return ((seen & mybus) != 0) == ((seen & nmybus) != 0); }
bool is_on(unsigned int seen) { return ((seen & buson) != 0) != ((seen & nbuson) != 0); }

/// What a careful master writes next, by the low four bits that it reads.
constexpr std::array<uint8_t, 16> next_write{4, 0, 1, 5, 4, 4, 5, 5, 0, 0, 1, 1, 0, 4, 5, 1};

class sim_pca9541 : public chip_bench {
  public:
    sim_pca9541() : chip_bench("pca9541") {}

    uint8_t control_of(std::size_t master) { return byte_at(control, master); }
    void set_control(std::size_t master, unsigned int bits) {
        EXPECT_EQ(write({control, static_cast<uint8_t>(bits)}, master), 2);
    }
    uint8_t status_of(std::size_t master) { return byte_at(interrupt_status, master); }
    [[nodiscard]] bool connected(std::size_t master) const { return part->port(master).connects(0); }

    /// Takes the bus as a careful master does; returns how many writes that took.
    int take(std::size_t master) {
        int writes = 0;
        for (unsigned int seen = control_of(master); !(owns(seen) && is_on(seen)) && writes < 4;
             seen = control_of(master)) {
            set_control(master, next_write.at(seen & 0x0FU));
            ++writes;
        }
        return writes;
    }

    /// One read and one write: MYBUS = NMYBUS, BUSON = not NBUSON, BUSINIT.
    void take_at_once(std::size_t master) {
        const unsigned int seen = control_of(master);
        set_control(master,
                    ((seen & nmybus) != 0 ? mybus : 0) | ((seen & nbuson) == 0 ? buson : 0) | businit);
    }
};

TEST_F(sim_pca9541, connects_neither_master_at_power_on) {
    EXPECT_EQ(part->ports(), 2U);
    EXPECT_EQ(part->segments(), 1U);
    EXPECT_EQ(read_from(auto_increment, 3, 0), (bytes{0x00, 0x00, 0x00}));
    EXPECT_EQ(read_from(auto_increment, 3, 1), (bytes{0x00, 0x02, 0x00}));
    EXPECT_FALSE(connected(0));
    EXPECT_FALSE(connected(1));
    EXPECT_EQ(shown("connected"), "none");
}

TEST_F(sim_pca9541, bus_can_be_taken_from_every_control_state) {
    // All states of the four bits: what both masters wrote before, seen by either.
    for (std::size_t master = 0; master < 2; ++master) {
        unsigned int seen_values = 0;
        for (unsigned int mine = 0; mine < 4; ++mine) {
            for (unsigned int theirs = 0; theirs < 4; ++theirs) {
                const auto bits = [](unsigned int n) { return (n & 1U) | (n & 2U) << 1U; };
                set_control(master, bits(mine));
                set_control(1 - master, bits(theirs));
                seen_values |= 1U << (control_of(master) & 0x0FU);
                EXPECT_LE(take(master), 2);
                EXPECT_TRUE(connected(master));
                EXPECT_FALSE(connected(1 - master));
            }
        }
        EXPECT_EQ(seen_values, 0xFFFFU) << "all sixteen were tried";
    }
}

TEST_F(sim_pca9541, one_control_write_takes_the_bus_from_either_master) {
    for (int round = 0; round < 3; ++round) {
        for (std::size_t master = 0; master < 2; ++master) {
            take_at_once(master);
            EXPECT_TRUE(connected(master));
            EXPECT_FALSE(connected(1 - master));
            EXPECT_TRUE(owns(control_of(master)) && is_on(control_of(master)));
            EXPECT_FALSE(owns(control_of(1 - master)));
            EXPECT_EQ(shown("connected"), "master " + std::to_string(master));
        }
    }
}

TEST_F(sim_pca9541, one_master_owns_the_bus_and_both_read_the_same_on_state) {
    for (unsigned int zero = 0; zero < 4; ++zero) {
        for (unsigned int one = 0; one < 4; ++one) {
            set_control(0, (zero & 1U) | (zero & 2U) << 1U);
            set_control(1, (one & 1U) | (one & 2U) << 1U);
            EXPECT_NE(owns(control_of(0)), owns(control_of(1)));
            EXPECT_EQ(is_on(control_of(0)), is_on(control_of(1)));
            EXPECT_EQ(connected(0), owns(control_of(0)) && is_on(control_of(0)));
            EXPECT_EQ(connected(1), owns(control_of(1)) && is_on(control_of(1)));
        }
    }
}

TEST_F(sim_pca9541, master_writes_only_its_own_control_bits) {
    const uint8_t others = control_of(1) & (nmybus | nbuson);
    set_control(1, 0xFF);
    EXPECT_EQ(control_of(1), 0xD5 | others);
    EXPECT_EQ(control_of(0), nmybus | nbuson) << "the other side sees MYBUS and BUSON";
}

TEST_F(sim_pca9541, owner_releases_the_bus_without_bus_lost) {
    take(0);
    set_control(0, control_of(0) & ~buson);
    EXPECT_FALSE(connected(0));
    EXPECT_EQ(status_of(0) & 0x08, 0) << "given up, not lost";
}

TEST_F(sim_pca9541, connection_changes_at_stop) {
    bus_port &port = part->port(0);
    ASSERT_TRUE(port.start(direction::write));
    ASSERT_TRUE(port.write(control));
    ASSERT_TRUE(port.write(buson));
    EXPECT_FALSE(connected(0));
    port.stop();
    EXPECT_TRUE(connected(0));
}

TEST_F(sim_pca9541, only_segment_0_exists) {
    take(0);
    EXPECT_FALSE(part->port(0).connects(1));
}

TEST_F(sim_pca9541, bus_lost_interrupts_the_loser_until_it_is_read) {
    take(0);
    EXPECT_EQ(status_of(0), 0x04) << "bus ok";
    EXPECT_EQ(shown("interrupt-0"), "idle");
    take(1);
    EXPECT_EQ(shown("interrupt-0"), "asserted");
    EXPECT_EQ(status_of(0), 0x08) << "bus lost";
    EXPECT_EQ(status_of(0), 0x00);
    EXPECT_EQ(shown("interrupt-0"), "idle");
    EXPECT_EQ(status_of(1), 0x04);
}

TEST_F(sim_pca9541, requested_bus_initialisation_sets_its_status_bit) {
    take_at_once(1);
    EXPECT_EQ(control_of(1) & businit, businit);
    EXPECT_EQ(shown("interrupt-1"), "asserted");
    EXPECT_EQ(status_of(1), 0x02);
}

TEST_F(sim_pca9541, masked_interrupts_stay_in_the_status) {
    EXPECT_EQ(write({interrupt_enable, 0xFF}, 0), 2);
    EXPECT_EQ(byte_at(interrupt_enable, 0), 0x0F);
    EXPECT_EQ(byte_at(interrupt_enable, 1), 0x00) << "each master has its own";
    take(0);
    take(1);
    EXPECT_EQ(shown("interrupt-0"), "idle");
    EXPECT_EQ(status_of(0), 0x04 | 0x08);
}

TEST_F(sim_pca9541, test_bits_interrupt_this_master_and_the_other) {
    set_control(0, teston);
    EXPECT_EQ(shown("interrupt-0"), "asserted");
    EXPECT_EQ(shown("interrupt-1"), "idle");
    EXPECT_EQ(status_of(0), 0x40);
    set_control(0, nteston);
    EXPECT_EQ(shown("interrupt-0"), "idle");
    EXPECT_EQ(shown("interrupt-1"), "asserted");
    EXPECT_EQ(status_of(1), 0x80);
    EXPECT_EQ(status_of(1), 0x80) << "lasts as long as the bit";
    set_control(0, 0);
    EXPECT_EQ(status_of(1), 0x00);
}

TEST_F(sim_pca9541, interrupt_input_reaches_both_masters_while_it_is_low) {
    part->set("intin", "low");
    EXPECT_EQ(shown("interrupt-0"), "asserted");
    EXPECT_EQ(shown("interrupt-1"), "asserted");
    EXPECT_EQ(status_of(0), 0x01);
    EXPECT_EQ(status_of(0), 0x01);
    write({interrupt_enable, 0x01}, 1);
    EXPECT_EQ(shown("interrupt-1"), "idle");
    part->set("intin", "high");
    EXPECT_EQ(status_of(0), 0x00);
    EXPECT_EQ(shown("interrupt-0"), "idle");
}

TEST_F(sim_pca9541, auto_increment_wraps_over_the_three_registers) {
    EXPECT_EQ(write({auto_increment, 0x0A, 0x04}, 0), 3);
    EXPECT_EQ(read_from(auto_increment, 5, 0), (bytes{0x0A, 0x04, 0x04, 0x0A, 0x04}));
    EXPECT_EQ(read_from(interrupt_enable, 2, 0), (bytes{0x0A, 0x0A}));
    EXPECT_EQ(write({interrupt_enable, 0x01, 0x02}, 0), 3);
    EXPECT_EQ(read_from(auto_increment, 2, 0), (bytes{0x02, 0x04}));
}

TEST_F(sim_pca9541, interrupt_events_are_cleared_by_writing_0) {
    take(0);
    EXPECT_EQ(write({interrupt_status, 0xFF}, 0), 2);
    EXPECT_EQ(write({interrupt_status, 0x00}, 1), 2) << "each master has its own";
    EXPECT_EQ(status_of(0), 0x04);
    take(1);
    EXPECT_EQ(write({interrupt_status, 0x00}, 0), 2);
    EXPECT_EQ(status_of(0), 0x00) << "not lost any more";
    EXPECT_EQ(status_of(1), 0x04);
}

TEST_F(sim_pca9541, other_command_codes_are_not_acknowledged) {
    for (const uint8_t code : {uint8_t{3}, uint8_t{0x13}, uint8_t{4}, uint8_t{0x20}, uint8_t{0x80}}) {
        EXPECT_EQ(write({code, 0x01}, 0), 0);
        EXPECT_EQ(register_name(code), "");
    }
    EXPECT_EQ(register_name(0x00), "Interrupt enable");
    EXPECT_EQ(register_name(0x11), "Control");
    EXPECT_EQ(register_name(0x02), "Interrupt status");
    EXPECT_EQ(refusal("intin", "up"), "intin: cannot be 'up' (expected high or low)");
}

TEST_F(sim_pca9541, reset_disconnects_both_masters_and_does_not_answer) {
    EXPECT_EQ(write({1, 0x04}), 2);
    EXPECT_EQ(shown("connected"), "master 0");
    part->set("reset", "low");
    EXPECT_EQ(shown("connected"), "none");
    EXPECT_EQ(write({1, 0x04}), -1);
    EXPECT_EQ(write({1, 0x04}, 1), -1);
    part->set("reset", "high");
    EXPECT_EQ(byte_at(1), 0x00);
    EXPECT_EQ(refusal("rest", "low"), "unknown setting 'rest' (has: intin, reset)");
}

} // namespace
} // namespace varnel::sim::test
