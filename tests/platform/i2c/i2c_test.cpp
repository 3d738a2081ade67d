// SPDX-License-Identifier: Apache-2.0
// The I2C primitives of the platform library over the kernel's interface, /dev/i2c-N.
#include <algorithm>
#include <cerrno>
#include <functional>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <linux/i2c.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_i2c_kernel.h"
#include "support/child_process.h"
#include "support/pipe_ends.h"
#include "varnel/platform.h"
#include "varnel/smbus.h"

namespace {

using namespace varnel::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using bytes = std::vector<uint8_t>;

constexpr unsigned long with_messages = I2C_FUNC_I2C | I2C_FUNC_SMBUS_EMUL;
constexpr unsigned long every_smbus_request = I2C_FUNC_SMBUS_EMUL | I2C_FUNC_SMBUS_READ_BLOCK_DATA |
                                              I2C_FUNC_SMBUS_WRITE_BLOCK_DATA |
                                              I2C_FUNC_SMBUS_BLOCK_PROC_CALL;
constexpr uint8_t chip = 0x50;

class i2c : public ::testing::Test {
  protected:
    // The library keeps a bus open until the process ends, so each test uses a bus of its own.
    i2c() : bus(next_bus++) {}

    void plug(unsigned long functionality) { kernel.plug(bus, functionality); }
    int write(const bytes &frame, uint8_t slave = chip) {
        return i2c_master_write_on_bus(bus, slave, frame.data(), static_cast<uint16_t>(frame.size()));
    }
    int read(bytes &into) {
        return i2c_master_read_on_bus(bus, chip, into.data(), static_cast<uint16_t>(into.size()));
    }
    int write_read(const bytes &frame, bytes &into) {
        return i2c_writeread_on_bus(bus, chip, frame.data(), into.data(), static_cast<uint16_t>(frame.size()),
                                    static_cast<uint16_t>(into.size()));
    }

    fake_i2c_kernel kernel;
    uint8_t bus;

