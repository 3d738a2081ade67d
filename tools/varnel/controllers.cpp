// SPDX-License-Identifier: Apache-2.0
// varnel controllers: the table of controllers that the platform library reads addresses and logins from.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>

#include <fmt/format.h>

#include "host/input_file.h"
#include "tools/varnel/controller_admin/controller_ini.h"
#include "tools/varnel/controller_admin/controller_table_file.h"
#include "tools/varnel/json_text.h"
#include "tools/varnel/report.h"
#include "tools/varnel/verb.h"

namespace varnel::tools {

namespace {

using platform::controller_record;

controller_records read_file(const std::string &path) {
    std::istringstream text(input_file(path).content());
    return read_controller_ini(text, shown_name(path));
}

void import_file(const std::string &path) {
    const controller_records records = read_file(path);
    publish_controller_table(records, platform::table_name());
    const auto count = std::ranges::count(records, 1, &controller_record::present);
    print(fmt::format("{} controllers in {}\n", count, platform::table_name()));
}

std::string seconds(uint32_t milliseconds) {
    return milliseconds == 0 ? "caller's" : fmt::format("{:.3g}s", milliseconds / 1000.0);
}

std::string suites(uint8_t suite) { return suite == 0 ? "17,3" : fmt::to_string(suite); }

/// Never the password.
class controller_list {
  public:
    void add(unsigned int number, const controller_record &controller) {
        using namespace platform;
        const std::string user(login_text(controller, LOGIN_USER_NAME_OFFSET, LOGIN_USER_NAME_SIZE));
        const bool has_password = controller.login[LOGIN_PASSWORD_OFFSET] != 0;
        rows_.add({controller_name(number), controller.address.data(), user, has_password ? "set" : "none",
                   suites(controller.cipher_suite), seconds(controller.give_up_after_ms),
                   seconds(controller.retransmit_after_ms)});
        objects_.push_back({{"controller", controller_name(number)},
                            {"address", controller.address.data()},
                            {"user", user},
                            {"password_set", has_password},
                            {"cipher_suite", number_or_null(controller.cipher_suite)},
                            {"give_up_after_ms", number_or_null(controller.give_up_after_ms)},
                            {"retransmit_after_ms", number_or_null(controller.retransmit_after_ms)}});
    }
    [[nodiscard]] std::string text(const invocation &call) const {
        return call.json ? json_text(objects_) : rows_.text();
    }

  private:
    static json number_or_null(uint32_t number) { return number == 0 ? json(nullptr) : json(number); }

    table rows_{{"CONTROLLER", "ADDRESS", "USER", "PASSWORD", "SUITE", "GIVE-UP", "RETRANSMIT"}};
    json objects_ = json::array();
};

void list(const invocation &call) {
    const controller_records records = read_controller_table();
    controller_list all;
    for (unsigned int i = 0; i < records.size(); ++i) {
        if (records[i].present != 0) {
            all.add(i, records[i]);
        }
    }
    print(all.text(call));
}

struct options {
    std::string file;
};

} // namespace

void add_controllers(argument_parser app, invocation &call) {
    verbs<options> controllers(app, call, "controllers",
                               "The table of controllers, with their addresses and logins");
    controllers.family().alias("devices");
    controllers.family().add_note(
        fmt::format("The table is the POSIX shared-memory object {}, or the one named in {}.",
                    platform::default_table_name, platform::table_name_variable));
    const auto importing = controllers.add("import", "Replace the table by that of an INI file",
                                           [](const options &given) { import_file(given.file); });
    importing.parser.add_option("FILE", importing.given.file, "the INI file; - is standard input").required();
    const auto listing = controllers.add("list", "Show the table, without passwords",
                                         [](const auto &asked, const options &) { list(asked); });
    add_json(listing.parser, call);
}

} // namespace varnel::tools
