// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace varnel::platform {

/// Results of the three session functions other than 0 and completion codes (1 to 255). docs/porting.md lists
/// them.
enum class ipmi_status : uint16_t {
    success = 0,
    bad_argument = 0x0101,
    user_unknown = 0x0102,
    password_wrong = 0x0103,
    privilege_refused = 0x0104,
    cipher_suite_refused = 0x0105,
    no_answer = 0x0106,
    unreachable = 0x0107,
    busy = 0x0108,
    out_of_memory = 0x0109,
    answer_too_long = 0x010A,
    not_open = 0x010B,
    failed = 0x010C,
};

/// The status for an error number of libfreeipmi (IPMI_ERR_*).
ipmi_status status_of_error(int error);

} // namespace varnel::platform
