// SPDX-License-Identifier: Apache-2.0
#pragma once

/**
 * @file
 * What programs and commands say to the server of a board, over a Unix socket of type SOCK_SEQPACKET: each
 * message is one packet, and every request is answered by one reply. Numbers are little-endian and of the
 * same width on every machine, so that a 32-bit program talks to a 64-bit server.
 *
 * Transfers: a transfer_header, then the bytes to write; answered by a reply_header, then the bytes read.
 * Combined transfers, with one STOP at the end: a transfer_header of message_kind::combined whose write_length is
 * the number of parts, and whose address says with bits of combined_place whether more messages belong to the transfer;
 * each part is a part_header and the bytes to write. Answered by a reply_header, whose result is the number of parts
 * done, or -1, and for each part done that reads a 16-bit length and the bytes read. Between the messages of a transfer
 * the server answers nobody else; after a second, or a failure, it ends the transfer, and what continues it fails.
 * GPIO: a gpio_header, then the structure of the request; answered by a reply_header, whose result is 0 or -1, and the
 * structure to be stored. The server sends a gpio_event_header and a structure for the program to read, at any time.
 * Both ends are on one machine, so structures are as they are in memory.
 * Control: one byte message_kind::control, then JSON; answered by the same (see sim/server/server.h).
 * Refusal: a server that cannot take a connection sends a reply_header of message_kind::refusal and closes
 * the connection without reading from it.
 */

#include <array>
#include <cstddef>
#include <cstdint>

namespace varnel::sim {

enum class message_kind : uint8_t {
    write = 1,
    read = 2,
    write_read = 3,
    control = 4,
    reply = 5,
    refusal = 6,
    combined = 7,
    gpio = 8,
    gpio_event = 9
};

/// Where the message of a combined transfer is in the transfer.
enum combined_place : uint8_t { continues_transfer = 1, does_not_end_transfer = 2 };

/// Changes with the layout of the messages: a library and a server of different versions refuse each other.
inline constexpr uint8_t protocol_version = 1;

/// The most that a transfer moves in each direction.
inline constexpr std::size_t largest_transfer = 65535;

/// What a message_kind::refusal means, for a line that names the board.
inline constexpr const char *refusal_reason =
    "takes no more connections: its server has reached its limit of open files (ulimit -n)";

struct transfer_header {
    message_kind kind;
    uint8_t version;
    uint8_t adapter;
    uint8_t address;
    uint16_t write_length;
    uint16_t read_length;

    static constexpr std::size_t size = 8;
};

/// A write, a read or a write-read to one address.
struct part_header {
    message_kind kind;
    bool counted; ///< the first byte read says how many more follow read_length
    uint8_t address;
    uint16_t write_length;
    uint16_t read_length;

    static constexpr std::size_t size = 8;
};

/// A request of linux/gpio.h.
struct gpio_header {
    message_kind kind;
    uint8_t version;
    uint32_t request;
    int32_t pid; ///< process that it is for

    static constexpr std::size_t size = 12;
};

/// What a program is to read from an open GPIO file.
struct gpio_event_header {
    message_kind kind;
    bool drops_oldest; ///< when `capacity` structures are waiting: the oldest one, else this one
    uint16_t capacity;

    static constexpr std::size_t size = 4;
};

struct reply_header {
    message_kind kind;
    uint8_t version;
    int32_t result;       ///< of the I2C primitive
    int32_t error;        ///< errno, or 0
    uint16_t read_length; ///< bytes that follow

    static constexpr std::size_t size = 12;
};

namespace wire {

constexpr uint8_t byte_of(uint32_t value, unsigned int index) {
    return static_cast<uint8_t>(value >> (8 * index));
}

constexpr uint16_t number16(const uint8_t *bytes) { return static_cast<uint16_t>(bytes[0] | bytes[1] << 8); }

constexpr int32_t number32(const uint8_t *bytes) {
    return static_cast<int32_t>(uint32_t{number16(bytes)} | uint32_t{number16(bytes + 2)} << 16);
}

} // namespace wire

constexpr std::array<uint8_t, transfer_header::size> encode(const transfer_header &header) {
    return {static_cast<uint8_t>(header.kind),
            header.version,
            header.adapter,
            header.address,
            wire::byte_of(header.write_length, 0),
            wire::byte_of(header.write_length, 1),
            wire::byte_of(header.read_length, 0),
            wire::byte_of(header.read_length, 1)};
}

constexpr transfer_header decode_transfer(const uint8_t *bytes) {
    return {message_kind{bytes[0]},   bytes[1], bytes[2], bytes[3], wire::number16(bytes + 4),
            wire::number16(bytes + 6)};
}

constexpr std::array<uint8_t, part_header::size> encode(const part_header &header) {
    return {static_cast<uint8_t>(header.kind),
            static_cast<uint8_t>(header.counted ? 1 : 0),
            header.address,
            0,
            wire::byte_of(header.write_length, 0),
            wire::byte_of(header.write_length, 1),
            wire::byte_of(header.read_length, 0),
            wire::byte_of(header.read_length, 1)};
}

constexpr part_header decode_part(const uint8_t *bytes) {
    return {message_kind{bytes[0]}, bytes[1] != 0, bytes[2], wire::number16(bytes + 4),
            wire::number16(bytes + 6)};
}

constexpr std::array<uint8_t, gpio_header::size> encode(const gpio_header &header) {
    const auto pid = static_cast<uint32_t>(header.pid);
    return {static_cast<uint8_t>(header.kind),
            header.version,
            0,
            0,
            wire::byte_of(header.request, 0),
            wire::byte_of(header.request, 1),
            wire::byte_of(header.request, 2),
            wire::byte_of(header.request, 3),
            wire::byte_of(pid, 0),
            wire::byte_of(pid, 1),
            wire::byte_of(pid, 2),
            wire::byte_of(pid, 3)};
}

constexpr gpio_header decode_gpio(const uint8_t *bytes) {
    return {message_kind{bytes[0]}, bytes[1], static_cast<uint32_t>(wire::number32(bytes + 4)),
            wire::number32(bytes + 8)};
}

constexpr std::array<uint8_t, gpio_event_header::size> encode(const gpio_event_header &header) {
    return {static_cast<uint8_t>(header.kind), static_cast<uint8_t>(header.drops_oldest ? 1 : 0),
            wire::byte_of(header.capacity, 0), wire::byte_of(header.capacity, 1)};
}

constexpr gpio_event_header decode_gpio_event(const uint8_t *bytes) {
    return {message_kind{bytes[0]}, bytes[1] != 0, wire::number16(bytes + 2)};
}

constexpr std::array<uint8_t, reply_header::size> encode(const reply_header &header) {
    const auto result = static_cast<uint32_t>(header.result);
    const auto error = static_cast<uint32_t>(header.error);
    return {static_cast<uint8_t>(header.kind),
            header.version,
            wire::byte_of(header.read_length, 0),
            wire::byte_of(header.read_length, 1),
            wire::byte_of(result, 0),
            wire::byte_of(result, 1),
            wire::byte_of(result, 2),
            wire::byte_of(result, 3),
            wire::byte_of(error, 0),
            wire::byte_of(error, 1),
            wire::byte_of(error, 2),
            wire::byte_of(error, 3)};
}

constexpr reply_header decode_reply(const uint8_t *bytes) {
    return {message_kind{bytes[0]}, bytes[1], wire::number32(bytes + 4), wire::number32(bytes + 8),
            wire::number16(bytes + 2)};
}

} // namespace varnel::sim
