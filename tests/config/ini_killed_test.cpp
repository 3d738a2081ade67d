// SPDX-License-Identifier: Apache-2.0
// Setters that are killed between two system calls, and inside the one that makes the file longer; whose calls a signal
// interrupts, or fail at the end.
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include "config/ini_model.h"
#include "support/child_process.h"
#include "support/interposed.h"
#include "support/scratch_folder.h"
#include "varnel/iniparser.h"

namespace {

using namespace std::string_literals;
using varnel::test::child_process;
using varnel::test::identity_of;
using varnel::test::interposed;
using varnel::test::read_file;
using varnel::test::scratch_folder;
using varnel::test::stand_in;
using varnel::test::write_file;

interposed<ssize_t(int, const void *, std::size_t, off64_t)> pwrite_call("pwrite64");
interposed<int(int, off64_t)> ftruncate_call("ftruncate64");
interposed<int(int)> close_call("close");
interposed<int(const char *, int, mode_t)> open_call("open64");
interposed<ssize_t(int, const void *, std::size_t)> write_call("write");

} // namespace

extern "C" ssize_t pwrite64(int file, const void *bytes, std::size_t size, off64_t place) {
    return pwrite_call(file, bytes, size, place);
}
extern "C" int ftruncate64(int file, off64_t size) noexcept { return ftruncate_call(file, size); }
extern "C" int close(int file) { return close_call(file); }
extern "C" ssize_t write(int file, const void *bytes, std::size_t size) {
    return write_call(file, bytes, size);
}
extern "C" int open64(const char *path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : mode_t{};
    va_end(rest);
    return open_call(path, flags, mode);
}

namespace {

constexpr int finished = 1; // results of the child
constexpr int killed = 2;

struct change {
    const char *what;
    std::string before;
    std::string section;
    std::string key;
    std::string value;
};

std::string lines(int count) {
    std::string text;
    for (int n = 0; n < count; ++n) {
        text += "key" + std::to_string(n) + "=value\n";
    }
    return text;
}

const change changes[] = {
    {"shorter", "[S]\nk=a long value\nz=1\n", "S", "k", "v"},
    {"shorter by one, no line end", "[S]\nk=old\nz=1", "S", "k", "ne"},
    {"shorter and long", "[S]\nk=" + std::string(255, 'x') + "\n" + lines(900), "S", "k", "v"},
    {"as long as before", "[S]\nk=old\nz=1\n", "S", "k", "new"},
    {"longer", "[S]\nk=v\nz=1\n", "S", "k", "a long value"},
    {"longer by one, no line end", "[S]\nz=1\nk=ol", "S", "k", "new"},
    {"longer and long", "[S]\nk=v\n" + lines(900), "S", "k", std::string(255, 'x')},
    {"new key", "[S]\nz=1\n", "S", "k", "v"},
    {"new section", "[S]\nz=1", "T", "k", "v"},
    {"first section", "", "S", "k", "v"},
    {"format text becomes shorter", "[S]\nz=%100%%%%%%%%%%%%%%%\n", "S", "k", "v"},
    {"NULs at the end", "[S]\nk=old\n\0\0\0"s, "S", "k", "v"},
    {"shorter, bytes after 0xFF", "[S]\nk=old\nz=1\n\xFFk=not read\n", "S", "k", "v"},
    {"longer, bytes after 0xFF", "[S]\nk=v\n\xFFk=not read, and more\n", "S", "k", "new"},
    {"longer than the bytes after 0xFF", "[S]\nk=v\n\xFFx=1\n", "S", "k", "a much longer value"},
    {"as long as the file with its 0xFF", "[S]\nk=v\n\xFFx", "S", "k", "new"},
    {"many bytes after 0xFF", "[S]\nk=old\n\xFF" + std::string(40000, 'x'), "S", "k", "v"},
};

/// The content of a file without newlines at its end.
std::string content(const std::string &file) {
    const std::string all = varnel::test::ini_model::content_of(file);
    return all.substr(0, all.find_last_not_of('\n') + 1);
}

class killed_setter : public ::testing::Test {
  protected:
    /// Kills `setter` after `steps` of the calls that change the file. True when it needed no more calls.
    bool run(const std::function<int32_t(const char *)> &setter, int steps) {
        child_process child([&] {
            int left = steps;
            const auto step = [&left] {
                if (left-- == 0) {
                    _exit(killed);
                }
            };
            const stand_in<ssize_t, int, const void *, std::size_t, off64_t> writing(
                pwrite_call, [&](int file, const void *bytes, std::size_t size, off64_t place) {
                    step();
                    return pwrite_call.real(file, bytes, size, place);
                });
            const stand_in<int, int, off64_t> truncating(ftruncate_call, [&](int file, off64_t size) {
                step();
                return ftruncate_call.real(file, size);
            });
            return setter(path_.c_str()) == 0 ? finished : -1;
        });
        const int status = child.wait();
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) <= killed);
        return WEXITSTATUS(status) == finished;
    }

    /// Expects the file to read as `before` or as the new text after any number of steps. Returns how many
    /// steps `setter` needs.
    int check(const std::string &before, const std::function<int32_t(const char *)> &setter) {
        write_file(path_, before);
        EXPECT_TRUE(run(setter, -1));
        const std::string after = *read_file(path_);
        for (int steps = 0;; ++steps) {
            write_file(path_, before);
            const auto identity = identity_of(path_);
            const bool done = run(setter, steps);
            const std::string found = *read_file(path_);
            EXPECT_TRUE(identity_of(path_) == identity);
            if (done) {
                EXPECT_EQ(found, after);
                return steps;
            }
            EXPECT_TRUE(content(found) == content(before) || content(found) == content(after))
                << steps << " steps: " << testing::PrintToString(found);
            EXPECT_TRUE(found.find('\xFF') == std::string::npos || before.find('\xFF') != std::string::npos)
                << steps << " steps";
        }
    }

    scratch_folder folder_;
    const std::string path_ = folder_.file("config.ini");
};

