// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "varnel/platform.h"

namespace varnel::platform {

/// The table of controllers: a POSIX shared-memory object that a tool creates and daemons read.
///
/// A table never changes. The tool fills a new object and renames it over the old one, so a reader sees
/// either table, complete, and an import that is killed leaves the old one.

constexpr unsigned int controller_count = 257; ///< the SMC and 256 BMCs
constexpr const char *default_table_name = "/varnel-devices";
constexpr const char *table_name_variable = "VARNEL_DEVICE_TABLE"; ///< environment variable with another name
constexpr const char *shared_memory_directory = "/dev/shm";        ///< where the C library has such objects

/// One controller. All zero: not there.
struct controller_record {
    std::array<uint8_t, LOGIN_RECORD_SIZE> login; ///< the result of smc_get_shared_memory()
    uint8_t present;
    uint8_t cipher_suite;         ///< 0: 17, or 3 where 17 is refused
    std::array<char, 16> address; ///< dotted IPv4 text, terminated
    uint32_t give_up_after_ms;    ///< for a host that does not answer; 0: as the session's caller says
    uint32_t retransmit_after_ms; ///< 0 together with give_up_after_ms
};

struct controller_table {
    std::array<char, 8> magic;
    uint32_t version;
    uint32_t record_size;
    std::array<controller_record, controller_count> records;
};

// 32-bit and 64-bit programs read the same object.
static_assert(sizeof(controller_record) == 64 && offsetof(controller_table, records) == 16);
static_assert(sizeof(controller_table) == 16 + 64 * controller_count &&
              std::is_trivially_copyable_v<controller_table>);

constexpr std::array<char, 8> table_magic{'V', 'A', 'R', 'N', 'E', 'L', 'D', 'T'};
constexpr uint32_t table_version = 1;

/// The name of the table's shared-memory object: the environment's, or the default.
const char *table_name();

/// Why a table cannot be used; null when it can be used, and when there is none, which is not an error.
using complaint = const char *;

/// Reads controller `number`. `record` stays all zero when it is not there.
complaint read_controller(int number, controller_record &record);

/// Reads the first controller with this address. `record` stays all zero when there is none.
complaint find_controller(const char *address, controller_record &record);

} // namespace varnel::platform
