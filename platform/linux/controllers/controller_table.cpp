// SPDX-License-Identifier: Apache-2.0
#include "controllers/controller_table.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace varnel::platform {

namespace {

/// Reads with pread() instead of mapping: when another process truncates the object meanwhile, the read is
/// short, and SIGBUS does not end the daemon.
class table_reader {
  public:
    // O_NONBLOCK: any user may create a FIFO of this name when there is no table.
    table_reader() : descriptor_(shm_open(table_name(), O_RDONLY | O_NONBLOCK | O_CLOEXEC, 0)) {
        if (descriptor_ < 0) {
            problem_ = errno == ENOENT ? nullptr : std::strerror(errno);
        } else {
            problem_ = check();
            usable_ = problem_ == nullptr;
        }
    }
    ~table_reader() {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }
    table_reader(const table_reader &) = delete;
    table_reader &operator=(const table_reader &) = delete;

    [[nodiscard]] bool usable() const { return usable_; }
    [[nodiscard]] complaint problem() const { return problem_; }

    /// Reads `count` records, beginning with number `first`.
    bool read(std::size_t first, controller_record *records, std::size_t count) {
        const auto offset = static_cast<off_t>(offsetof(controller_table, records) + first * sizeof *records);
        if (fill(records, count * sizeof *records, offset)) {
            return true;
        }
        problem_ = "cut short";
        usable_ = false;
        return false;
    }

  private:
    bool fill(void *to, std::size_t size, off_t offset) const {
        return pread(descriptor_, to, size, offset) == static_cast<ssize_t>(size);
    }

    /// Passwords are read only from an object that no other user can have written or read.
    [[nodiscard]] complaint check() const {
        struct stat object {};
        if (fstat(descriptor_, &object) != 0) {
            return std::strerror(errno);
        }
        if (object.st_uid != 0 && object.st_uid != geteuid()) {
            return "belongs to another user";
        }
        if (!S_ISREG(object.st_mode)) {
            return "not a regular file";
        }
        if ((object.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
            return "open to other users (mode is not 0600)";
        }
        if (object.st_size != static_cast<off_t>(sizeof(controller_table))) {
            return "not the size of a controller table";
        }
        struct {
            std::array<char, 8> magic;
            uint32_t version;
            uint32_t record_size;
        } header{};
        if (!fill(&header, sizeof header, 0) || header.magic != table_magic) {
            return "not a controller table";
        }
        const bool ours = header.version == table_version && header.record_size == sizeof(controller_record);
        return ours ? nullptr : "a controller table of another version";
    }

    int descriptor_;
    bool usable_ = false;
    complaint problem_ = nullptr;
};

bool is_controller(const controller_record &record) {
    return record.present == 1 && std::memchr(record.address.data(), 0, record.address.size()) != nullptr;
}

} // namespace

const char *table_name() {
    const char *name = secure_getenv(table_name_variable);
    return name == nullptr || *name == '\0' ? default_table_name : name;
}

complaint read_controller(int number, controller_record &record) {
    record = {};
    if (number < 0 || number >= static_cast<int>(controller_count)) {
        return nullptr;
    }
    table_reader table;
    if (!table.usable() || !table.read(static_cast<std::size_t>(number), &record, 1) ||
        !is_controller(record)) {
        record = {};
    }
    return table.problem();
}

complaint find_controller(const char *address, controller_record &record) {
    record = {};
    table_reader table;
    std::array<controller_record, 32> some; // 2 KiB of the caller's stack
    for (std::size_t first = 0; table.usable() && first < controller_count; first += some.size()) {
        const std::size_t count = std::min<std::size_t>(some.size(), controller_count - first);
        if (!table.read(first, some.data(), count)) {
            break;
        }
        for (std::size_t i = 0; i < count; ++i) {
            if (is_controller(some[i]) && std::strcmp(some[i].address.data(), address) == 0) {
                record = some[i];
                return nullptr;
            }
        }
    }
    return table.problem();
}

} // namespace varnel::platform
