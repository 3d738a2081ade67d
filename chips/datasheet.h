// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace varnel::chips {

enum class access : uint8_t { read, write, read_write };

/// How the names of registers that share an entry end: not at all, "0" and up, or with the code ("0x14").
enum class numbering : uint8_t { none, from_zero, by_code };

/// Data bytes of a register that is read or written as a block, its length first.
inline constexpr unsigned int block = 0xFF;

/// A register, or a command of a chip that has commands. Consecutive ones of one kind share an entry.
struct chip_register {
    uint8_t code;
    std::string_view name; ///< as in the datasheet
    unsigned int count = 1;
    numbering numbers = numbering::none;
    access allowed = access::read_write;
    unsigned int bytes = 1; ///< of data; a word has the low byte first

    std::string_view unit{}; ///< "V"; empty for a plain number
    int decimals = 0;        ///< 2: a raw value of 1205 is 12.05
    bool has_sign = false;   ///< two's complement

    std::optional<unsigned int> power_on{};   ///< nothing: it depends on what surrounds the chip
    std::string_view values{};                ///< which ones it takes or gives, where not all
    std::span<const std::string_view> bits{}; ///< their names from bit 0 up; empty for a reserved one
};

/// What the maker of a chip tells about it.
struct datasheet {
    std::string_view type;                      ///< "pca9555"
    std::string_view title;                     ///< "GPIO expander, 16 pins"
    std::string_view source;                    ///< where the facts come from
    std::span<const chip_register> registers{}; ///< none: bytes are data, without a register in front
    unsigned int flags = 0;                     ///< bits of the command byte that select no register
    unsigned int channels = 0; ///< of a multiplexer: the last byte written opens those whose bits are set
};

/// The register that a command byte selects; null when there is none.
[[nodiscard]] const chip_register *find_register(const datasheet &sheet, uint8_t command);

/// Its name, such as "Output port 1"; empty when there is none.
[[nodiscard]] std::string register_name(const datasheet &sheet, uint8_t command);

} // namespace varnel::chips
