// SPDX-License-Identifier: Apache-2.0
// Any bytes instead of the controller table: daemons get the records of a valid table with mode 0600; any
// other object is refused with one log line.

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <fuzzer/FuzzedDataProvider.h>

#include "own_table.h"
#include "require.h"
#include "tools/varnel/controller_admin/controller_table_file.h"
#include "varnel/platform.h"

namespace {

using varnel::test::require;
using namespace varnel::platform;
using namespace varnel::tools;

int complaints = 0;

} // namespace

extern "C" void vsyslog(int, const char *, va_list) { ++complaints; }

namespace {

/// The shared-memory object with the table's name.
class table_object {
  public:
    table_object() {
        descriptor_ = shm_open(name_.text().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        require(descriptor_ >= 0, "shm_open");
    }
    ~table_object() { close(descriptor_); }
    table_object(const table_object &) = delete;
    table_object &operator=(const table_object &) = delete;

    void rewrite(const std::string &bytes, mode_t mode) const {
        require(ftruncate(descriptor_, 0) == 0 && fchmod(descriptor_, mode) == 0, "the object");
        require(pwrite(descriptor_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()),
                "the object's bytes");
    }

  private:
    varnel::test::own_table_name name_;
    int descriptor_ = -1;
};

bool is_valid_table(const std::string &bytes, mode_t mode) {
    const std::string header{'V', 'A', 'R', 'N', 'E', 'L', 'D', 'T', 1, 0, 0, 0, 64, 0, 0, 0};
    return mode == 0600 && bytes.size() == sizeof(controller_table) && bytes.starts_with(header);
}

/// Whether a record may be returned to daemons.
bool is_valid_record(const std::string &record) {
    const std::string address = record.substr(offsetof(controller_record, address), 16);
    return record[offsetof(controller_record, present)] == 1 && address.find('\0') != std::string::npos;
}

/// The expected record, or zeros when daemons get none.
std::string record_in(const std::string &bytes, bool usable, int number) {
    std::string record(sizeof(controller_record), '\0');
    if (usable && number >= 0 && number < static_cast<int>(controller_count)) {
        const std::size_t place = static_cast<std::size_t>(number) * sizeof(controller_record);
        const std::string stored = bytes.substr(offsetof(controller_table, records) + place, record.size());
        record = is_valid_record(stored) ? stored : record;
    }
    return record;
}

void check_controller(int number, const std::string &record) {
    const bool found = record[offsetof(controller_record, present)] != 0;
    const std::string login = record.substr(0, sizeof(controller_record::login));
    require(std::memcmp(smc_get_shared_memory(number), login.data(), login.size()) == 0, "the login");

    std::array<char, 20> ip{};
    require(get_device_ip(number, ip.data()) == (found ? 0 : -1), "get_device_ip's result");
    const std::string address = &record[offsetof(controller_record, address)];
    require(ip.data() == (found ? address : "0.0.0.0"), "the address");

    controller_record by_address{};
    require(find_controller(address.c_str(), by_address) == nullptr || !found, "a table in order");
    require(!found || address == by_address.address.data(), "the controller with an address");
}

void check_command(const std::string &bytes, bool usable) {
    try {
        const controller_records records = read_controller_table();
        require(usable, "the command refuses what daemons do");
        for (int number = 0; number < static_cast<int>(controller_count); ++number) {
            const std::string record = record_in(bytes, usable, number);
            require(std::memcmp(&records[static_cast<std::size_t>(number)], record.data(), record.size()) ==
                        0,
                    "the command's record");
        }
    } catch (const controller_error &) {
        require(!usable, "the command reads what daemons do");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    static const table_object object;
    FuzzedDataProvider input(data, size);
    // Numbers come from the end of the input, the object from its beginning.
    const mode_t mode = input.PickValueInArray<mode_t>({0600, 0600, 0600, 0640, 0604});
    const bool has_its_size = input.PickValueInArray({true, true, true, false});
    const int number = input.PickValueInArray({0, 1, 2, 256, -1, 257});
    const bool asks_command = input.ConsumeIntegralInRange(0, 15) == 0;
    std::string bytes = input.ConsumeRemainingBytesAsString();
    if (has_its_size) {
        bytes.resize(sizeof(controller_table)); // seeds hold the first few records
    }
    object.rewrite(bytes, mode);

    const bool usable = is_valid_table(bytes, mode);
    complaints = 0;
    check_controller(number, record_in(bytes, usable, number));
    require(complaints <= (usable ? 0 : 1), "at most one log line");
    if (asks_command) { // reads all records
        check_command(bytes, usable);
    }
    return 0;
}
