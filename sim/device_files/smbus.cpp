// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/smbus.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "sim/models/packet_error_code.h"

namespace varnel::sim::device_files {

namespace {

using bytes = std::vector<uint8_t>;

/// A transaction as messages: a write, a read, or a write and a read.
class transaction {
  public:
    transaction(const smbus_request &request, i2c_smbus_data &data) : request_(request), data_(data) {}

    int run(adapter &bus) {
        if (const int error = prepare(); error != 0) {
            return error;
        }
        const bool pec =
            request_.pec && request_.size != I2C_SMBUS_QUICK && request_.size != I2C_SMBUS_I2C_BLOCK_DATA;
        if (pec) {
            add_pec();
        }
        if (const int error = bus.transfer(messages_); error != 0) {
            return error;
        }
        if (!messages_.back().reads()) {
            return 0;
        }
        if (pec && !check_pec()) {
            return EBADMSG;
        }
        return store_answer(messages_.back().bytes);
    }

  private:
    [[nodiscard]] bool reads() const { return request_.read_write == I2C_SMBUS_READ; }
    [[nodiscard]] uint8_t low() const { return static_cast<uint8_t>(data_.word & 0xFF); }
    [[nodiscard]] uint8_t high() const { return static_cast<uint8_t>(data_.word >> 8); }

    void add_message(int flags, bytes content) {
        flags |= request_.ten_bits ? I2C_M_TEN : 0;
        messages_.push_back({request_.address, static_cast<uint16_t>(flags), std::move(content)});
    }
    void write(bytes content) { add_message(0, std::move(content)); }
    void read(std::size_t length, int flags = 0) { add_message(I2C_M_RD | flags, bytes(length)); }
    /// The command, then either an answer or more to write.
    int command(std::size_t answer, bytes content) {
        bytes written{request_.command};
        if (!reads()) {
            written.insert(written.end(), content.begin(), content.end());
        }
        write(std::move(written));
        if (reads()) {
            read(answer);
        }
        return 0;
    }
    /// The command and a block with its length in front.
    int write_block() {
        if (data_.block[0] > I2C_SMBUS_BLOCK_MAX) {
            return EINVAL;
        }
        bytes written{request_.command};
        written.insert(written.end(), data_.block, data_.block + 1 + data_.block[0]);
        write(std::move(written));
        return 0;
    }

    int prepare() {
        switch (request_.size) {
        case I2C_SMBUS_QUICK:
            add_message(reads() ? I2C_M_RD : 0, {});
            return 0;
        case I2C_SMBUS_BYTE:
            reads() ? read(1) : write({request_.command});
            return 0;
        case I2C_SMBUS_BYTE_DATA:
            return command(1, {data_.byte});
        case I2C_SMBUS_WORD_DATA:
            return command(2, {low(), high()});
        case I2C_SMBUS_PROC_CALL:
            write({request_.command, low(), high()});
            read(2);
            return 0;
        default:
            return prepare_block();
        }
    }

    int prepare_block() {
        switch (request_.size) {
        case I2C_SMBUS_BLOCK_DATA:
            if (!reads()) {
                return write_block();
            }
            write({request_.command});
            read(1, I2C_M_RECV_LEN);
            return 0;
        case I2C_SMBUS_BLOCK_PROC_CALL: {
            const int error = write_block();
            read(1, I2C_M_RECV_LEN);
            return error;
        }
        case I2C_SMBUS_I2C_BLOCK_DATA:
            if (data_.block[0] > I2C_SMBUS_BLOCK_MAX) {
                return EINVAL;
            }
            return command(data_.block[0], {data_.block + 1, data_.block + 1 + data_.block[0]});
        default:
            return EOPNOTSUPP;
        }
    }

    [[nodiscard]] uint8_t pec_of(uint8_t crc, const i2c_message &message, std::size_t length) const {
        crc = crc8(crc, static_cast<uint8_t>(message.address << 1 | (message.reads() ? 1 : 0)));
        for (const uint8_t byte : std::span(message.bytes).first(length)) {
            crc = crc8(crc, byte);
        }
        return crc;
    }

    void add_pec() {
        i2c_message &last = messages_.back();
        last.bytes.push_back(last.reads() ? uint8_t{0} : pec_of(0, last, last.bytes.size()));
    }

    bool check_pec() {
        uint8_t crc = 0;
        for (const i2c_message &message : messages_) {
            crc = pec_of(crc, message, message.bytes.size() - (&message == &messages_.back() ? 1 : 0));
        }
        const bool right = messages_.back().bytes.back() == crc;
        messages_.back().bytes.pop_back();
        return right;
    }

    int store_answer(const bytes &answer) {
        switch (request_.size) {
        case I2C_SMBUS_BYTE:
        case I2C_SMBUS_BYTE_DATA:
            data_.byte = answer[0];
            break;
        case I2C_SMBUS_WORD_DATA:
        case I2C_SMBUS_PROC_CALL:
            data_.word = static_cast<uint16_t>(answer[0] | answer[1] << 8);
            break;
        case I2C_SMBUS_I2C_BLOCK_DATA:
            std::ranges::copy(answer, data_.block + 1);
            break;
        case I2C_SMBUS_BLOCK_DATA:
        case I2C_SMBUS_BLOCK_PROC_CALL:
            std::ranges::copy(std::span(answer).first(1U + answer[0]), data_.block);
            break;
        default:
            break;
        }
        return 0;
    }

    const smbus_request &request_;
    i2c_smbus_data &data_;
    std::vector<i2c_message> messages_ = {};
};

} // namespace

int perform(adapter &bus, const smbus_request &request, i2c_smbus_data &data) {
    return transaction(request, data).run(bus);
}

} // namespace varnel::sim::device_files
