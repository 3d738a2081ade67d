// SPDX-License-Identifier: Apache-2.0
// The controller table: what daemons get of it, and what they refuse.
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/private_dev.h"
#include "support/child_process.h"
#include "support/interposed.h"
#include "tools/varnel/controller_admin/controller_table_file.h"
#include "varnel/platform.h"

namespace {

using namespace varnel::tools;
using varnel::platform::controller_record;
using varnel::platform::controller_table;
using varnel::test::interposed;
using varnel::test::logged;
using varnel::test::stand_in;

interposed<ssize_t(int, void *, std::size_t, off64_t)> pread_call("pread64");

} // namespace

extern "C" ssize_t pread64(int file, void *to, std::size_t size, off64_t place) {
    return pread_call(file, to, size, place);
}

namespace {

using login = std::array<uint8_t, 38>;

controller_record make_record(const char *address, const std::string &user, const std::string &password) {
    controller_record record{};
    record.present = 1;
    std::strcpy(record.address.data(), address);
    std::ranges::copy(user, record.login.begin() + 2);
    std::ranges::copy(password, record.login.begin() + 18);
    return record;
}

login login_of(int controller) {
    login copy;
    std::memcpy(copy.data(), smc_get_shared_memory(controller), copy.size());
    return copy;
}

std::string address_of(int controller) {
    std::array<char, 20> text;
    text.fill('x');
    get_device_ip(controller, text.data());
    return text.data();
}

class published_controller_table : public ::testing::Test {
  protected:
    published_controller_table() : name("/varnel-test-" + std::to_string(getpid())) {
        setenv("VARNEL_DEVICE_TABLE", name.c_str(), 1);
        records[0] = make_record("192.0.2.1", "smc-user", "smc-password");
        records[256] = make_record("192.0.2.255", "sixteen.letters.", "twenty.letters.long.");
        // A table in order ends what an earlier test was complained of for.
        publish();
        smc_get_shared_memory(0);
        shm_unlink(name.c_str());
        while (!logged().empty()) {
        }
    }
    ~published_controller_table() override { shm_unlink(name.c_str()); }

    void publish() const { publish_controller_table(records, name); }

    /// Publishes a good table and then changes the object's bytes at `offset`.
    template <typename Value>
    void publish_with(std::size_t offset, Value value) const {
        publish();
        const int object = shm_open(name.c_str(), O_RDWR, 0);
        EXPECT_EQ(pwrite(object, &value, sizeof value, static_cast<off_t>(offset)), ssize_t{sizeof value});
        close(object);
    }

    void expect_refused(const std::string &complaint) const {
        EXPECT_EQ(login_of(0), login{});
        EXPECT_EQ(address_of(0), "0.0.0.0");
        if (varnel::test::has_private_dev()) {
            const std::string line = logged();
            EXPECT_THAT(line, ::testing::StartsWith("<" + std::to_string(LOG_USER | LOG_ERR) + ">"));
            EXPECT_THAT(line, ::testing::EndsWith("controller table " + name + " is not used: " + complaint));
            EXPECT_EQ(logged(), "") << "logged more than once";
        }
        try {
            read_controller_table();
            ADD_FAILURE() << "the table was read";
        } catch (const controller_error &error) {
            EXPECT_EQ(error.what(), name + ": " + complaint);
        }
    }

