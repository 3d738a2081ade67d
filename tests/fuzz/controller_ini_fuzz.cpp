// SPDX-License-Identifier: Apache-2.0
// Any description of the controllers: refused with file and line, or a table that daemons read unchanged.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <utility>

#include <arpa/inet.h>

#include "host/ini_file.h"
#include "own_table.h"
#include "refusal.h"
#include "require.h"
#include "tools/varnel/controller_admin/controller_table_file.h"

namespace {

using namespace varnel::test;
using namespace varnel::platform;
using namespace varnel::tools;

void check_record(const controller_record &record) {
    if (record.present == 0) {
        const controller_record nothing{};
        require(std::memcmp(&record, &nothing, sizeof record) == 0, "no controller, no record");
        return;
    }
    in_addr address{};
    require(record.present == 1 && inet_pton(AF_INET, record.address.data(), &address) == 1, "the address");
    require(record.retransmit_after_ms <= record.give_up_after_ms && record.give_up_after_ms <= 600'000 &&
                (record.retransmit_after_ms == 0) == (record.give_up_after_ms == 0),
            "the times");
}

/// Publishes the records, if there are any, and reads those as daemons do.
void check_table(const controller_records &records, const std::string &name) {
    bool is_published = false;
    for (std::size_t number = 0; number < records.size(); ++number) {
        if (records[number].present == 0) {
            continue;
        }
        if (!std::exchange(is_published, true)) {
            publish_controller_table(records, name);
        }
        controller_record read{};
        require(read_controller(static_cast<int>(number), read) == nullptr &&
                    std::memcmp(&read, &records[number], sizeof read) == 0,
                "read as written");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    static const own_table_name name;
    const std::string text(reinterpret_cast<const char *>(data), size);
    std::istringstream input(text);
    try {
        const controller_records records = read_controller_ini(input, "controllers.ini");
        std::ranges::for_each(records, check_record);
        check_table(records, name.text());
    } catch (const varnel::host::bad_line &refusal) {
        require_place(refusal.what(), "controllers.ini", text);
    }
    return 0;
}
