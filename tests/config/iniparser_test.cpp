// SPDX-License-Identifier: Apache-2.0
#include "varnel/iniparser.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "config/ini_model.h"
#include "support/assertion_lines.h"
#include "support/child_process.h"
#include "support/private_mounts.h"
#include "support/scratch_folder.h"

namespace {

namespace model = varnel::test::ini_model;
using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::KilledBySignal;
using varnel::test::assertion_lines;
using varnel::test::identity_of;
using varnel::test::read_file;
using varnel::test::scratch_folder;
using varnel::test::write_file;

constexpr std::size_t longest_content = 16383;
constexpr char untouched = '~';

class ini_file : public ::testing::Test {
  protected:
    void write(const std::string &text) const { write_file(path_, text); }
    std::optional<std::string> text() const { return read_file(path_); }

    std::optional<std::string> get(const std::string &section, const std::string &key) const {
        std::array<char, 256> value;
        value.fill(untouched);
        const int32_t result = get_config_string(path_.c_str(), section.c_str(), key.c_str(), value.data());
        if (result == 0) {
            return value.data();
        }
        EXPECT_EQ(result, -1);
        EXPECT_EQ(value[0], untouched);
        return std::nullopt;
    }

    int32_t set(const std::string &section, const std::string &key, const std::string &value) const {
        return set_config_string(path_.c_str(), section.c_str(), key.c_str(), value.c_str());
    }

    int32_t rename(const std::string &from, const std::string &to) const {
        return set_section_string(path_.c_str(), from.c_str(), to.c_str());
    }

    scratch_folder folder_;
    const std::string path_ = folder_.file("config.ini");
};

// Reading

struct get_case {
    const char *what;
    std::string text;
    const char *section;
    const char *key;
    std::optional<std::string> value;
};

const get_case get_cases[] = {
    {"section in any case", "[Net]\nip=1.2.3.4\n", "net", "ip", "1.2.3.4"},
    {"key in its own case only", "[Net]\nip=1.2.3.4\n", "Net", "IP", {}},
    {"spaces belong to the key", "[Net]\nip = 1.2.3.4\n", "Net", "ip", {}},
    {"spaces belong to the key and the value", "[Net]\nip = 1.2.3.4 \n", "Net", "ip ", " 1.2.3.4 "},
    {"value begins after the first =", "[S]\nk=a=b\n", "S", "k", "a=b"},
    {"a value may be empty", "[S]\nk=\n", "S", "k", ""},
    {"no line end at the end", "[S]\nk=v", "S", "k", "v"},
    {"no line end and another key", "[S]\nk=v", "S", "x", {}},
    {"a key that begins with the line's key", "[S]\nPort=80\nPortNumber=81\n", "S", "PortNumber", "80"},
    {"not the other way round", "[S]\nPortNumber=81\n", "S", "Port", {}},
    {"the longer key first", "[S]\nPortNumber=81\nPort=80\n", "S", "PortNumber", "81"},
    {"empty key matches nothing", "[S]\n=v\nk=v\n", "S", "", {}},
    {"only the first = of a line", "[S]\na=k=v\n", "S", "k", {}},
    {"line that begins with =", "[S]\n=k=v\n", "S", "=k", {}},
    {"comments", "[S]\n#k=1\n;k=2\nk=3\n", "S", "k", "3"},
    {"commented keys cannot be asked for", "[S]\n#k=1\n", "S", "#k", {}},
    {"nor those after a ;", "[S]\n;k=1\n", "S", ";k", {}},
    {"indented comments are entries", "[S]\nx=1\n #k=2\n", "S", " #k", "2"},
    {"line without =", "[S]\nk\nk=1\n", "S", "k", "1"},
    {"no such section", "[S]\nk=v\n", "T", "k", {}},
    {"key in another section", "[S]\nk=v\n[T]\n", "T", "k", {}},
    {"key before any section", "k=v\n[S]\n", "S", "k", {}},
    {"section names match whole", "[Network]\nk=v\n", "Net", "k", {}},
    {"and not beyond", "[Net]\nk=v\n", "Network", "k", {}},
    {"spaces inside the brackets", "[ S ]\nk=v\n", "S", "k", {}},
    {"spaces inside the brackets asked for", "[ S ]\nk=v\n", " s ", "k", "v"},
    {"empty section name", "[]\nk=v\n", "", "k", "v"},
    {"empty name is not any name", "[S]\nk=v\n", "", "k", {}},
    {"header not at the start of a line", " [S]\nk=v\n", "S", "k", {}},
    {"header at the very start", "[S]\nk=v\n", "S", "k", "v"},
    {"header after a CR", "x\r[S]\rk=v\r", "S", "k", "v"},
    {"text after a header is its first line", "[S]k=v\n", "S", "k", "v"},
    {"white space after a header is skipped", "[S] \t\v\f\r\n\n  k=v\n", "S", "k", "v"},
    {"later lines keep their indent", "[S]\nx=1\n  k=v\n", "S", "k", {}},
    {"indented header is a line", "[S]\n  [T]\nk=v\n", "S", "k", "v"},
    {"header directly after a header is a line", "[S][T]\nk=v\n", "S", "k", "v"},
    {"indented header is no section", "[S]\n  [T]\nk=v\n", "T", "k", {}},
    {"header directly after another header's newline", "[S]\n[T]\nk=v\n", "T", "k", "v"},
    {"section again", "[S]\na=1\n[T]\nk=2\n[s]\nk=3\n", "S", "k", "3"},
    {"first match counts", "[S]\nk=1\nk=2\n[S]\nk=3\n", "S", "k", "1"},
    {"a name extends to its ], over newlines too", "[open\n[S]\nk=v\n", "S", "k", {}},
    {"no ] at all", "[S\nk=v\n", "S", "k", {}},
    {"name with ] inside", "[a]b]\nk=v\n", "a]b", "k", "v"},
    {"text after the first ] of such a name", "[a]b=c]\nk=v\n", "a]b=c", "b", "c]"},
    {"CRLF", "[S]\r\na=1\r\nk=v\r\n", "S", "k", "v"},
    {"CR", "[S]\ra=1\rk=v\rz=1", "S", "k", "v"},
    {"LF CR", "[S]\n\ra=1\n\rk=v\n\r", "S", "k", "v"},
    {"empty lines", "[S]\n\n\na=1\n\n\nk=v\n", "S", "k", "v"},
    {"empty file", "", "S", "k", {}},
    {"content ends at 0xFF", "[S]\nk=v\xFFw\n", "S", "k", "v"},
    {"nothing is read after 0xFF", "[S]\n\xFFk=v\n", "S", "k", {}},
    {"bytes above 127", "[\xC3\xA4]\n\xE2\x82\xAC=\xFE\n", "\xC3\xA4", "\xE2\x82\xAC", "\xFE"},
    {"NUL ends a value", "[S]\nk=v\0w\n"s, "S", "k", "v"},
    {"NUL ends a line", "[S]\na=1\0k=v\n"s, "S", "k", "v"},
    {"NUL ends a line without =", "[S]\na\0k=v\n"s, "S", "k", "v"},
    {"NUL at a line's start ends the section", "[S]\na=1\n\0k=v\n"s, "S", "k", {}},
    {"two NULs end the section", "[S]\na=1\0\0k=v\n"s, "S", "k", {}},
    {"NUL after a header ends the section", "[S]\0k=v\n"s, "S", "k", {}},
    {"NUL before a header", "#\0\n[S]\nk=v\n"s, "S", "k", "v"},
    {"NUL in another section", "[T]\na\0b\0\0\n[S]\nk=v\n"s, "S", "k", "v"},
    {"header after a NUL is a line", "[S]\na=1\0[T]\nk=v\n"s, "S", "k", "v"},
    {"NUL in a name belongs to it", "[S\0]\nk=1\n[S]\nk=2\n"s, "S", "k", "2"},
};

TEST_F(ini_file, get_follows_the_file_format) {
    for (const get_case &c : get_cases) {
        write(c.text);
        EXPECT_EQ(get(c.section, c.key), c.value) << c.what;
        EXPECT_EQ(model::get(c.text, c.section, c.key), c.value) << c.what << " (model)";
    }
}

TEST_F(ini_file, get_fails_without_a_file) { EXPECT_EQ(get("S", "k"), std::nullopt); }

TEST_F(ini_file, get_fails_on_a_folder) {
    std::array<char, 256> value{untouched};
    EXPECT_EQ(get_config_string(folder_.path().c_str(), "S", "k", value.data()), -1);
    EXPECT_EQ(value[0], untouched);
}

TEST_F(ini_file, value_length_is_modulo_256) {
    for (const std::size_t length : {1U, 44U, 255U, 256U, 257U, 300U, 511U, 512U, 600U}) {
        const std::string value = std::string(length, 'x');
        write("[S]\nk=" + value + "\nz=1\n");
        EXPECT_EQ(get("S", "k"), value.substr(0, length % 256)) << length;
    }
}

TEST_F(ini_file, get_reads_a_file_of_up_to_16383_bytes) {
    const std::string entry = "[S]\nk=v\n";
    for (const std::size_t size : {longest_content - 1, longest_content}) {
        write(entry + std::string(size - entry.size(), '#'));
        EXPECT_EQ(get("S", "k"), "v") << size;
    }
    write(std::string(longest_content - entry.size(), '\n') + entry);
    EXPECT_EQ(get("S", "k"), "v");
    EXPECT_EQ(get("S", "x"), std::nullopt);
}

TEST_F(ini_file, bytes_after_0xff_do_not_count_against_the_limit) {
    const std::string entry = "[S]\nk=v\n";
    write(entry + std::string(longest_content - entry.size(), '#') + "\xFF" + std::string(50000, 'x'));
    EXPECT_EQ(get("S", "k"), "v");
}

TEST_F(ini_file, get_reads_a_file_larger_than_2_gib) {
    write("[S]\nk=v\n\xFF");
    ASSERT_EQ(truncate64(path_.c_str(), (int64_t{1} << 31) + 1), 0);
    EXPECT_EQ(get("S", "k"), "v") << "32-bit boards, too";
}

TEST_F(ini_file, get_reads_a_pipe_written_in_pieces) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    std::thread writer([this] {
        const int pipe = open(path_.c_str(), O_WRONLY);
        for (const std::string piece : {"[S", "]\n", "", "k=", "v", "alue\n"}) {
            EXPECT_EQ(::write(pipe, piece.data(), piece.size()), static_cast<ssize_t>(piece.size()));
        }
        close(pipe);
    });
    EXPECT_EQ(get("S", "k"), "value");
    writer.join();
}

