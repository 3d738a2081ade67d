// SPDX-License-Identifier: Apache-2.0
#include "sim/models/pmbus_port.h"

#include <algorithm>
#include <utility>

#include "sim/models/fault_latches.h"
#include "sim/models/packet_error_code.h"

namespace varnel::sim {

using chips::access;

namespace {

constexpr uint8_t address_byte(uint8_t address, direction way) {
    return static_cast<uint8_t>(unsigned{address} << 1U | (way == direction::read ? 1U : 0U));
}

} // namespace

std::size_t pmbus_port::question_size(uint8_t /*command*/) const { return 0; }

void pmbus_port::forget_transfer() {
    command_ = nullptr;
    data_.clear();
}

bool pmbus_port::start(direction way) {
    if (way == direction::read) {
        return begin_reading();
    }
    finish_write();
    pec_ = crc8(0, address_byte(address_, direction::write));
    pec_taken_ = false;
    command_follows_ = true;
    return true;
}

/// How many bytes after the command the master may write, without a packet error code.
std::size_t pmbus_port::size_of_write() const {
    const std::size_t question = question_size(command_->code);
    return question == 0 && command_->allowed != access::read ? command_->bytes : question;
}

bool pmbus_port::is_asked() const {
    return command_ != nullptr && data_.size() == question_size(command_->code);
}

/// The read half of a command. Without a command there is nothing to read, but a master that looks who is
/// there gets an answer.
bool pmbus_port::begin_reading() {
    if (!is_asked()) {
        finish_write();
        return true;
    }
    const bool readable = command_->allowed != access::write;
    const bool well_asked = data_.empty() || data_.front() == data_.size() - 1;
    if (readable && well_asked) {
        prepare_answer();
    } else {
        communication_fault(readable ? invalid_data : invalid_command);
        data_.clear();
    }
    command_ = nullptr;
    return readable && well_asked;
}

/// The value, low byte first, and the packet error code; in reverse, because they are taken from the back.
void pmbus_port::prepare_answer() {
    const bool is_block = command_->bytes == chips::block || !data_.empty();
    const std::span<const uint8_t> question = std::span(data_).subspan(data_.empty() ? 0 : 1);
    std::vector<uint8_t> sent = answer(*command_, question);
    if (is_block) {
        sent.insert(sent.begin(), static_cast<uint8_t>(sent.size()));
    }
    pec_ = crc8(pec_, address_byte(address_, direction::read));
    for (const uint8_t byte : sent) {
        pec_ = crc8(pec_, byte);
    }
    sent.push_back(pec_);
    std::ranges::reverse(sent);
    data_ = std::move(sent);
}

void pmbus_port::send_address() {
    finish_write();
    const uint8_t own = address_byte(address_, direction::write);
    data_ = {crc8(crc8(0, address_byte(alert_response_address, direction::read)), own), own};
}

bool pmbus_port::write(uint8_t byte) {
    const uint8_t expected_pec = std::exchange(pec_, crc8(pec_, byte));
    if (command_follows_) {
        command_follows_ = false;
        return select(byte);
    }
    if (command_ == nullptr) {
        return false;
    }
    const std::size_t room = size_of_write();
    if (command_->allowed != access::read && data_.size() == room && !pec_taken_) {
        return take_pec(byte == expected_pec);
    }
    data_.push_back(byte);
    return data_.size() <= room;
}

bool pmbus_port::select(uint8_t code) {
    command_ = chips::find_register(commands_, code);
    if (command_ == nullptr) {
        communication_fault(invalid_command);
    }
    return command_ != nullptr;
}

/// The byte after the data of a write. If it is wrong, the write is ignored.
bool pmbus_port::take_pec(bool right) {
    pec_taken_ = true;
    if (!right) {
        communication_fault(packet_error_check_failed);
        forget_transfer();
    }
    return right;
}

/// After the packet error code there is FF, and a fault.
uint8_t pmbus_port::read() {
    if (data_.empty()) {
        communication_fault(other_communication_fault);
        return 0xFF;
    }
    const uint8_t byte = data_.back();
    data_.pop_back();
    return byte;
}

void pmbus_port::stop() { finish_write(); }

/// A write takes effect when it is complete. One of the wrong length does nothing but tell.
void pmbus_port::finish_write() {
    if (command_ != nullptr) {
        const std::size_t room = size_of_write();
        if (command_->allowed == access::read) {
            communication_fault(data_.size() <= room ? other_communication_fault : invalid_command);
        } else if (data_.size() != room) {
            communication_fault(other_communication_fault);
        } else {
            const unsigned int low = data_.empty() ? 0 : data_.front();
            execute(command_->code, data_.size() == 2 ? low | data_.back() * 256U : low);
        }
    }
    forget_transfer();
}

std::vector<uint8_t> low_byte_first(unsigned int value, unsigned int bytes) {
    std::vector<uint8_t> data;
    for (unsigned int i = 0; i < bytes; ++i) {
        data.push_back(static_cast<uint8_t>(value >> 8U * i));
    }
    return data;
}

} // namespace varnel::sim