TEST_F(killed_setter, leaves_the_old_text_or_the_new_one) {
    for (const change &c : changes) {
        SCOPED_TRACE(c.what);
        EXPECT_GE(check(c.before,
                        [&c](const char *path) {
                            return set_config_string(path, c.section.c_str(), c.key.c_str(), c.value.c_str());
                        }),
                  1);
    }
}

TEST_F(killed_setter, leaves_the_old_section_or_the_new_one) {
    for (const char *name : {"B", "A name of other length", "A long nam"}) {
        SCOPED_TRACE(name);
        EXPECT_GE(check("[A long name]\nk=v\n",
                        [name](const char *path) { return set_section_string(path, "A long name", name); }),
                  1);
    }
}

TEST_F(killed_setter, leaves_the_old_text_when_killed_while_the_file_grows) {
    const std::string before = "[S]\nk=v\nz=1";
    for (std::size_t written = 0; written < 20; ++written) {
        write_file(path_, before);
        child_process child([&] {
            const stand_in<ssize_t, int, const void *, std::size_t, off64_t> killed_inside(
                pwrite_call,
                [&](int file, const void *bytes, std::size_t /*size*/, off64_t place) -> ssize_t {
                    static_cast<void>(pwrite_call.real(file, bytes, written, place));
                    _exit(killed);
                });
            return set_config_string(path_.c_str(), "S", "k", std::string(30, 'x').c_str());
        });
        ASSERT_TRUE(child.exits_with(killed));
        EXPECT_EQ(content(*read_file(path_)), before) << written;
    }
}

class setter : public killed_setter {};