TEST_F(ini_file, get_stops_reading_a_pipe_at_0xff) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    const int pipe = open(path_.c_str(), O_RDWR); // also the writer: no end of file
    ASSERT_GE(pipe, 0);
    ASSERT_EQ(::write(pipe, "[S]\nk=v\xFF", 8), 8);
    EXPECT_EQ(get("S", "k"), "v");
    close(pipe);
}

/// Waits until the pipe is empty.
void wait_until_read(int pipe) {
    for (int unread = 1; unread > 0; std::this_thread::yield()) {
        ASSERT_EQ(ioctl(pipe, FIONREAD, &unread), 0);
    }
}

TEST_F(ini_file, get_stops_at_an_0xff_in_a_later_piece_of_a_pipe) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    const int pipe = open(path_.c_str(), O_RDWR); // also the writer: no end of file
    ASSERT_GE(pipe, 0);
    std::thread writer([&] {
        for (const std::string piece : {"[S]\n", "k=v", "\xFF"}) {
            EXPECT_EQ(::write(pipe, piece.data(), piece.size()), static_cast<ssize_t>(piece.size()));
            wait_until_read(pipe);
        }
    });
    EXPECT_EQ(get("S", "k"), "v");
    writer.join();
    close(pipe);
}

/// The flags of all descriptors of this file in this process, except one.
std::vector<int> descriptor_flags(const std::string &path, int except) {
    std::vector<int> flags;
    for (int fd = 0; fd < 1024; ++fd) {
        const std::string link = "/proc/self/fd/" + std::to_string(fd);
        if (fd != except && std::filesystem::is_symlink(link) &&
            std::filesystem::read_symlink(link) == path) {
            flags.push_back(fcntl(fd, F_GETFD));
        }
    }
    return flags;
}

