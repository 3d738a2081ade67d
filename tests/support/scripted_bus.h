// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace varnel::test {

using bytes = std::vector<uint8_t>;

/// One call of an I2C primitive with its arguments.
struct transfer {
    enum class kind { write, read, write_read };

    kind primitive;
    unsigned int bus;
    unsigned int slave;
    bytes written; ///< the write buffer
    bytes preset;  ///< what the read buffer held before the call, `read_length` bytes of it

    bool operator==(const transfer &) const = default;
};

void PrintTo(const transfer &call, std::ostream *out);

transfer write_of(unsigned int bus, unsigned int slave, bytes written);
transfer read_of(unsigned int bus, unsigned int slave, bytes preset);
transfer write_read_of(unsigned int bus, unsigned int slave, bytes written, bytes preset);

/// What a primitive does: fills the read buffer, sets errno and returns `result`; without a result it returns
/// success.
struct answer {
    bytes data = {};
    std::optional<int> result = std::nullopt;
    int error = 0; ///< 0 leaves errno as it is
};

/// A bus that records each primitive call and answers from a script; calls beyond the script succeed and read
/// zeros. Base class of test fixtures: one bus per test.
class scripted_bus : public ::testing::Test {
  public:
    scripted_bus();
    ~scripted_bus() override;

    /// Appends answers, one per primitive call to come.
    void answers(std::vector<answer> next);
    /// The n-th call from now (0 = the next) fails with -1; those before it succeed and read `data` bytes.
    void fail_call(unsigned int n, uint8_t data = 0);

    std::vector<transfer> calls;

    int perform(const transfer &call, uint8_t *read_buffer, unsigned int success);

  private:
    std::vector<answer> script_;
};

} // namespace varnel::test