TEST_F(setter, writes_again_what_a_signal_interrupted) {
    for (const change &c : changes) {
        SCOPED_TRACE(c.what);
        write_file(path_, c.before);
        int interruptions = 0;
        const stand_in<ssize_t, int, const void *, std::size_t, off64_t> writing(
            pwrite_call, [&](int file, const void *bytes, std::size_t size, off64_t place) -> ssize_t {
                if (interruptions++ % 2 == 0) {
                    errno = EINTR;
                    return -1;
                }
                return pwrite_call.real(file, bytes, size, place);
            });
        EXPECT_EQ(set_config_string(path_.c_str(), c.section.c_str(), c.key.c_str(), c.value.c_str()), 0);
        EXPECT_GT(interruptions, 1);
    }
}

TEST_F(setter, fails_and_restores_the_file_when_truncating_it_fails) {
    for (const change &c : changes) {
        SCOPED_TRACE(c.what);
        write_file(path_, c.before);
        int calls = 0;
        const stand_in<int, int, off64_t> failing(ftruncate_call, [&](int file, off64_t size) {
            if (calls++ > 0) {
                return ftruncate_call.real(file, size);
            }
            errno = EIO;
            return -1;
        });
        const int32_t result =
            set_config_string(path_.c_str(), c.section.c_str(), c.key.c_str(), c.value.c_str());
        EXPECT_EQ(result, calls > 0 ? -1 : 0);
        EXPECT_EQ(*read_file(path_) == c.before, calls > 0);
    }
}

TEST_F(setter, fails_and_restores_the_file_when_it_is_written_in_part) {
    for (const change &c : changes) {
        SCOPED_TRACE(c.what);
        write_file(path_, c.before);
        bool cut = false;
        const stand_in<ssize_t, int, const void *, std::size_t, off64_t> writing(
            pwrite_call, [&](int file, const void *bytes, std::size_t size, off64_t place) {
                const bool now =
                    !cut && std::memchr(bytes, '[', size) != nullptr; // not the newlines that lengthen a file
                cut = cut || now;
                return pwrite_call.real(file, bytes, now ? size - 1 : size, place);
            });
        EXPECT_EQ(set_config_string(path_.c_str(), c.section.c_str(), c.key.c_str(), c.value.c_str()), -1);
        EXPECT_EQ(*read_file(path_), c.before);
    }
}

TEST_F(setter, fails_and_writes_nothing_when_the_file_cannot_be_opened_for_reading) {
    write_file(path_, "[S]\nk=v\n");
    for (const int error : {EMFILE, ENOMEM}) {
        const stand_in<int, const char *, int, mode_t> opening(open_call,
                                                               [&](const char *path, int flags, mode_t mode) {
                                                                   if ((flags & O_ACCMODE) == O_RDONLY) {
                                                                       errno = error;
                                                                       return -1;
                                                                   }
                                                                   return open_call.real(path, flags, mode);
                                                               });
        EXPECT_EQ(set_config_string(path_.c_str(), "S", "k", "w"), -1);
        EXPECT_EQ(errno, error);
    }
    EXPECT_EQ(*read_file(path_), "[S]\nk=v\n");
}

TEST_F(setter, fails_when_writing_to_a_device_fails) {
    const stand_in<ssize_t, int, const void *, std::size_t> failing(
        write_call, [](int, const void *, std::size_t) -> ssize_t {
            errno = ENOSPC;
            return -1;
        });
    EXPECT_EQ(set_config_string("/dev/null", "S", "k", "v"), -1);
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(setter, fails_when_closing_the_file_fails) {
    write_file(path_, "[S]\nk=v\n");
    int closed = 0;
    const stand_in<int, int> failing(close_call, [&](int file) {
        close_call.real(file);
        errno = EIO;
        return ++closed < 2 ? 0 : -1; // after reading, after writing
    });
    EXPECT_EQ(set_config_string(path_.c_str(), "S", "k", "w"), -1);
    EXPECT_EQ(closed, 2);
}

} // namespace