TEST_F(ini_file, file_is_closed_on_exec_while_it_is_read) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    const int pipe = open(path_.c_str(), O_RDWR | O_CLOEXEC); // also the writer: no end of file
    ASSERT_GE(pipe, 0);
    std::thread reader([this] { EXPECT_EQ(get("S", "k"), "v"); });
    ASSERT_EQ(::write(pipe, "[S]\n", 4), 4);
    wait_until_read(pipe);
    EXPECT_THAT(descriptor_flags(path_, pipe), ElementsAre(FD_CLOEXEC));
    ASSERT_EQ(::write(pipe, "k=v\xFF", 4), 4);
    reader.join();
    close(pipe);
}

struct integer_case {
    const char *text;
    int32_t base;
    int32_t value;
};

TEST_F(ini_file, integer_is_parsed_like_strtol) {
    const integer_case cases[] = {
        {"42", 10, 42},
        {"-42", 10, -42},
        {"  7", 10, 7},
        {"0x1F", 16, 31},
        {"0x1F", 0, 31},
        {"017", 0, 15},
        {"017", 10, 17},
        {"zz", 36, 1295},
        {"12 volts", 10, 12},
        {"", 10, 0},
        {"volts", 10, 0},
        {"1010", 2, 10},
        {"12", 1, 0},
        {"2147483647", 10, INT32_MAX},
        {"-2147483648", 10, INT32_MIN},
    };
    for (const integer_case &c : cases) {
        write("[S]\nk="s + c.text + "\n");
        int32_t value = 99;
        EXPECT_EQ(get_config_integer(path_.c_str(), "S", "k", c.base, &value), 0) << c.text;
        EXPECT_EQ(value, c.value) << c.text << " base " << c.base;
    }
}

TEST_F(ini_file, integer_above_32_bits_is_the_truncated_strtol_result) {
    write("[S]\nk=4294967298\n");
    int32_t value = 99;
    EXPECT_EQ(get_config_integer(path_.c_str(), "S", "k", 10, &value), 0);
    EXPECT_EQ(value, static_cast<int32_t>(strtol("4294967298", nullptr, 10)));
}

TEST_F(ini_file, integer_result_is_untouched_when_the_key_is_missing) {
    write("[S]\nk=1\n");
    int32_t value = 99;
    EXPECT_EQ(get_config_integer(path_.c_str(), "S", "x", 10, &value), -1);
    EXPECT_EQ(get_config_integer(folder_.file("none").c_str(), "S", "k", 10, &value), -1);
    EXPECT_EQ(value, 99);
}

TEST_F(ini_file, boolean_is_true_for_any_prefix_of_true) {
    for (const char *text : {"true", "TRUE", "t", "T", "tR", "Tru", ""}) {
        write("[S]\nk="s + text + "\n");
        int32_t value = 99;
        EXPECT_EQ(get_config_boolean(path_.c_str(), "S", "k", &value), 0);
        EXPECT_EQ(value, 1) << '"' << text << '"';
    }
    for (const char *text : {"false", "on", "yes", "1", "true1", "true ", " true", "rue", "0"}) {
        write("[S]\nk="s + text + "\n");
        int32_t value = 99;
        EXPECT_EQ(get_config_boolean(path_.c_str(), "S", "k", &value), 0);
        EXPECT_EQ(value, 0) << '"' << text << '"';
    }
}

TEST_F(ini_file, boolean_of_256_bytes_is_that_of_an_empty_value) {
    write("[S]\nk=" + std::string(256, 'x') + "\n");
    int32_t value = 99;
    EXPECT_EQ(get_config_boolean(path_.c_str(), "S", "k", &value), 0);
    EXPECT_EQ(value, 1);
}

TEST_F(ini_file, boolean_result_is_untouched_when_the_key_is_missing) {
    write("[S]\nk=true\n");
    int32_t value = 99;
    EXPECT_EQ(get_config_boolean(path_.c_str(), "S", "x", &value), -1);
    EXPECT_EQ(value, 99);
}

// Writing

struct set_case {
    const char *what;
    std::string before;
    const char *section;
    const char *key;
    std::string value;
    std::string after;
};

const set_case set_cases[] = {
    {"value replaced", "[S]\na=1\nk=old\nz=9\n", "S", "k", "new", "[S]\na=1\nk=new\nz=9\n"},
    {"value grows", "[S]\nk=\n", "S", "k", "0123456789", "[S]\nk=0123456789\n"},
    {"value becomes empty", "[S]\nk=old\n", "S", "k", "", "[S]\nk=\n"},
    {"same value", "[S]\nk=v\n", "S", "k", "v", "[S]\nk=v\n"},
    {"CRLF kept", "[S]\r\nk=old\r\nz=9\r\n", "S", "k", "v", "[S]\r\nk=v\r\nz=9\r\n"},
    {"CR kept", "[S]\rk=old\rz=9", "S", "k", "v", "[S]\rk=v\rz=9"},
    {"no line end added", "[S]\nk=old", "S", "k", "v", "[S]\nk=v"},
    {"spaces around the value are replaced", "[S]\nk= old \n", "S", "k", "v", "[S]\nk=v\n"},
    {"% stays when a value is replaced", "[S]\nk=1\nx=%d%%\n", "S", "k", "%s", "[S]\nk=%s\nx=%d%%\n"},
    {"a key that the line's key begins", "[S]\nPort=80\n", "S", "PortNumber", "81", "[S]\nPort=81\n"},
    {"value of 300 bytes cut", "[S]\nk=\n", "S", "k", std::string(300, 'x'),
     "[S]\nk=" + std::string(44, 'x') + "\n"},
    {"value of 256 bytes vanishes", "[S]\nk=old\n", "S", "k", std::string(256, 'x'), "[S]\nk=\n"},
    {"second section of the name", "[S]\na=1\n[S]\nk=old\n", "S", "k", "v", "[S]\na=1\n[S]\nk=v\n"},

    {"new key goes first", "[S]\nold=1\n", "S", "k", "v", "[S]\nk=v\nold=1\n"},
    {"and below empty lines", "[S]\n\n old=1\n", "S", "k", "v", "[S]\n\n k=v\nold=1\n"},
    {"into the last section of the name", "[S]\na=1\n[S]\nb=2\n", "S", "k", "v", "[S]\na=1\n[S]\nk=v\nb=2\n"},
    {"before the next header", "[S]\n[T]\n", "S", "k", "v", "[S]\nk=v\n[T]\n"},
    {"after a header without a newline", "[S]", "S", "k", "v", "[S]k=v\n"},
    {"into an empty section at the end", "[S]\n", "S", "k", "v", "[S]\nk=v\n"},
    {"a new value is stored whole", "[S]\n", "S", "k", std::string(300, 'x'),
     "[S]\nk=" + std::string(300, 'x') + "\n"},
    {"% before the new entry stays", "%d\n[S]\n", "S", "k", "%d", "%d\n[S]\nk=%d\n"},
    {"name found in another case", "[s]\na=1\n", "S", "k", "v", "[s]\nk=v\na=1\n"},

    {"new section", "[S]\na=1\n", "T", "k", "v", "[S]\na=1\n\n[T]\nk=v\n"},
    {"new section after a line without a newline", "[S]\na=1", "T", "k", "v", "[S]\na=1\n[T]\nk=v\n"},
    {"new section in an empty file", "", "T", "k", "v", "\n[T]\nk=v\n"},
    {"% before a new section stays", "%d %%\n", "T", "k", "%n", "%d %%\n\n[T]\nk=%n\n"},
    {"long value in a new section", "", "T", "k", std::string(300, 'x'),
     "\n[T]\nk=" + std::string(300, 'x') + "\n"},

    {"0xFF and what follows is dropped", "[S]\nk=old\nz=1\xFFrest", "S", "k", "v", "[S]\nk=v\nz=1"},
    {"0xFF dropped before a new section", "[S]\n\xFFrest", "T", "k", "v", "[S]\n\n[T]\nk=v\n"},
    {"NUL and what follows is kept", "[S]\nk=old\nz=1\0rest\n"s, "S", "k", "v", "[S]\nk=v\nz=1\0rest\n"s},
    {"NUL ends the value replaced", "[S]\nk=old\0rest\n"s, "S", "k", "v", "[S]\nk=v\0rest\n"s},
    {"value after a NUL", "[S]\na=1\0k=old\n"s, "S", "k", "v", "[S]\na=1\0k=v\n"s},
    {"NUL after a new entry", "[S]\na=1\n\0k=old\n"s, "S", "k", "v", "[S]\nk=v\na=1\n\0k=old\n"s},
    {"a format ends at a NUL", "[S]\na=50%\0d%d%\0\0%%"s, "S", "k", "v", "[S]\nk=v\na=50\0d0\0\0%"s},
    {"NUL before a new section", "[S]\n\0rest"s, "T", "k", "v", "[S]\n\0rest\n[T]\nk=v\n"s},
};