    std::string name;
    controller_records records{};
};

TEST_F(published_controller_table, login_and_address_are_returned) {
    publish();
    errno = E2BIG;
    const login smc = login_of(0);
    EXPECT_EQ(std::string(smc.begin() + 2, smc.begin() + 11), std::string("smc-user\0", 9));
    EXPECT_EQ(std::string(smc.begin() + 18, smc.begin() + 31), std::string("smc-password\0", 13));
    EXPECT_EQ(address_of(0), "192.0.2.1");
    std::array<char, 20> ip{};
    EXPECT_EQ(get_device_ip(0, ip.data()), 0);
    EXPECT_EQ(errno, E2BIG);
}

TEST_F(published_controller_table, controller_is_found_by_its_address) {
    for (const int number : {0, 31, 32, 33, 255, 256}) {
        SCOPED_TRACE(number);
        records = {};
        records[static_cast<std::size_t>(number)] = make_record("192.0.2.7", "user", "password");
        publish();
        controller_record found = make_record("192.0.2.8", "another", "secret");
        EXPECT_EQ(varnel::platform::find_controller("192.0.2.7", found), nullptr);
        EXPECT_EQ(found.login, records[static_cast<std::size_t>(number)].login);
        EXPECT_EQ(varnel::platform::find_controller("192.0.2.9", found), nullptr);
        EXPECT_EQ(found.present, 0);
        EXPECT_EQ(found.login, login{});
    }
}

TEST_F(published_controller_table, first_controller_with_an_address_is_found_if_it_is_present) {
    for (const std::size_t number : {1U, 2U, 3U}) {
        records[number] = make_record("192.0.2.7", "user " + std::to_string(number), "password");
    }
    records[1].present = 0;
    publish();
    controller_record found{};
    EXPECT_EQ(varnel::platform::find_controller("192.0.2.7", found), nullptr);
    EXPECT_EQ(found.login, records[2].login);
    EXPECT_EQ(login_of(1), login{});
}

TEST_F(published_controller_table, search_in_a_refused_table_returns_the_reason) {
    publish();
    ASSERT_EQ(truncate(("/dev/shm" + name).c_str(), 1000), 0);
    controller_record found = records[0];
    EXPECT_STREQ(varnel::platform::find_controller("192.0.2.1", found), "not the size of a controller table");
    EXPECT_EQ(found.login, login{});
}

TEST_F(published_controller_table, own_table_of_another_user_than_root_is_read) {
    publish();
    if (geteuid() != 0 || chown(("/dev/shm" + name).c_str(), 65534, 65534) != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    varnel::test::child_process child([] {
        const bool is_read = seteuid(65534) == 0 && address_of(0) == "192.0.2.1";
        return seteuid(0) == 0 && is_read ? 0 : 1;
    });
    EXPECT_TRUE(child.exits_with(0));
}

/// A daemon may have closed its standard input.
TEST_F(published_controller_table, table_opened_as_descriptor_0_is_read_and_closed) {
    publish();
    varnel::test::child_process child([] {
        close(STDIN_FILENO);
        return address_of(0) == "192.0.2.1" && fcntl(STDIN_FILENO, F_GETFD) == -1 ? 0 : 1;
    });
    EXPECT_TRUE(child.exits_with(0));
}

TEST_F(published_controller_table, name_is_the_default_when_the_environment_has_none) {
    setenv("VARNEL_DEVICE_TABLE", "", 1);
    EXPECT_STREQ(varnel::platform::table_name(), "/varnel-devices");
    unsetenv("VARNEL_DEVICE_TABLE");
    EXPECT_STREQ(varnel::platform::table_name(), "/varnel-devices");
}

TEST_F(published_controller_table, fields_without_a_nul_are_returned_in_full) {
    publish();
    const login bmc = login_of(256);
    EXPECT_EQ(std::string(bmc.begin() + 2, bmc.end()), "sixteen.letters.twenty.letters.long.");
    EXPECT_EQ(address_of(256), "192.0.2.255");
}

TEST_F(published_controller_table, absent_controllers_have_an_empty_login_and_no_address) {
    publish();
    for (const int controller : {1, 255, 257, 1000, -1, INT_MAX, INT_MIN}) {
        EXPECT_NE(login_of(0), login{});
        EXPECT_EQ(login_of(controller), login{}) << controller;
        EXPECT_EQ(address_of(controller), "0.0.0.0") << controller;
        std::array<char, 20> ip{};
        EXPECT_EQ(get_device_ip(controller, ip.data()), -1);
        EXPECT_EQ(errno, ENODEV);
    }
    EXPECT_EQ(logged(), "");
}

TEST_F(published_controller_table, missing_table_has_empty_logins_and_no_addresses) {
    errno = E2BIG;
    EXPECT_EQ(login_of(0), login{});
    EXPECT_EQ(errno, E2BIG);
    EXPECT_EQ(address_of(0), "0.0.0.0");
    EXPECT_EQ(logged(), "");
}

TEST_F(published_controller_table, returned_login_is_not_changed_by_a_new_table) {
    publish();
    const uint8_t *const record = smc_get_shared_memory(0);
    records[0] = make_record("192.0.2.9", "another", "secret");
    publish();
    std::thread([] { smc_get_shared_memory(256); }).join();
    EXPECT_STREQ(reinterpret_cast<const char *>(record) + 2, "smc-user");
    EXPECT_EQ(address_of(0), "192.0.2.9");
}

TEST_F(published_controller_table, published_table_has_mode_0600) {
    const mode_t before = umask(0);
    publish();
    umask(before);
    struct stat object {};
    ASSERT_EQ(stat(("/dev/shm" + name).c_str(), &object), 0);
    EXPECT_EQ(object.st_mode, S_IFREG | 0600U);
    EXPECT_EQ(object.st_uid, geteuid());
}

TEST_F(published_controller_table, publishing_replaces_an_object_that_others_have_open) {
    const int foreign = shm_open(name.c_str(), O_RDWR | O_CREAT, 0666);
    ASSERT_EQ(fchmod(foreign, 0666), 0);
    publish();
    struct stat object {};
    ASSERT_EQ(fstat(foreign, &object), 0);
    EXPECT_EQ(object.st_size, 0) << "passwords written into an object that others have open";
    EXPECT_EQ(address_of(0), "192.0.2.1");
    close(foreign);
}

TEST_F(published_controller_table, truncated_table_is_refused) {
    publish();
    ASSERT_EQ(truncate(("/dev/shm" + name).c_str(), 1000), 0);
    expect_refused("not the size of a controller table");
}

TEST_F(published_controller_table, table_truncated_while_it_is_read_is_refused) {
    int whole_reads = 0;
    const stand_in<ssize_t, int, void *, std::size_t, off64_t> truncating(
        pread_call, [&](int file, void *to, std::size_t size, off64_t place) {
            if (whole_reads-- == 0) {
                EXPECT_EQ(truncate(("/dev/shm" + name).c_str(), 8), 0);
            }
            return pread_call.real(file, to, size, place);
        });
    for (const char *complaint : {"not a controller table", "cut short"}) {
        publish();
        controller_record read = records[0];
        EXPECT_STREQ(varnel::platform::read_controller(0, read), complaint);
        EXPECT_EQ(read.login, login{});
        whole_reads = 1;
    }
}

TEST_F(published_controller_table, table_in_order_after_a_refused_one_logs_nothing) {
    publish();
    ASSERT_EQ(truncate(("/dev/shm" + name).c_str(), 1000), 0);
    expect_refused("not the size of a controller table");
    publish();
    EXPECT_EQ(address_of(0), "192.0.2.1");
    EXPECT_EQ(logged(), "");
}

TEST_F(published_controller_table, empty_object_is_refused) {
    close(shm_open(name.c_str(), O_RDWR | O_CREAT, 0600));
    expect_refused("not the size of a controller table");
}

TEST_F(published_controller_table, object_without_the_magic_number_is_refused) {
    publish_with(0, 'X');
    expect_refused("not a controller table");
}

TEST_F(published_controller_table, table_of_another_version_is_refused) {
    publish_with(offsetof(controller_table, version), uint32_t{2});
    expect_refused("a controller table of another version");
}

TEST_F(published_controller_table, table_with_records_of_another_size_is_refused) {
    publish_with(offsetof(controller_table, record_size), uint32_t{65});
    expect_refused("a controller table of another version");
}

TEST_F(published_controller_table, table_readable_by_everybody_is_refused) {
    publish();
    ASSERT_EQ(chmod(("/dev/shm" + name).c_str(), 0604), 0);
    expect_refused("open to other users (mode is not 0600)");
}

TEST_F(published_controller_table, table_readable_by_others_is_refused) {
    publish();
    ASSERT_EQ(chmod(("/dev/shm" + name).c_str(), 0640), 0);
    expect_refused("open to other users (mode is not 0600)");
}

TEST_F(published_controller_table, table_of_another_user_is_refused) {
    publish();
    if (chown(("/dev/shm" + name).c_str(), 12345, 12345) != 0) {
        GTEST_SKIP() << "only root can change the owner of a file";
    }
    expect_refused("belongs to another user");
}

TEST_F(published_controller_table, directory_is_refused) {
    ASSERT_EQ(mkdir(("/dev/shm" + name).c_str(), 0700), 0);
    expect_refused("not a regular file");
    rmdir(("/dev/shm" + name).c_str());
}

TEST_F(published_controller_table, fifo_is_refused_without_waiting) {
    ASSERT_EQ(mkfifo(("/dev/shm" + name).c_str(), 0600), 0);
    expect_refused("not a regular file");
}

TEST_F(published_controller_table, another_users_fifo_is_refused_without_waiting) {
    ASSERT_EQ(mkfifo(("/dev/shm" + name).c_str(), 0600), 0);
    if (chown(("/dev/shm" + name).c_str(), 12345, 12345) != 0) {
        GTEST_SKIP() << "only root can change the owner of a file";
    }
    expect_refused("belongs to another user");
}

TEST_F(published_controller_table, symbolic_link_is_refused) {
    ASSERT_EQ(symlink("/", ("/dev/shm" + name).c_str()), 0);
    expect_refused("Too many levels of symbolic links");
}

TEST_F(published_controller_table, address_without_a_nul_is_not_returned) {
    std::array<char, 16> unterminated;
    unterminated.fill('1');
    publish_with(offsetof(controller_table, records) + offsetof(controller_record, address), unterminated);
    EXPECT_EQ(address_of(0), "0.0.0.0");
}

TEST_F(published_controller_table, readers_never_see_a_half_written_table) {
    records[0] = make_record("192.0.2.1", "1111111111111111", "11111111111111111111");
    publish();
    std::atomic<bool> done = false;
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            while (!done) {
                const login seen = login_of(0);
                EXPECT_TRUE(seen[2] == '1' || seen[2] == '2');
                EXPECT_THAT(std::vector<uint8_t>(seen.begin() + 2, seen.end()), ::testing::Each(seen[2]));
                EXPECT_THAT(address_of(0), ::testing::AnyOf("192.0.2.1", "192.0.2.2"));
            }
        });
    }
    for (int i = 0; i < 500; ++i) {
        const bool odd = i % 2 == 0;
        records[0] = odd ? make_record("192.0.2.2", "2222222222222222", "22222222222222222222")
                         : make_record("192.0.2.1", "1111111111111111", "11111111111111111111");
        publish();
    }
    done = true;
    for (std::thread &each : readers) {
        each.join();
    }
}

} // namespace
