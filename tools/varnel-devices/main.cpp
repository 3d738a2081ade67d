// SPDX-License-Identifier: Apache-2.0
// varnel-devices: fills the table of controllers from an INI file, and shows it without its passwords.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include "device_ini.h"
#include "device_table_file.h"

namespace {

using namespace varnel::tools;
namespace platform = varnel::platform;

constexpr int exit_bad_input = 2;

device_records read_file(const std::string &path) {
    if (path == "-") {
        return read_device_ini(stdin, "standard input");
    }
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> file(std::fopen(path.c_str(), "re"), std::fclose);
    if (file == nullptr) {
        throw device_error(path + ": " + std::strerror(errno));
    }
    return read_device_ini(file.get(), path);
}

void import_file(const std::string &path) {
    const device_records records = read_file(path);
    publish_device_table(records, platform::table_name());
    int count = 0;
    for (const platform::device_record &record : records) {
        count += record.present;
    }
    std::printf("%d controllers in %s\n", count, platform::table_name());
}

std::string seconds(uint32_t milliseconds) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%.3gs", milliseconds / 1000.0);
    return milliseconds == 0 ? "caller's" : text.data();
}

void print_device(unsigned int number, const platform::device_record &record) {
    using namespace platform;
    const std::string user(login_text(record, user_name_offset, user_name_size));
    const bool has_password = record.login[password_offset] != 0;
    const std::string suite = record.cipher_suite == 0 ? "17,3" : std::to_string(record.cipher_suite);
    std::printf("%-7s %-15s %-16s %-8s %-6s %-10s %s\n", device_name(number).c_str(), record.address.data(),
                user.c_str(), has_password ? "set" : "none", suite.c_str(),
                seconds(record.give_up_after_ms).c_str(), seconds(record.retransmit_after_ms).c_str());
}

void list_table() {
    const device_records records = read_device_table();
    std::printf("%-7s %-15s %-16s %-8s %-6s %-10s %s\n", "DEVICE", "ADDRESS", "USER", "PASSWORD", "SUITE",
                "GIVE-UP", "RETRANSMIT");
    for (unsigned int i = 0; i < records.size(); ++i) {
        if (records[i].present != 0) {
            print_device(i, records[i]);
        }
    }
}

int run(int argc, char **argv) {
    CLI::App app("The table of controllers that the platform library reads logins and addresses from.");
    app.require_subcommand(1);
    app.footer(std::string("The table is the POSIX shared-memory object ") + platform::default_table_name +
               ", or the one named in " + platform::table_name_variable + ".");
    std::string path;
    CLI::App *const import_verb = app.add_subcommand("import", "Replace the table by what an INI file says");
    import_verb->add_option("FILE", path, "the INI file; - is standard input")->required();
    CLI::App *const list_verb = app.add_subcommand("list", "Show the table, without passwords");
    import_verb->callback([&] { import_file(path); });
    list_verb->callback(list_table);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        std::fputs(app.help().c_str(), stdout);
    } catch (const CLI::ParseError &error) {
        throw device_error(error.what());
    }
    return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char **argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "varnel-devices: %s\n", error.what());
        return exit_bad_input;
    }
}