  private:
    static inline uint8_t next_bus = 0;
};

TEST_F(i2c, write_is_one_i2c_message) {
    plug(with_messages);
    errno = E2BIG;
    EXPECT_EQ(write({1, 2, 3}), 3);
    EXPECT_EQ(errno, E2BIG);
    EXPECT_THAT(kernel.transfers(), ElementsAre(wire_transfer{chip, {1, 2, 3}, -1}));
    EXPECT_EQ(kernel.messages, 1U);
    EXPECT_THAT(kernel.calls(), ElementsAre("open " + std::to_string(bus), "I2C_RDWR"));
}

TEST_F(i2c, read_is_one_i2c_message) {
    plug(with_messages);
    kernel.answer = {7, 8, 9};
    bytes answer(3);
    EXPECT_EQ(read(answer), 3);
    EXPECT_EQ(answer, (bytes{7, 8, 9}));
    EXPECT_THAT(kernel.transfers(), ElementsAre(wire_transfer{chip, {}, 3}));
    EXPECT_EQ(kernel.messages, 1U);
}

TEST_F(i2c, write_read_is_one_combined_transfer) {
    plug(with_messages);
    kernel.answer = {7, 8};
    bytes answer(2);
    EXPECT_EQ(write_read({0x10}, answer), 0);
    EXPECT_EQ(answer, (bytes{7, 8}));
    EXPECT_THAT(kernel.calls(), ElementsAre("open " + std::to_string(bus), "I2C_RDWR"));
    EXPECT_THAT(kernel.transfers(), ElementsAre(wire_transfer{chip, {0x10}, 2}));
    EXPECT_EQ(kernel.messages, 2U);
}

TEST_F(i2c, transfers_of_up_to_8192_bytes_return_their_length) {
    plug(with_messages);
    EXPECT_EQ(write(bytes(8192, 0xA5)), 8192);
    bytes answer(8192);
    EXPECT_EQ(read(answer), 8192);
    EXPECT_EQ(write(bytes(8193)), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(i2c, errno_of_the_kernel_is_kept) {
    plug(with_messages);
    for (const int error : {ENXIO, EREMOTEIO, EAGAIN, ETIMEDOUT, EIO}) {
        kernel.fail_with = error;
        bytes answer{0xEE};
        EXPECT_EQ(write({1}), -1);
        EXPECT_EQ(errno, error);
        EXPECT_EQ(read(answer), -1);
        EXPECT_EQ(write_read({1}, answer), -1);
        EXPECT_EQ(answer, bytes{0xEE});
    }
}

TEST_F(i2c, failed_transfer_is_not_retried) {
    plug(with_messages);
    kernel.fail_with = EAGAIN;
    EXPECT_EQ(write({1}), -1);
    EXPECT_EQ(kernel.transfers().size(), 1U);
}

TEST_F(i2c, combined_transfer_of_which_not_all_messages_are_done_fails_with_eio) {
    plug(with_messages);
    bytes answer(1);
    for (const int done : {0, 1}) {
        kernel.messages_done = done;
        errno = 0;
        EXPECT_EQ(write_read({1}, answer), -1);
        EXPECT_EQ(errno, EIO);
    }
}

TEST_F(i2c, addresses_above_7_bits_fail_without_bus_traffic) {
    plug(with_messages);
    EXPECT_EQ(write({1}, 0x80), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_THAT(kernel.calls(), IsEmpty());
    EXPECT_EQ(write({1}, 0x7F), 1);
}

/// A thread that is cancelled during a transfer, and its result.
int write_of_a_cancelled_thread(std::function<int()> write) {
    struct {
        std::function<int()> write;
        int result = 0;
    } cancelled{std::move(write)};
    pthread_t thread{};
    const auto body = [](void *given) -> void * {
        auto &mine = *static_cast<decltype(cancelled) *>(given);
        mine.result = mine.write();
        pthread_testcancel();
        return nullptr;
    };
    void *end = nullptr;
    EXPECT_EQ(pthread_create(&thread, nullptr, body, &cancelled), 0);
    EXPECT_EQ(pthread_join(thread, &end), 0);
    EXPECT_EQ(end, PTHREAD_CANCELED);
    return cancelled.result;
}

TEST_F(i2c, cancelled_thread_completes_its_transfer) {
    plug(with_messages);
    kernel.before_transfer = [] {
        pthread_cancel(pthread_self());
        pthread_testcancel();
    };
    EXPECT_EQ(write_of_a_cancelled_thread([&] { return write({1}); }), 1);
    kernel.before_transfer = [] {};
    EXPECT_EQ(write({2}), 1);
}

bool is_open(int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; }

TEST_F(i2c, missing_bus_fails_with_enodev) {
    ASSERT_TRUE(is_open(STDIN_FILENO));
    EXPECT_EQ(write({1}), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_TRUE(is_open(STDIN_FILENO)) << "a bus that was never open closes nothing";
}

TEST_F(i2c, adapter_that_does_not_tell_its_functionality_is_closed) {
    plug(with_messages);
    const int next = dup(STDIN_FILENO);
    close(next);
    for (const auto &[reported, error] : {std::pair{EIO, EIO}, {ENXIO, ENODEV}, {ENOENT, ENODEV}}) {
        kernel.fail_functionality_with = reported;
        EXPECT_EQ(write({1}), -1);
        EXPECT_EQ(errno, error);
        EXPECT_FALSE(is_open(next));
    }
    kernel.fail_functionality_with = 0;
    EXPECT_EQ(write({1}), 1);
}

TEST_F(i2c, node_whose_status_cannot_be_read_is_closed) {
    plug(with_messages);
    const int next = dup(STDIN_FILENO);
    close(next);
    kernel.fail_status_with = EIO;
    EXPECT_EQ(write({1}), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_FALSE(is_open(next));
    kernel.fail_status_with = 0;
    EXPECT_EQ(write({1}), 1);
}

// Addresses without data.

TEST_F(i2c, empty_transfers_use_the_quick_request) {
    plug(with_messages);
    bytes none;
    EXPECT_EQ(write({}), 0);
    EXPECT_EQ(read(none), 0);
    EXPECT_THAT(kernel.transfers(), ElementsAre(wire_transfer{chip, {}, -1}, wire_transfer{chip, {}, 0}));
    const std::string quick = "I2C_SMBUS " + std::to_string(I2C_SMBUS_QUICK);
    EXPECT_THAT(kernel.calls(), ElementsAre("open " + std::to_string(bus), quick, quick));
}

TEST_F(i2c, empty_transfers_fail_on_an_adapter_without_quick) {
    plug(with_messages & ~static_cast<unsigned long>(I2C_FUNC_SMBUS_QUICK));
    bytes none;
    bytes one(1);
    EXPECT_EQ(write({}), -1);
    EXPECT_EQ(errno, EOPNOTSUPP);
    EXPECT_EQ(read(none), -1);
    EXPECT_EQ(write_read({}, one), -1);
    EXPECT_EQ(write_read({1}, none), -1);
    EXPECT_EQ(errno, EOPNOTSUPP);
    EXPECT_THAT(kernel.transfers(), IsEmpty());
    EXPECT_EQ(write({1}), 1);
    EXPECT_EQ(read(one), 1);
    EXPECT_EQ(write_read({1}, one), 0);
}

TEST_F(i2c, empty_phase_of_a_combined_transfer_is_a_message) {
    plug(with_messages);
    bytes none;
    bytes one(1);
    EXPECT_EQ(write_read({}, one), 0);
    EXPECT_EQ(write_read({1}, none), 0);
    EXPECT_EQ(write_read({}, none), 0);
    EXPECT_THAT(kernel.transfers(), ElementsAre(wire_transfer{chip, {}, 1}, wire_transfer{chip, {1}, 0},
                                                wire_transfer{chip, {}, 0}));
}

TEST_F(i2c, failed_quick_request_fails_with_its_errno) {
    plug(with_messages);
    kernel.fail_with = ENXIO;
    EXPECT_EQ(write({}), -1);
    EXPECT_EQ(errno, ENXIO);
}

TEST_F(i2c, quick_request_is_not_sent_when_its_address_cannot_be_set) {
    plug(with_messages);
    kernel.fail_address_with = EBUSY;
    EXPECT_EQ(write({}), -1);
    EXPECT_EQ(errno, EBUSY);
    EXPECT_THAT(kernel.transfers(), IsEmpty());
}

// Adapters that accept only SMBus requests.

/// A call of the library and the buffers it fills.
struct library_call {
    const char *name;
    std::function<int(uint32_t device, bytes &filled)> call;
};

const bytes block_of_32(32, 0x5A);

const std::vector<library_call> &library_calls() {
    static const std::vector<library_call> calls{
        {"quick write", [](uint32_t d, bytes &) { return smbus_quick_to_device(d, 0); }},
        {"quick read", [](uint32_t d, bytes &) { return smbus_quick_to_device(d, 1); }},
        {"send byte", [](uint32_t d, bytes &) { return smbus_send_byte_to_device(d, 0x21); }},
        {"receive byte", [](uint32_t d, bytes &f) { return smbus_recv_byte_to_device(d, f.data()); }},
        {"write byte", [](uint32_t d, bytes &) { return smbus_write_byte_to_device(d, 0x21, 0x43); }},
        {"read byte", [](uint32_t d, bytes &f) { return smbus_read_byte_to_device(d, 0x21, f.data()); }},
        {"write word", [](uint32_t d, bytes &) { return smbus_write_word_to_device(d, 0x21, 0xBEEF); }},
        {"read word",
         [](uint32_t d, bytes &f) {
             uint16_t word = 0;
             const int result = smbus_read_word_to_device(d, 0x21, &word);
             f = {static_cast<uint8_t>(word), static_cast<uint8_t>(word >> 8)};
             return result;
         }},
        {"write block of 0",
         [](uint32_t d, bytes &) { return smbus_write_block_to_device(d, 0x21, 0, nullptr); }},
        {"write block of 1",
         [](uint32_t d, bytes &) { return smbus_write_block_to_device(d, 0x21, 1, block_of_32.data()); }},
        {"write block of 32",
         [](uint32_t d, bytes &) { return smbus_write_block_to_device(d, 0x21, 32, block_of_32.data()); }},
        {"read block of 4",
         [](uint32_t d, bytes &f) { return smbus_read_block_to_device(d, 0x21, 4, f.data()); }},
        {"process call",
         [](uint32_t d, bytes &f) {
             uint16_t word = 0;
             const int result = smbus_process_call_to_device(d, 0x21, 0xBEEF, &word);
             f = {static_cast<uint8_t>(word), static_cast<uint8_t>(word >> 8)};
             return result;
         }},
        {"block process call",
         [](uint32_t d, bytes &f) {
             return smbus_block_write_block_read_process_call_to_device(d, 0x21, 3, block_of_32.data(), 4,
                                                                        f.data());
         }},
        {"raw write of 12",
         [](uint32_t d, bytes &) {
             return smbus_flexible_write_read_to_device(d, 0, 12, block_of_32.data(), 0, nullptr);
         }},
        {"raw read of 9 after a register",
         [](uint32_t d, bytes &f) {
             return smbus_flexible_write_read_to_device(d, 0, 1, block_of_32.data(), 9, f.data());
         }},
    };
    return calls;
}

class smbus_only_adapter : public i2c, public ::testing::WithParamInterface<library_call> {
  protected:
    // The answer's first byte is the count of a block of four.
    smbus_only_adapter() { kernel.answer = {4, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}; }

    struct outcome {
        int result;
        bytes filled;
        std::vector<wire_transfer> transfers;
        bool operator==(const outcome &) const = default;
    };

    outcome run_on(uint8_t number) {
        kernel.forget();
        bytes filled(40);
        const int result = GetParam().call(number | chip << 8U, filled);
        return {result, filled, kernel.transfers()};
    }
};

TEST_P(smbus_only_adapter, frame_is_the_same_on_the_wire_as_with_i2c_messages) {
    const auto raw_bus = static_cast<uint8_t>(bus + 100);
    kernel.plug(raw_bus, with_messages);
    plug(every_smbus_request);
    const outcome expected = run_on(raw_bus);
    EXPECT_EQ(expected.result, 0);
    EXPECT_EQ(run_on(bus), expected);
    EXPECT_THAT(kernel.calls(), ::testing::Not(::testing::Contains("I2C_RDWR")));
}

INSTANTIATE_TEST_SUITE_P(every_frame, smbus_only_adapter, ::testing::ValuesIn(library_calls()),
                         [](const auto &row) {
                             std::string name = row.param.name;
                             std::ranges::replace(name, ' ', '_');
                             return name;
                         });

class smbus_requests_of_an_adapter : public i2c {};

TEST_F(smbus_requests_of_an_adapter, transfers_that_are_no_smbus_frame_fail_with_eopnotsupp) {
    plug(every_smbus_request);
    bytes two(2);
    bytes four(4);
    bytes thirty_four(34);
    bytes none;
    const std::vector<std::function<int()>> refused{
        [&] { return read(two); },                    // a plain read of more than a byte
        [&] { return write(bytes(34, 0x21)); },       // too long for a block, with or without a count
        [&] { return write_read({1}, thirty_four); }, // the same as a read
        [&] {
            return write_read({1, 2}, four);
        }, // a two-byte register
        [&] {
            return write_read({1, 2, 3}, four);
        },                                   // three bytes and no count
        [&] { return write_read({}, two); }, // empty phases
        [&] { return write_read({1}, none); },
    };
    for (std::size_t i = 0; i < refused.size(); ++i) {
        errno = 0;
        EXPECT_EQ(refused[i](), -1) << i;
        EXPECT_EQ(errno, EOPNOTSUPP) << i;
    }
    EXPECT_THAT(kernel.transfers(), IsEmpty());
}

TEST_F(smbus_requests_of_an_adapter, unsupported_request_is_replaced_by_one_with_the_same_bytes) {
    plug(I2C_FUNC_SMBUS_WRITE_I2C_BLOCK | I2C_FUNC_SMBUS_READ_I2C_BLOCK);
    bytes one(1);
    bytes two(2);
    EXPECT_EQ(write({1, 2}), 2);
    EXPECT_EQ(write({1, 2, 3}), 3);
    EXPECT_EQ(write({1, 3, 3, 4, 5}), 5);
    EXPECT_EQ(write_read({1}, one), 0);
    EXPECT_EQ(write_read({1}, two), 0);
    EXPECT_THAT(kernel.transfers(),
                ElementsAre(wire_transfer{chip, {1, 2}, -1}, wire_transfer{chip, {1, 2, 3}, -1},
                            wire_transfer{chip, {1, 3, 3, 4, 5}, -1}, wire_transfer{chip, {1}, 1},
                            wire_transfer{chip, {1}, 2}));
}

TEST_F(smbus_requests_of_an_adapter, unsupported_requests_are_not_sent_to_the_adapter) {
    plug(I2C_FUNC_SMBUS_BYTE);
    bytes one(1);
    EXPECT_EQ(write({1}), 1);
    EXPECT_EQ(read(one), 1);
    kernel.forget();
    EXPECT_EQ(write({}), -1);
    EXPECT_EQ(write({1, 2}), -1);
    EXPECT_EQ(write({1, 2, 3}), -1);
    EXPECT_EQ(write_read({1}, one), -1);
    EXPECT_EQ(errno, EOPNOTSUPP);
    EXPECT_THAT(kernel.calls(), IsEmpty());
}

TEST_F(smbus_requests_of_an_adapter, block_read_fails_when_the_chip_sends_fewer_bytes) {
    plug(I2C_FUNC_SMBUS_READ_BLOCK_DATA);
    bytes answer(5);
    kernel.answer = {4, 1, 2, 3, 4};
    EXPECT_EQ(write_read({0x10}, answer), 0);
    EXPECT_EQ(answer, (bytes{4, 1, 2, 3, 4}));
    kernel.answer = {6, 6, 5, 4, 3, 2, 1};
    EXPECT_EQ(write_read({0x10}, answer), 0);
    EXPECT_EQ(answer, (bytes{6, 6, 5, 4, 3}));
    kernel.answer = {3, 1, 2, 3};
    const bytes before = answer;
    EXPECT_EQ(write_read({0x10}, answer), -1);
    EXPECT_EQ(errno, EPROTO);
    EXPECT_EQ(answer, before);
}

TEST_F(smbus_requests_of_an_adapter, address_and_request_of_a_thread_stay_together) {
    plug(I2C_FUNC_SMBUS_WRITE_BYTE);
    kernel.before_transfer = [] { std::this_thread::yield(); };
    std::vector<std::thread> threads;
    for (uint8_t slave = 0x20; slave < 0x28; ++slave) {
        threads.emplace_back([this, slave] {
            for (int i = 0; i < 200; ++i) {
                EXPECT_EQ(write({slave}, slave), 1);
            }
        });
    }
    for (std::thread &each : threads) {
        each.join();
    }
    const auto transfers = kernel.transfers();
    EXPECT_EQ(transfers.size(), 8U * 200);
    for (const wire_transfer &each : transfers) {
        EXPECT_EQ(each.written, bytes{static_cast<uint8_t>(each.slave)});
    }
}

// The descriptor.

class i2c_descriptor : public i2c {
  protected:
    int descriptor_in_use() {
        EXPECT_EQ(write({1}), 1);
        const int descriptor = kernel.last_descriptor();
        kernel.forget();
        return descriptor;
    }
    [[nodiscard]] std::string open_call() const { return "open " + std::to_string(bus); }
};

TEST_F(i2c_descriptor, is_opened_once_by_threads_that_start_together) {
    plug(with_messages);
    std::vector<std::thread> threads;
    for (int i = 0; i < 16; ++i) {
        threads.emplace_back([this] { EXPECT_EQ(write({1}), 1); });
    }
    for (std::thread &each : threads) {
        each.join();
    }
    const auto calls = kernel.calls();
    EXPECT_EQ(std::ranges::count(calls, open_call()), 1);
}

TEST_F(i2c_descriptor, is_closed_on_exec) {
    plug(with_messages);
    EXPECT_EQ(fcntl(descriptor_in_use(), F_GETFD), FD_CLOEXEC);
}

TEST_F(i2c_descriptor, never_occupies_a_standard_stream) {
    plug(with_messages);
    for (const int stream : {STDIN_FILENO, STDERR_FILENO}) {
        const int kept = dup(stream);
        close(stream);
        const int descriptor = descriptor_in_use();
        const bool taken = is_open(stream);
        dup2(kept, stream);
        close(kept);
        EXPECT_GT(descriptor, STDERR_FILENO);
        EXPECT_FALSE(taken);
        EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC);
        close(descriptor);
    }
}

TEST_F(i2c_descriptor, is_opened_again_after_the_daemon_closed_it) {
    plug(with_messages);
    close(descriptor_in_use());
    EXPECT_EQ(write({2}), 1);
    EXPECT_THAT(kernel.calls(), ElementsAre(open_call(), "I2C_RDWR"));
}

TEST_F(i2c_descriptor, is_not_used_when_its_number_belongs_to_another_file) {
    plug(with_messages);
    const int number = descriptor_in_use();
    const pipe_ends other;
    dup2(other.writer(), number);
    EXPECT_EQ(write({2}), 1);
    EXPECT_NE(kernel.last_descriptor(), number);
    EXPECT_EQ(::write(number, "x", 1), 1);
    close(number);
}

TEST_F(i2c_descriptor, is_not_used_when_its_number_belongs_to_another_adapter) {
    plug(with_messages);
    const int number = descriptor_in_use();
    const auto other_bus = static_cast<uint8_t>(bus + 100);
    kernel.plug(other_bus, with_messages);
    EXPECT_EQ(i2c_master_write_on_bus(other_bus, chip, bytes{1}.data(), 1), 1);
    dup2(kernel.last_descriptor(), number);
    EXPECT_EQ(write({2}), 1);
    EXPECT_NE(kernel.last_descriptor(), number);
    close(number);
}

TEST_F(i2c_descriptor, is_not_closed_when_its_number_belongs_to_another_file) {
    plug(with_messages);
    const int number = descriptor_in_use();
    const pipe_ends other;
    dup2(other.writer(), number);
    kernel.unplug(bus);
    EXPECT_EQ(write({2}), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_TRUE(is_open(number));
    close(number);
}

TEST_F(i2c_descriptor, is_closed_on_adapter_removal_and_opened_on_its_return) {
    plug(with_messages);
    const int first = descriptor_in_use();
    kernel.unplug(bus);
    EXPECT_EQ(write({2}), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_FALSE(is_open(first));
    EXPECT_EQ(write({2}), -1);
    EXPECT_THAT(kernel.transfers(), IsEmpty());
    plug(with_messages);
    EXPECT_EQ(write({3}), 1);
}

TEST_F(i2c_descriptor, is_replaced_when_the_adapter_was_unplugged_in_between) {
    plug(I2C_FUNC_SMBUS_BYTE);
    const int first = descriptor_in_use();
    kernel.unplug(bus);
    plug(with_messages);
    EXPECT_EQ(write({1, 2, 3, 4}), 4);
    EXPECT_EQ(kernel.last_descriptor(), first) << "the number was free, so the first was closed";
    EXPECT_THAT(kernel.calls(), ElementsAre(open_call(), "I2C_RDWR"));
}

TEST_F(i2c_descriptor, is_closed_after_enodev_or_eshutdown) {
    plug(with_messages);
    for (const int error : {ENODEV, ESHUTDOWN}) {
        const int first = descriptor_in_use();
        kernel.fail_with = error;
        EXPECT_EQ(write({2}), -1);
        EXPECT_EQ(errno, error);
        EXPECT_FALSE(is_open(first));
        kernel.fail_with = 0;
        kernel.forget();
        EXPECT_EQ(write({3}), 1);
        EXPECT_THAT(kernel.calls(), ElementsAre(open_call(), "I2C_RDWR"));
    }
}

TEST_F(i2c_descriptor, is_kept_after_a_missing_acknowledge) {
    plug(with_messages);
    descriptor_in_use();
    kernel.fail_with = ENXIO;
    EXPECT_EQ(write({2}), -1);
    kernel.fail_with = 0;
    EXPECT_EQ(write({3}), 1);
    EXPECT_THAT(kernel.calls(), ElementsAre("I2C_RDWR", "I2C_RDWR"));
}

TEST_F(i2c_descriptor, is_used_by_a_forked_child) {
    plug(with_messages);
    descriptor_in_use();
    child_process child(
        [this] { return write({2}) == 1 && kernel.calls() == std::vector<std::string>{"I2C_RDWR"} ? 0 : 1; });
    EXPECT_TRUE(child.exits_with(0));
}

TEST_F(i2c_descriptor, of_an_smbus_adapter_is_not_shared_with_a_child) {
    plug(I2C_FUNC_SMBUS_BYTE);
    const int parents = descriptor_in_use();
    child_process child([&] {
        const bool first = write({2}) == 1 && kernel.calls().front() == open_call();
        kernel.forget();
        const bool second = write({2}) == 1 && kernel.calls().front() != open_call();
        return first && second && !is_open(parents) ? 0 : 1;
    });
    EXPECT_TRUE(child.exits_with(0));
    EXPECT_TRUE(is_open(parents));
    EXPECT_EQ(write({3}), 1);
    EXPECT_EQ(kernel.last_descriptor(), parents);
}

TEST_F(i2c_descriptor, shared_with_a_parent_is_not_used_when_no_other_can_be_opened) {
    plug(I2C_FUNC_SMBUS_BYTE);
    const int parents = descriptor_in_use();
    child_process child([&] {
        const rlimit none{0, 0};
        setrlimit(RLIMIT_NOFILE, &none);
        const bool failed = write({2}) == -1 && errno == EMFILE;
        return failed && kernel.transfers().empty() && is_open(parents) ? 0 : 1;
    });
    EXPECT_TRUE(child.exits_with(0));
}

TEST_F(i2c_descriptor, is_usable_in_a_child_forked_during_a_transfer) {
    plug(with_messages);
    bool worked_in_child = false;
    bool in_parent = true;
    kernel.before_transfer = [&] {
        if (!std::exchange(in_parent, false)) {
            return;
        }
        child_process child([this] {
            alarm(60); // the parent's mutex would stay locked in the child for ever
            return write({2}) == 1 ? 0 : 1;
        });
        worked_in_child = child.exits_with(0);
    };
    EXPECT_EQ(write({1}), 1);
    EXPECT_TRUE(worked_in_child);
}

} // namespace
