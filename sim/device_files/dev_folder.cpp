// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/dev_folder.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

#include <dirent.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace varnel::sim::device_files {

namespace {

constexpr std::size_t name_offset = offsetof(dirent64, d_name);
constexpr std::size_t alignment = 8;
/// Of an entry with the longest name.
constexpr std::size_t largest_entry = 280;

void append_entry(std::vector<uint8_t> &entries, const device_node &node) {
    const std::string name = name_of(node);
    dirent64 entry{};
    const std::size_t size = (name_offset + name.size() + alignment) / alignment * alignment;
    entry.d_ino = status_of(node).st_ino;
    entry.d_reclen = static_cast<unsigned short>(size);
    entry.d_type = DT_CHR;
    std::ranges::copy(name, entry.d_name);
    const auto *const bytes = reinterpret_cast<const uint8_t *>(&entry);
    entries.insert(entries.end(), bytes, bytes + size);
}

/// Appends those of the machine's entries that are no I2C bus and no GPIO chip.
void append_others(std::vector<uint8_t> &entries, std::span<const uint8_t> machine) {
    while (!machine.empty()) {
        unsigned short size = 0;
        std::memcpy(&size, machine.data() + offsetof(dirent64, d_reclen), sizeof size);
        if (!names_device(reinterpret_cast<const char *>(machine.data() + name_offset))) {
            entries.insert(entries.end(), machine.begin(), machine.begin() + size);
        }
        machine = machine.subspan(size);
    }
}

} // namespace

std::optional<std::vector<uint8_t>> read_dev_folder(int folder, std::size_t size,
                                                    std::span<const device_node> nodes) {
    std::vector<uint8_t> entries;
    if (lseek(folder, 0, SEEK_CUR) == 0) {
        for (const device_node &node : nodes) {
            append_entry(entries, node);
        }
    }
    if (entries.size() + largest_entry > size) {
        entries.clear(); // such a small buffer gets the machine's names only
    }
    std::vector<uint8_t> machine(size - entries.size());
    do {
        const long read = syscall(SYS_getdents64, folder, machine.data(), machine.size());
        if (read < 0) {
            return std::nullopt;
        }
        append_others(entries, std::span(machine).first(static_cast<std::size_t>(read)));
        if (read == 0) {
            break;
        }
    } while (entries.empty());
    return entries;
}

} // namespace varnel::sim::device_files
