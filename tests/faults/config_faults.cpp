// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "faults/faults.h"
#include "varnel/iniparser.h"
#include "varnel/ipmi_relay.h"
#include "varnel/logparser.h"

namespace varnel::test {
namespace {

const std::string settings = "[S]\nfirst=on\nk=12\nlast=value\n";

class config_faults : public faults {
  protected:
    using setter = std::function<int32_t(const char *)>;

    /// The file has the new text or, after -1, the old one. `alone` is what the setter writes into a new file.
    void try_setter(const std::string &before, const std::string &after, const std::string &alone,
                    const setter &set) {
        const auto prepare = [=, this] { write_file(ini(), before); };
        const auto call = [=, this](answer &said) { said.numbers[0] = set(ini().c_str()); };
        const scenario what{prepare, call, [=, this](run &r) { judge_setter(r, before, after, alone); },
                            ini()};
        try_all(what);
        judge_power_failures(versions(what, ini()), before, after);
    }

    void try_getter(const std::function<void(answer &)> &get, const std::string &expected, int64_t number) {
        try_all({[this] { write_file(ini(), settings); }, get,
                 [=, this](run &r) {
                     EXPECT_EQ(read_file(ini()), settings);
                     if (r.killed()) {
                         return;
                     }
                     EXPECT_EQ(r.said.numbers[0], r.failed("openat") || failed_read(r) ? -1 : 0);
                     const bool found = r.said.numbers[0] == 0;
                     EXPECT_EQ(r.said.text.data(), found ? expected : "kept");
                     EXPECT_EQ(r.said.numbers[1], found ? number : 77);
                 },
                 ini()});
    }

    [[nodiscard]] std::string ini() const { return path("settings.ini"); }

  private:
    /// A read that a signal interrupted is made again.
    static bool failed_read(const run &r) { return r.failed("read") && r.error() != EINTR; }

    void judge_setter(run &r, const std::string &before, const std::string &after,
                      const std::string &alone) const {
        const std::string now = read_file(ini()).value();
        if (r.killed()) {
            EXPECT_TRUE(without_empty_lines(now) == without_empty_lines(before) ||
                        without_empty_lines(now) == without_empty_lines(after))
                << now;
            return;
        }
        const bool counts_as_missing = r.failed("openat", 0) && (r.error() == ENOENT || r.error() == EACCES);
        const bool close_failed = r.failed("close", 1); // the first close is of the file that was read
        if (r.said.numbers[0] == 0) {
            EXPECT_EQ(now, counts_as_missing ? alone : after);
            EXPECT_TRUE(r.error() == 0 || r.error() == EINTR || r.failed("close", 0) || counts_as_missing);
        } else {
            EXPECT_EQ(r.said.numbers[0], -1);
            EXPECT_EQ(now, close_failed ? after : before);
            EXPECT_FALSE(r.undisturbed());
        }
    }

    /// What a file system may keep of a file of one block: the block as it was at any time, and the size that the file had at
    /// any time, with NULs where the block had not been so long.
    static void judge_power_failures(const std::vector<std::string> &versions, const std::string &before,
                                     const std::string &after) {
        for (const std::string &block : versions) {
            for (const std::string &size : versions) {
                std::string left = block;
                left.resize(size.size());
                EXPECT_TRUE(is_old_or_new(left, before) || is_old_or_new(left, after)) << left;
            }
        }
    }

    /// Whether it is that text, with empty lines or NULs after it, or its beginning.
    static bool is_old_or_new(const std::string &left, const std::string &text) {
        return text.starts_with(left) ||
               (left.starts_with(text) &&
                left.find_first_not_of(std::string("\n\0", 2), text.size()) == std::string::npos);
    }

    static std::string without_empty_lines(const std::string &text) {
        return text.substr(0, text.find_last_not_of('\n') + 1);
    }
};

TEST_F(config_faults, get_config_string) {
    try_getter(
        [this](answer &said) {
            said.say("kept");
            said.numbers = {get_config_string(ini().c_str(), "S", "last", said.text.data()), 77};
        },
        "value", 77);
}

TEST_F(config_faults, get_config_integer) {
    try_getter(
        [this](answer &said) {
            int32_t number = 77;
            said.numbers[0] = get_config_integer(ini().c_str(), "S", "k", 10, &number);
            said.numbers[1] = number;
            said.say(said.numbers[0] == 0 ? "" : "kept");
        },
        "", 12);
}

TEST_F(config_faults, get_config_boolean) {
    try_getter(
        [this](answer &said) {
            int32_t truth = 77;
            said.numbers[0] = get_config_boolean(ini().c_str(), "S", "first", &truth);
            said.numbers[1] = truth;
            said.say(said.numbers[0] == 0 ? "" : "kept");
        },
        "", 0);
}

TEST_F(config_faults, set_config_string) {
    const auto set = [](const char *value) {
        return [value](const char *path) { return set_config_string(path, "S", "k", value); };
    };
    try_setter(settings, "[S]\nfirst=on\nk=a longer value\nlast=value\n", "\n[S]\nk=a longer value\n",
               set("a longer value"));
    try_setter(settings, "[S]\nfirst=on\nk=\nlast=value\n", "\n[S]\nk=\n", set(""));
    try_setter(settings, "[S]\nfirst=on\nk=34\nlast=value\n", "\n[S]\nk=34\n", set("34"));
}

TEST_F(config_faults, set_section_string) {
    const auto set = [](const char *path) { return set_section_string(path, "S", "other"); };
    try_setter(settings, "[[other]\nfirst=on\nk=12\nlast=value\n", "\n[other]\n", set);
}

TEST_F(config_faults, log_styled_file_parse) {
    constexpr int records = 1500; // several reads
    const auto table = std::make_unique<TABLE>();
    std::string text;
    for (int i = 0; i < records; ++i) {
        text += std::to_string(i) + ",b\n";
    }
    try_all({[&] { write_file(path("records"), text); },
             [&](answer &said) {
                 table->count = -1;
                 said.numbers[0] = log_styled_file_parse(path("records").c_str(), ",", 2, table.get());
                 said.numbers[1] = table->count;
                 while (said.numbers[2] < table->count &&
                        table->records[said.numbers[2]].tokens[0] == std::to_string(said.numbers[2])) {
                     ++said.numbers[2];
                 }
             },
             [&](run &r) {
                 EXPECT_EQ(read_file(path("records")), text);
                 if (r.killed()) {
                     return;
                 }
                 EXPECT_EQ(r.said.numbers[0], r.failed("openat") || r.failed("read") ? -1 : 0);
                 if (r.failed("openat")) {
                     EXPECT_EQ(r.said.numbers[1], -1); // untouched
                     return;
                 }
                 EXPECT_EQ(r.said.numbers[2], r.said.numbers[1]); // those that are counted are right
                 EXPECT_TRUE(r.failed("read") || r.said.numbers[1] == records);
             },
             path("records")});
}

TEST_F(config_faults, get_device_name) {
    try_all(
        {[&] { write_file(path("slots"), std::string(9000, '#') + "<cpu> <fan>"); },
         [&](answer &said) {
             said.say("kept");
             said.numbers[0] = get_device_name(path("slots").c_str(), '<', '>', said.text.data(), 2);
         },
         [&](run &r) {
             if (r.killed()) {
                 return;
             }
             EXPECT_EQ(r.said.numbers[0], r.failed("openat") ? -1 : 0);
             EXPECT_STREQ(r.said.text.data(), r.failed("openat") ? "kept" : r.failed("read") ? "" : "fan");
         },
         path("slots")});
}

} // namespace
} // namespace varnel::test