TEST_F(ini_file, set_replaces_or_adds_the_entry_and_keeps_the_rest) {
    for (const set_case &c : set_cases) {
        write(c.before);
        EXPECT_EQ(set(c.section, c.key, c.value), 0) << c.what;
        EXPECT_EQ(text(), c.after) << c.what;
    }
}

TEST_F(ini_file, set_creates_a_missing_file_that_begins_with_an_empty_line) {
    for (const auto &[mask, mode] : {std::pair{027U, 0640U}, {0U, 0666U}}) {
        const mode_t old_mask = umask(mask);
        EXPECT_EQ(set("S", "k", "v"), 0);
        umask(old_mask);
        EXPECT_EQ(text(), "\n[S]\nk=v\n");
        EXPECT_EQ(identity_of(path_).mode & 07777U, mode);
        ASSERT_EQ(unlink(path_.c_str()), 0);
    }
}

TEST_F(ini_file, set_keeps_inode_and_mode_and_leaves_no_other_file) {
    write("[S]\nk=old\n");
    ASSERT_EQ(chmod(path_.c_str(), 0604), 0);
    const auto before = identity_of(path_);
    EXPECT_EQ(set("S", "k", "a longer one"), 0);
    EXPECT_EQ(set("T", "k", "v"), 0);
    EXPECT_EQ(rename("T", "U"), 0);
    EXPECT_TRUE(identity_of(path_) == before);
    EXPECT_THAT(folder_.names(), ElementsAre("config.ini"));
}

/// A daemon may have closed its standard input.
TEST_F(ini_file, file_opened_as_descriptor_0_is_used_and_closed) {
    write("[S]\nk=v\n");
    varnel::test::child_process daemon([&] {
        close(STDIN_FILENO);
        const bool done = get("S", "k") == "v" && set("S", "k", "new") == 0;
        return done && fcntl(STDIN_FILENO, F_GETFD) == -1 ? 0 : 1;
    });
    EXPECT_TRUE(daemon.exits_with(0));
    EXPECT_EQ(text(), "[S]\nk=new\n");
}

