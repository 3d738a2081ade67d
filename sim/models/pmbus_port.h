// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <vector>

#include "sim/models/chip.h"

namespace varnel::sim {

/// The bus connection of a chip with PMBus commands: transfers and their packet error codes (SMBus 3.2, sections 6.4 and 6.5).
/// What is wrong with a transfer becomes bits of STATUS_CML.
class pmbus_port : public bus_port {
  public:
    explicit pmbus_port(const chips::datasheet &commands) : commands_(commands) {}

    void set_address(uint8_t address) final { address_ = address; }
    bool start(direction way) final;
    bool write(uint8_t byte) final;
    uint8_t read() final;
    void stop() final;

  protected:
    /// Power was off.
    void forget_transfer();
    /// What a read of the alert response address gets: the chip's address, and a packet error code.
    void send_address();

  private:
    /// How many bytes come before the repeated START of a read: for a block process call (SMBus 3.2, section 6.5.8) the block
    /// and its length, otherwise none.
    [[nodiscard]] virtual std::size_t question_size(uint8_t command) const;
    /// The data that a read gets, without the length of a block. `question` is that of a block process call, without its length.
    virtual std::vector<uint8_t> answer(const chips::chip_register &command,
                                        std::span<const uint8_t> question) = 0;
    /// Carries out a write of the right length.
    virtual void execute(uint8_t command, unsigned int data) = 0;
    virtual void communication_fault(unsigned int cml) = 0;

    [[nodiscard]] std::size_t size_of_write() const;
    [[nodiscard]] bool is_asked() const;
    bool begin_reading();
    void prepare_answer();
    bool select(uint8_t code);
    bool take_pec(bool right);
    void finish_write();

    const chips::datasheet &commands_;
    uint8_t address_ = 0;
    uint8_t pec_ = 0; ///< of the transfer so far
    bool pec_taken_ = false;
    bool command_follows_ = false;
    const chips::chip_register *command_ = nullptr; ///< named in the transfer that is under way
    std::vector<uint8_t> data_; ///< written after the command, or still to be read, the next byte last
};

/// A value as the bytes of a transfer, the low one first.
[[nodiscard]] std::vector<uint8_t> low_byte_first(unsigned int value, unsigned int bytes);

} // namespace varnel::sim
