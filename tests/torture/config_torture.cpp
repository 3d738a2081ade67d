// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "torture/torture.h"
#include "varnel/iniparser.h"
#include "varnel/logparser.h"

namespace {

using namespace varnel::test;

const std::string padding = std::string(5000, '#') + "\n";
const std::string old_text = "[a]\nfirst=1\n" + padding + "[b]\nlast=value\n";

/// A file that cannot be opened for reading counts as missing (iniparser.h), so its content is overwritten.
bool counts_as_missing(const trial &t) { return t.has_failed("open"); }

/// After success the file has the new text. After one failure it has the old one, unless only closing failed,
/// when the new text is in the file already (iniparser.h); a second failure can prevent its restoration.
void expect_new_or_old(const trial &t, int32_t result, const std::string &now, const std::string &expected) {
    if (result == 0) {
        EXPECT_EQ(now, expected);
    } else if (t.failed().size() == 1 && !t.has_failed("close")) {
        EXPECT_EQ(now, old_text);
    }
}

void torture_setter(const std::function<int32_t(const char *)> &set, const std::string &expected) {
    torture([&](trial &t) {
        const scratch_folder folder;
        const std::string path = folder.file("settings.ini");
        write_file(path, old_text);
        int32_t result = 1;
        t.run([&] { result = set(path.c_str()); });
        if (!(result == 0 && counts_as_missing(t))) {
            expect_new_or_old(t, result, read_file(path).value(), expected);
        }
        if (!t.any_failed()) {
            EXPECT_EQ(result, 0);
        }
        EXPECT_EQ(folder.names().size(), 1U);
    });
}

TEST(config_torture, set_longer_value) {
    torture_setter([](const char *path) { return set_config_string(path, "a", "first", "much longer"); },
                   "[a]\nfirst=much longer\n" + padding + "[b]\nlast=value\n");
}

TEST(config_torture, set_shorter_value) {
    torture_setter([](const char *path) { return set_config_string(path, "b", "last", ""); },
                   "[a]\nfirst=1\n" + padding + "[b]\nlast=\n");
}

TEST(config_torture, set_new_key_in_new_section) {
    torture_setter([](const char *path) { return set_config_string(path, "c", "key", "value"); },
                   old_text + "\n[c]\nkey=value\n");
}

TEST(config_torture, rename_section) {
    torture_setter([](const char *path) { return set_section_string(path, "b", "c"); },
                   "[a]\nfirst=1\n" + padding + "[[c]\nlast=value\n");
}

TEST(config_torture, set_in_new_file) {
    torture([](trial &t) {
        const scratch_folder folder;
        const std::string path = folder.file("settings.ini");
        int32_t result = 1;
        t.run([&] { result = set_config_string(path.c_str(), "a", "b", "c"); });
        if (result == 0) {
            EXPECT_EQ(read_file(path), "\n[a]\nb=c\n");
        } else if (!t.has_failed("close") && t.failed().size() == 1) {
            EXPECT_EQ(read_file(path).value_or(""), "");
        }
    });
}

/// Not a file: written as a stream. Success means that the last write was not one that failed.
TEST(config_torture, set_in_device) {
    torture([](trial &t) {
        int32_t result = 1;
        t.run([&] { result = set_config_string("/dev/null", "a", "b", "c"); });
        const auto failed_writes = std::count(t.failed().begin(), t.failed().end(), "write");
        if (result == 0) {
            EXPECT_GT(t.count("write"), static_cast<std::size_t>(failed_writes));
        }
        EXPECT_TRUE(result == 0 || t.any_failed());
    });
}

TEST(config_torture, get) {
    torture([](trial &t) {
        const scratch_folder folder;
        const std::string path = folder.file("settings.ini");
        write_file(path, old_text);
        char text[256] = "kept";
        int32_t number = 7;
        int32_t truth = 7;
        int32_t results[3]{};
        t.run([&] {
            results[0] = get_config_string(path.c_str(), "b", "last", text);
            results[1] = get_config_integer(path.c_str(), "a", "first", 10, &number);
            results[2] = get_config_boolean(path.c_str(), "a", "first", &truth);
        });
        EXPECT_STREQ(text, results[0] == 0 ? "value" : "kept");
        EXPECT_EQ(number, results[1] == 0 ? 1 : 7);
        EXPECT_EQ(truth, results[2] == 0 ? 0 : 7);
        if (!t.has_failed("open") && !t.has_failed("read")) {
            EXPECT_EQ(results[0] + results[1] + results[2], 0);
        }
    });
}

TEST(config_torture, record_file) {
    const auto table = std::make_unique<TABLE>();
    torture([&](trial &t) {
        const scratch_folder folder;
        const std::string path = folder.file("records");
        std::string text;
        for (int i = 0; i < 1500; ++i) {
            text += std::to_string(i) + ",b\n";
        }
        write_file(path, text);
        table->count = -1;
        int32_t result = 1;
        t.run([&] { result = log_styled_file_parse(path.c_str(), ",", 2, table.get()); });
        EXPECT_EQ(result, t.has_failed("fopen") || t.has_error("stream read") ? -1 : 0);
        if (result == 0) {
            ASSERT_EQ(table->count, 1500);
        }
        EXPECT_EQ(table->count == -1, t.has_failed("fopen")); // untouched
        for (int32_t i = 0; i < table->count; ++i) {
            ASSERT_EQ(table->records[i].tokens[0], std::to_string(i));
        }
    });
}

} // namespace