TEST_F(ini_file, set_fails_when_the_file_cannot_be_opened) {
    const std::string nowhere = folder_.file("none/config.ini");
    EXPECT_EQ(set_config_string(nowhere.c_str(), "S", "k", "v"), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(set_section_string(nowhere.c_str(), "S", "T"), -1);
    EXPECT_EQ(set_config_string(folder_.path().c_str(), "S", "k", "v"), -1);
    EXPECT_EQ(set_section_string(folder_.path().c_str(), "S", "T"), -1);
    EXPECT_THAT(folder_.names(), IsEmpty());
}

/// Runs `action` as a user without privileges, to whom permissions apply.
template <typename Action>
bool holds_without_privileges(Action action) {
    const pid_t child = fork();
    if (child == 0) {
        const bool dropped = geteuid() != 0 || (setgid(65534) == 0 && setuid(65534) == 0);
        _exit(dropped && action() ? 0 : 1);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST_F(ini_file, set_fails_on_a_read_only_file) {
    write("[S]\nk=old\n");
    ASSERT_EQ(chmod(path_.c_str(), 0444), 0);
    ASSERT_EQ(chmod(folder_.path().c_str(), 0755), 0);
    EXPECT_TRUE(holds_without_privileges(
        [&] { return get("S", "k") == "old" && set("S", "k", "v") == -1 && rename("S", "T") == -1; }));
    EXPECT_EQ(text(), "[S]\nk=old\n");
}

TEST_F(ini_file, set_overwrites_a_file_it_cannot_read) {
    write("[S]\nk=old, and longer than the new text\n");
    ASSERT_EQ(chmod(path_.c_str(), 0222), 0);
    ASSERT_EQ(chmod(folder_.path().c_str(), 0755), 0);
    EXPECT_TRUE(holds_without_privileges([&] { return !get("S", "k") && set("S", "k", "v") == 0; }));
    ASSERT_EQ(chmod(path_.c_str(), 0644), 0);
    EXPECT_EQ(text(), "\n[S]\nk=v\n");
}

TEST_F(ini_file, set_writes_to_a_device) { EXPECT_EQ(set_config_string("/dev/null", "S", "k", "v"), 0); }

TEST_F(ini_file, set_reads_a_pipe_and_writes_to_it) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    std::string answer;
    std::thread peer([this, &answer] {
        int pipe = open(path_.c_str(), O_WRONLY);
        EXPECT_EQ(::write(pipe, "[S]\nk=old\n", 10), 10);
        close(pipe);
        // The library opens the pipe again for writing and waits for this reader.
        pipe = open(path_.c_str(), O_RDONLY);
        std::array<char, 64> bytes{};
        for (ssize_t n = 0; (n = read(pipe, bytes.data(), bytes.size())) > 0;) {
            answer.append(bytes.data(), static_cast<std::size_t>(n));
        }
        close(pipe);
    });
    EXPECT_EQ(set("S", "k", "new"), 0);
    peer.join();
    EXPECT_EQ(answer, "[S]\nk=new\n");
}

// The text after a new entry is format text.

struct print_case {
    std::string format;
    std::string printed;
};

const print_case print_cases[] = {
    {"a=100%%\n", "a=100%\n"},
    {"a=%%%%\n", "a=%%\n"},
    {"a=%d|%i|%u|%x|%X|%o\n", "a=0|0|0|0|0|0\n"},
    {"a=%5d|%-5d|%05d|%+d|% d|%.3d|%.0d|%#x\n", "a=    0|0    |00000|+0| 0|000||0\n"},
    {"a=%hhd|%hd|%ld|%lld|%qd|%jd|%zd|%Zd|%td\n", "a=0|0|0|0|0|0|0|0|0\n"},
    {"a=%f|%.2f|%8.1f|%e|%g|%a|%Lf|%llf|%La|%G|%E|%F|%A\n",
     "a=0.000000|0.00|     "
     "0.0|0.000000e+00|0|0x0p+0|0.000000|0.000000|0x0p+0|0|0.000000E+00|0.000000|0X0P+0\n"},
    {"a=%s|%10s|%-10s|%.3s|%.6s|%S|%ls\n", "a=(null)|    (null)|(null)    ||(null)|(null)|(null)\n"},
    {"a=%p|%8p\n", "a=(nil)|   (nil)\n"},
    {"a=%c|%3c|%-3c|%C|%lc|b\n", "a=|  |  |||b\n"},
    {"a=%*d|%.*f|%-*s|%*.*d\n", "a=0|0|(null)|\n"},
    {"a=%1$d|%2$s|%300$f|%1$*2$d|%1$.*2$f\n", "a=0|(null)|0.000000|0|0\n"},
    {"a=%n|%hhn|%lln|%5n|%1$n|%-*.*n|%!n|b\n", "a=||||||%!n|b\n"},
    {"a=50% off\n", "a=500ff\n"},
    {"a=100%\nb=1\n", "a=100%\nb=1\n"},
    {"a=%!|%5!|%05!|%-+ #'5.3!|%k|%5-d|%0$d|%llld|%lhd|%*5d|%*-d\n",
     "a=%!|%5!|%05!|%#'+-5.3!|%k|%5-d|%0$d|%ld|%hd|%5d|%-d\n"},
    // An unknown letter whose width could be parsed as the choice of an argument.
    {"a=%1$5$|%1$07$|%1$1111104$|%1$-5$|%1$5.3$|%1$*$\n", "a=%5$|%07$|%1111104$|%-5$|%5.3$|%$\n"},
    {"a=%5%|%l%|%-%\n", "a=%|%|%\n"},
    {"a=%.20000s|%.20000g\n", "a=(null)|0\n"},
    {"a=%20000!|%.20000!\n", "a=%20000!|%.20000!\n"},
    {"a=%.*9\n", "a=%.09\n"},
    // Truncated inside a conversion: the formatter prints nothing for it, unless an earlier unusual
    // conversion made it parse the whole format first.
    {"a=50%", "a=50"},
    {"a=50%5", "a=50"},
    {"a=50%-.l", "a=50"},
    {"a=%d 50%", "a=0 50"},
    {"a=10%\nb=50%", "a=10%\nb=50%"},
    {"a=%1$d 50%", "a=0 50%"},
    {"a=%! 50%-+5.ll", "a=%! 50%+-5.0"},
    {"a=%hs 50%", "a=(null) 50%"},
    {"a=%hhs 50%", "a=(null) 50"},
};

TEST_F(ini_file, text_after_a_new_entry_is_printed_as_format_text) {
    for (const print_case &c : print_cases) {
        write("[S]\n" + c.format);
        EXPECT_EQ(set("S", "k", "v"), 0) << c.format;
        EXPECT_EQ(text(), "[S]\nk=v\n" + c.printed) << c.format;
    }
}

TEST_F(ini_file, format_text_is_printed_as_snprintf_would) {
    for (const print_case &c : print_cases) {
        if (c.format.find_first_of("fgn$c") != std::string::npos) {
            continue; // reads a double, prints a NUL, chooses its arguments or stores
        }
        std::array<char, 512> expected{};
        const void *const z = nullptr;
        snprintf(expected.data(), expected.size(), c.format.c_str(), z, z, z, z, z, z, z, z, z, z, z, z, z, z,
                 z, z, z, z, z, z, z, z, z, z);
        EXPECT_EQ(expected.data(), c.printed) << c.format;
    }
}

TEST_F(ini_file, percent_m_in_format_text_prints_the_callers_errno) {
    write("[S]\na=%m\n");
    errno = ENOSPC;
    EXPECT_EQ(set("S", "k", "v"), 0);
    EXPECT_EQ(text(), "[S]\nk=v\na="s + strerror(ENOSPC) + "\n");
}

TEST_F(ini_file, set_refuses_format_text_that_prints_too_much) {
    for (const char *format :
         {"%16384d", "%-16380d", "%.16384d", "%.16384f", "%100000000s", "%2000000000d", "%.2000000000f",
          "%99999999999d", "%.99999999999s", "%2147483647d", "%99999999999!", "%9000d%9000d"}) {
        const std::string before = "[S]\na="s + format + "\n";
        write(before);
        EXPECT_EQ(set("S", "k", "v"), -1) << format;
        EXPECT_EQ(text(), before) << format;
    }
}

TEST_F(ini_file, format_text_may_print_up_to_16383_bytes) {
    const std::string padding = std::to_string(longest_content - 10); // after "[S]\nk=v\na="
    write("[S]\na=%" + padding + "d");
    EXPECT_EQ(set("S", "k", "vv"), -1);
    EXPECT_EQ(set("S", "k", "v"), 0);
    EXPECT_EQ(text()->size(), longest_content);
}

// Limits

TEST_F(ini_file, set_accepts_output_of_up_to_16383_bytes) {
    const std::string before = "[S]\nk=\n" + std::string(longest_content - 10, '#') + "\n\n";
    ASSERT_EQ(before.size(), longest_content - 1);
    write(before);
    EXPECT_EQ(set("S", "k", "vv"), -1);
    EXPECT_EQ(text(), before);
    EXPECT_EQ(set("S", "k", "v"), 0);
    EXPECT_EQ(text()->size(), longest_content);
    EXPECT_EQ(get("S", "k"), "v");
    EXPECT_EQ(set("S", "k", "w"), 0);
    EXPECT_EQ(get("S", "k"), "w");
}

TEST_F(ini_file, every_setter_refuses_output_above_16383_bytes) {
    const std::string header = "[S]\n";
    for (const std::size_t room : {0U, 1U, 3U, 4U, 5U, 8U, 9U}) {
        const std::string before = header + std::string(longest_content - room - header.size(), '#');
        const auto fits = [&](std::size_t growth) { return growth <= room ? 0 : -1; };
        write(before);
        EXPECT_EQ(set("S", "k", "v"), fits(4)) << room;
        write(before);
        EXPECT_EQ(set("T", "k", "v"), fits(9)) << room;
        write(before);
        EXPECT_EQ(rename("T", "U"), fits(5)) << room;
        write(before);
        EXPECT_EQ(rename("S", "U"), fits(1)) << room;
    }
}

TEST_F(ini_file, refused_output_creates_no_file) {
    EXPECT_EQ(set("S", "k", std::string(longest_content, 'x')), -1);
    EXPECT_EQ(rename("S", std::string(longest_content, 'x')), -1);
    EXPECT_THAT(folder_.names(), IsEmpty());
}

TEST_F(ini_file, set_creates_a_file_of_16383_bytes) {
    EXPECT_EQ(set("S", "k", std::string(longest_content - 8, 'x')), 0);
    EXPECT_EQ(text()->size(), longest_content);
}

// Renaming

struct rename_case {
    const char *what;
    std::string before;
    const char *from;
    const char *to;
    std::string after;
};

const rename_case rename_cases[] = {
    {"the old bracket stays", "[A]\nx=1\n", "A", "B", "[[B]\nx=1\n"},
    {"name found in any case", "x\n[abc]\nx=1\n", "ABC", "B", "x\n[[B]\nx=1\n"},
    {"CR before the LF is removed", "[A]\r\nx=1\r\n", "A", "B", "[[B]\nx=1\r\n"},
    {"text on the header's line is removed", "[A] x=1\ny=2\n", "A", "B", "[[B]\ny=2\n"},
    {"no LF", "[A]\rx=1\r", "A", "B", "[[B]A]\rx=1\r"},
    {"nothing but the header", "[A]", "A", "B", "[[B]A]"},
    {"the last section of the name", "[A]\nx=1\n[A]\nx=2\n", "A", "B", "[A]\nx=1\n[[B]\nx=2\n"},
    {"% is not special", "[A]\nx=%d%%\n", "A", "%s", "[[%s]\nx=%d%%\n"},
    {"to a longer name", "[A]\nx=1\n", "A", "Much longer", "[[Much longer]\nx=1\n"},
    {"to a shorter name", "[Much longer]\nx=1\n", "Much longer", "", "[[]\nx=1\n"},
    {"no such section", "[A]\nx=1\n", "C", "B", "[A]\nx=1\n\n[B]\n"},
    {"empty file", "", "A", "B", "\n[B]\n"},
    {"0xFF and what follows is dropped", "[A]\nx=1\xFF[A]\n", "A", "B", "[[B]\nx=1"},
    {"NUL and what follows is kept", "[A]\nx=1\0[A]\n"s, "A", "B", "[[B]\nx=1\0[A]\n"s},
    {"text on the header's line is removed with its NUL", "[A]x\0y\nz"s, "A", "B", "[[B]\nz"},
    {"NUL before a new section", "\0[A]"s, "A", "B", "\0[A]\n[B]\n"s},
};

TEST_F(ini_file, rename_rewrites_the_last_header_of_the_name) {
    for (const rename_case &c : rename_cases) {
        write(c.before);
        EXPECT_EQ(rename(c.from, c.to), 0) << c.what;
        EXPECT_EQ(text(), c.after) << c.what;
        EXPECT_EQ(model::rename(c.before, c.from, c.to), c.after) << c.what << " (model)";
    }
}

TEST_F(ini_file, rename_creates_a_missing_file_that_begins_with_an_empty_line) {
    EXPECT_EQ(rename("A", "B"), 0);
    EXPECT_EQ(text(), "\n[B]\n");
}

// Properties

class random_text {
  public:
    std::size_t below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(bits_); }

    std::string from(const std::vector<std::string> &parts, std::size_t longest) {
        std::string text;
        for (std::size_t n = below(longest + 1); n > 0; --n) {
            text += parts[below(parts.size())];
        }
        return text;
    }

  private:
    std::mt19937 bits_{20}; // the same texts in every run
};

const std::vector<std::string> file_parts{"[",   "]",    "\n",    "\r",          "\r\n", "=",  "#",   ";",
                                          " ",   "\t",   "S",     "s",           "T",    "k",  "key", "v",
                                          "[S]", "[T]",  "\n[S]", "\n[T]\n",     "k=",   "=1", "\n[", "\n",
                                          "k=1", "\xFF", "\0"s,   "\nkey=value", "[s]\n"};
const std::vector<std::string> names{"S", "T", "s", "k", "key", "", "U", "a]b", "[S", "k=", " k"};

std::string unformatted(const std::string &text) { return text; }

TEST_F(ini_file, agrees_with_the_reference_model_on_random_files) {
    random_text random;
    for (int round = 0; round < 1000; ++round) {
        const std::string before = random.from(file_parts, 24);
        const std::string section = names[random.below(names.size())];
        const std::string key = names[random.below(names.size())];
        const std::string value = random.from({"x", "[", "=", "\n", "y"}, 6);
        SCOPED_TRACE(testing::PrintToString(before) + " / " + section + " / " + key);
        write(before);
        ASSERT_EQ(get(section, key), model::get(before, section, key));
        ASSERT_EQ(set(section, key, value), 0);
        ASSERT_EQ(text(), model::set(before, section, key, value, unformatted));
        write(before);
        ASSERT_EQ(rename(section, key), 0);
        ASSERT_EQ(text(), model::rename(before, section, key));
    }
}

TEST_F(ini_file, set_value_is_read_back_with_a_nul_anywhere_in_the_file) {
    const std::string before = "# x\n\n[T]\na=1\n\n[S]\n\nb=2\nk=3\n[S]\nc=4\n";
    for (std::size_t place = 0; place <= before.size(); ++place) {
        std::string text = before;
        text.insert(place, 1, '\0');
        for (const char *section : {"S", "T", "U"}) {
            write(text);
            ASSERT_EQ(set(section, "k", "new"), 0);
            ASSERT_EQ(get(section, "k"), "new") << testing::PrintToString(text) << section;
        }
    }
}

TEST_F(ini_file, set_value_is_read_back_and_the_rest_is_unchanged) {
    const std::string before =
        "# board\n\n[Fan]\nmin=20\nmax=90\n\n[Net]\r\nip=10.0.0.1\r\nmask=\r\n; end\n[Log]\nlevel=7";
    const std::vector<std::array<std::string, 2>> keys{
        {"Fan", "min"}, {"Fan", "max"}, {"Net", "ip"}, {"Net", "mask"}, {"Log", "level"}};
    random_text random;
    for (int round = 0; round < 500; ++round) {
        const auto &[section, key] = keys[random.below(keys.size())];
        const std::string value = random.from({"a", "=", " ", "%d", "[", "]", "#", "%", "long text "}, 12);
        write(before);
        const std::string old = *get(section, key);
        ASSERT_EQ(set(section, key, value), 0);
        ASSERT_EQ(get(section, key), value);
        ASSERT_EQ(set(section, key, old), 0);
        ASSERT_EQ(text(), before);
    }
}

// Full disks and other failures

class full_disk : public ini_file {
  protected:
    static constexpr std::size_t page = 4096;

    void SetUp() override {
        if (!varnel::test::enter_private_mounts() || !varnel::test::mount_memory(folder_.path(), 16 * page)) {
            GTEST_SKIP() << "needs permission to mount a file system (root, or user namespaces)";
        }
    }

    void TearDown() override { varnel::test::unmount(folder_.path()); }

    /// Fills every free block.
    void fill() const {
        const int filler = open(folder_.file("filler").c_str(), O_WRONLY | O_CREAT, 0600);
        const std::string block(page, 'f');
        while (::write(filler, block.data(), block.size()) > 0) {
        }
        EXPECT_EQ(errno, ENOSPC);
        close(filler);
    }

    /// Expects `setter`, which needs one more block than is free, to fail and to change nothing.
    template <typename Setter>
    void expect_refused(const std::string &before, Setter setter) {
        write(before);
        ASSERT_EQ(chmod(path_.c_str(), 0640), 0);
        fill();
        const auto identity = identity_of(path_);
        EXPECT_EQ(setter(), -1);
        EXPECT_EQ(text(), before);
        EXPECT_TRUE(identity_of(path_) == identity);
        EXPECT_THAT(folder_.names(), ElementsAre("config.ini", "filler"));
        ASSERT_EQ(unlink(folder_.file("filler").c_str()), 0);
        EXPECT_EQ(setter(), 0) << "with free blocks again";
        EXPECT_NE(text(), before);
    }

    /// `size` bytes that begin with a section and a key.
    static std::string sized(std::size_t size) {
        std::string text = "[S]\nk=old\n";
        while (text.size() < size) {
            text += std::to_string(text.size()) + "=x\n";
        }
        return text.substr(0, size);
    }
};

TEST_F(full_disk, replacing_a_value_fails_and_keeps_the_old_text) {
    expect_refused(sized(page - 6), [&] { return set("S", "k", "a long value"); });
}

TEST_F(full_disk, adding_a_key_fails_and_keeps_the_old_text) {
    expect_refused(sized(3 * page), [&] { return set("S", "new", "v"); });
}

TEST_F(full_disk, adding_a_section_fails_and_keeps_the_old_text) {
    expect_refused(sized(page - 3), [&] { return set("T", "k", "v"); });
}

TEST_F(full_disk, renaming_a_section_fails_and_keeps_the_old_text) {
    expect_refused(sized(2 * page - 1), [&] { return rename("S", "A longer name"); });
}

TEST_F(full_disk, failed_set_keeps_the_bytes_after_0xff) {
    const std::string before = sized(page - 20) + "\xFFnot read\0nor this"s.substr(0, 19);
    expect_refused(before, [&] { return set("S", "k", std::string(100, 'v')); });
}

TEST_F(full_disk, set_succeeds_when_it_needs_no_new_block) {
    write(sized(page - 100));
    fill();
    EXPECT_EQ(set("S", "k", "a long value"), 0);
    EXPECT_EQ(get("S", "k"), "a long value");
    EXPECT_EQ(set("S", "k", ""), 0);
    EXPECT_EQ(text()->size(), page - 103);
}

TEST_F(full_disk, creating_a_file_fails) {
    fill();
    EXPECT_EQ(set("S", "k", "v"), -1);
    EXPECT_EQ(rename("S", "T"), -1);
    EXPECT_EQ(text().value_or(""), "");
}

class file_size_limit : public ini_file {};

TEST_F(file_size_limit, partial_write_is_undone) {
    const std::string before = "[S]\nk=old\n" + std::string(3000, '#') + "\n";
    write(before);
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    const rlimit small{3500, old.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const int32_t result = set("S", "k", std::string(200, 'v'));
    const int32_t too_much = set("T", "k", std::string(2000, 'v'));
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
    EXPECT_EQ(result, 0) << "within the limit";
    EXPECT_EQ(too_much, -1);
    EXPECT_EQ(text(), "[S]\nk=" + std::string(200, 'v') + "\n" + std::string(3000, '#') + "\n");
}

TEST_F(file_size_limit, growing_a_file_at_the_limit_fails_without_a_signal) {
    const std::string before = "[S]\nk=old\n";
    write(before);
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    const rlimit reached{before.size(), old.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &reached), 0);
    const int32_t longer = set("S", "k", "longer");
    const int32_t shorter = set("S", "k", "v");
    const int32_t up_to_the_limit = set("S", "k", "own");
    const int32_t again = set("S", "k", "v");
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
    EXPECT_EQ(longer, -1);
    EXPECT_EQ(shorter, 0);
    EXPECT_EQ(up_to_the_limit, 0);
    EXPECT_EQ(again, 0);
    EXPECT_EQ(text(), "[S]\nk=v\n");
}

// Several processes

/// Runs `action` in a child, which exits with 0 when it returned true.
template <typename Action>
pid_t start_process(Action action) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(action() ? 0 : 1);
    }
    return child;
}

