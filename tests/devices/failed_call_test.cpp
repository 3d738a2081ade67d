// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "support/captured_output.h"
#include "support/scripted_bus.h"
#include "varnel/pca9505.h"
#include "varnel/pca9541.h"
#include "varnel/pca9546.h"
#include "varnel/pca9548.h"
#include "varnel/pca9555.h"

namespace {

using namespace varnel::test;

constexpr uint32_t device = 0x2103;

/// Replaces standard output, for its lifetime, by an unbuffered stream whose descriptor is closed.
class closed_output {
  public:
    closed_output() : stream_(std::fopen("/dev/null", "w")), saved_(std::exchange(stdout, stream_)) {
        std::setvbuf(stream_, nullptr, _IONBF, 0);
        close(fileno(stream_));
    }
    ~closed_output() {
        stdout = saved_;
        std::fclose(stream_);
    }
    closed_output(const closed_output &) = delete;
    closed_output &operator=(const closed_output &) = delete;

  private:
    std::FILE *stream_;
    std::FILE *saved_;
};

class failed_call : public scripted_bus {
  protected:
    std::vector<std::function<int()>> printing_drivers() {
        return {
            [this] { return pca9505_get_reg_data(device, 0, &byte_); },
            [] { return pca9505_set_port_high(device, 0, 1); },
            [] { return pca9546_enable_channel(device, 1); },
            [this] { return pca9548_get_channel(device, &byte_); },
            [] { return pca9555_set_port_low(device, 1); },
            [this] { return pca9555_get_bank_data(device, 0, &byte_); },
        };
    }

  private:
    uint8_t byte_ = 0;
};

TEST_F(failed_call, keeps_errno_when_its_line_cannot_be_printed) {
    for (const auto &call : printing_drivers()) {
        answers({{.result = -1, .error = EREMOTEIO}});
        errno = 0;
        int result = 0;
        int error = 0;
        {
            const closed_output output;
            result = call();
            error = errno;
        }
        EXPECT_EQ(result, -1);
        EXPECT_EQ(error, EREMOTEIO);
    }
}

TEST_F(failed_call, leaves_in_the_result_what_the_failed_transfer_stored) {
    const std::vector<int (*)(uint32_t, uint8_t *)> getters{
        pca9541_read_ctrl,
        pca9541_get_intstatus,
        pca9546_get_channel,
        pca9548_get_channel,
        pca9555_get_bank0_data,
        pca9555_get_bank1_data,
        [](uint32_t chip, uint8_t *data) { return pca9555_get_bank_data(chip, 1, data); },
        [](uint32_t chip, uint8_t *data) { return pca9555_get_bank_output(chip, 1, data); },
        [](uint32_t chip, uint8_t *data) { return pca9555_get_bank_dir(chip, 1, data); },
    };
    const captured_output output;
    for (const auto getter : getters) {
        answers({{{0x77}, -1}, {{}, -1}});
        uint8_t byte = 0xEE;
        EXPECT_EQ(getter(device, &byte), -1);
        EXPECT_EQ(byte, 0x77);
        EXPECT_EQ(getter(device, &byte), -1);
        EXPECT_EQ(byte, 0x77) << "untouched";
    }
}

} // namespace
