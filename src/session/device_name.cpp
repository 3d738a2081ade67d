// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "varnel/ipmi_relay.h"

namespace {

using field_text = std::array<char, DEVICE_NAME_SIZE>;

bool skip_to(std::FILE *file, char start, int32_t nth) {
    int64_t seen = 0;
    for (int c = getc_unlocked(file); c != EOF; c = getc_unlocked(file)) {
        if (static_cast<char>(c) == start && ++seen == nth) {
            return true;
        }
    }
    return false;
}

/// Does not check for the end of the file: every character after it is EOF, as a byte 0xFF.
void read_field(std::FILE *file, char end, field_text &field) {
    for (std::size_t i = 0; i + 1 < field.size(); ++i) {
        const auto c = static_cast<char>(getc_unlocked(file));
        if (c == end) {
            return;
        }
        field[i] = c;
    }
}

} // namespace

int get_device_name(const char *path, char start, char end, char *dst, int32_t nth) {
    std::FILE *file = std::fopen(path, "r");
    if (file == nullptr) {
        return -1;
    }
    field_text field{};
    if (skip_to(file, start, nth)) {
        read_field(file, end, field);
    }
    std::memcpy(dst, field.data(), std::strlen(field.data()) + 1);
    std::fclose(file);
    return 0;
}