bool succeeded(pid_t child) {
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST_F(ini_file, values_set_by_processes_in_turn_are_all_kept) {
    for (int turn = 0; turn < 12; ++turn) {
        const std::string key(1, static_cast<char>('a' + turn));
        ASSERT_TRUE(succeeded(start_process([&] { return set("S", key, std::to_string(turn)) == 0; })));
    }
    for (int turn = 0; turn < 12; ++turn) {
        EXPECT_EQ(get("S", std::string(1, static_cast<char>('a' + turn))), std::to_string(turn));
    }
}

TEST_F(ini_file, concurrent_readers_never_see_a_truncated_file) {
    write("[S]\nk=aaaa\nz=1\n");
    std::vector<pid_t> readers;
    for (int n = 0; n < 2; ++n) {
        readers.push_back(start_process([this] {
            for (int round = 0; round < 2000; ++round) {
                const auto value = get("S", "k");
                if (!value || value->size() != 4 || get("S", "z") != "1") {
                    return false;
                }
            }
            return true;
        }));
    }
    const pid_t writer = start_process([this] {
        for (int round = 0; round < 1000; ++round) {
            if (set("S", "k", round % 2 == 0 ? "bbbb" : "aaaa") != 0) {
                return false;
            }
        }
        return true;
    });
    EXPECT_TRUE(succeeded(writer));
    for (const pid_t reader : readers) {
        EXPECT_TRUE(succeeded(reader));
    }
    EXPECT_EQ(text(), "[S]\nk=aaaa\nz=1\n");
}

// Contract checks

using ini_file_DeathTest = ini_file;

const std::string four_arguments =
    "\\(file_path != \\(\\(void \\*\\)0\\)\\) && \\(section != \\(\\(void \\*\\)0\\)\\) && "
    "\\(key != \\(\\(void \\*\\)0\\)\\) && \\(value != \\(\\(void \\*\\)0\\)\\)";

TEST_F(ini_file_DeathTest, null_arguments_end_the_process) {
    std::array<char, 256> text{};
    int32_t number = 0;
    const char *const p = path_.c_str();
    const auto died = KilledBySignal(SIGABRT);
    assertion_lines lines("iniparser");
    const auto get_string = lines.message("get_config_string", four_arguments);
    EXPECT_EXIT(get_config_string(nullptr, "S", "k", text.data()), died, get_string);
    EXPECT_EXIT(get_config_string(p, nullptr, "k", text.data()), died, get_string);
    EXPECT_EXIT(get_config_string(p, "S", nullptr, text.data()), died, get_string);
    EXPECT_EXIT(get_config_string(p, "S", "k", nullptr), died, get_string);
    const auto get_integer = lines.message("get_config_integer", four_arguments);
    EXPECT_EXIT(get_config_integer(nullptr, "S", "k", 10, &number), died, get_integer);
    EXPECT_EXIT(get_config_integer(p, "S", "k", 10, nullptr), died, get_integer);
    const auto get_boolean = lines.message("get_config_boolean", four_arguments);
    EXPECT_EXIT(get_config_boolean(p, nullptr, "k", &number), died, get_boolean);
    EXPECT_EXIT(get_config_boolean(p, "S", "k", nullptr), died, get_boolean);
    const auto set_string = lines.message("set_config_string", four_arguments);
    EXPECT_EXIT(set_config_string(p, "S", nullptr, "v"), died, set_string);
    EXPECT_EXIT(set_config_string(p, "S", "k", nullptr), died, set_string);
    const auto set_section = lines.message(
        "set_section_string", "\\(file_path != \\(\\(void \\*\\)0\\)\\) && \\(old_section != \\(\\(void "
                              "\\*\\)0\\)\\) && \\(new_section != \\(\\(void \\*\\)0\\)\\)");
    EXPECT_EXIT(set_section_string(nullptr, "S", "T"), died, set_section);
    EXPECT_EXIT(set_section_string(p, nullptr, "T"), died, set_section);
    EXPECT_EXIT(set_section_string(p, "S", nullptr), died, set_section);
    EXPECT_EQ(lines.count(), 5U) << "one line for each function's check";
}

TEST_F(ini_file_DeathTest, file_above_16383_bytes_ends_the_process) {
    const std::string before = "[S]\nk=v\n" + std::string(longest_content + 1 - 8, '#');
    ASSERT_EQ(before.size(), 16384U);
    write(before);
    assertion_lines lines("iniparser");
    const auto too_long = lines.message("load_ini_file", "i < \\(1024 \\* 16\\)");
    int32_t number = 0;
    EXPECT_EXIT(get("S", "k"), KilledBySignal(SIGABRT), too_long);
    EXPECT_EXIT(get_config_integer(path_.c_str(), "S", "k", 10, &number), KilledBySignal(SIGABRT), too_long);
    EXPECT_EXIT(set("S", "k", "v"), KilledBySignal(SIGABRT), too_long);
    EXPECT_EXIT(rename("S", "T"), KilledBySignal(SIGABRT), too_long);
    EXPECT_EQ(text(), before);
    write(std::string(50000, '\0'));
    EXPECT_EXIT(get("S", "k"), KilledBySignal(SIGABRT), too_long);
    EXPECT_EXIT(set_config_string("/dev/full", "S", "k", "v"), KilledBySignal(SIGABRT),
                too_long); // reads as zeros
}

} // namespace
