// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/json.h"
#include "tests/sim/system/process.h"
#include "tests/support/scratch_folder.h"

namespace varnel::test {

/// Test fixture: a folder and a runtime directory of its own, so that no test meets another's boards.
class workbench : public ::testing::Test {
  public:
    using words = std::vector<std::string>;

    workbench();
    ~workbench() override;

    /// Writes a file into the folder, and returns its name.
    std::string file(const std::string &name, const std::string &text) const;
    [[nodiscard]] const std::string &folder() const { return folder_.path(); }
    [[nodiscard]] std::string runtime_directory() const;

    /// `varnel-sim` with arguments.
    static words sim(const words &arguments);
    static finished sim_run(const words &arguments) { return run(sim(arguments)); }
    /// `varnel-sim run --board BOARD --` and a program with arguments.
    [[nodiscard]] words on(const std::string &board, const words &program) const;
    [[nodiscard]] words on_board(const words &program) const { return on(board, program); }
    /// i2c_call with arguments, to its end, on the board; its standard output.
    std::string call(const words &steps) const;
    /// What `show --json` says, without what changes by itself.
    [[nodiscard]] nlohmann::ordered_json state() const;
    /// A program that keeps the board powered until it is finished, and has begun to.
    [[nodiscard]] process keep_powered() const;

    static std::string i2c_call();
    static std::string awkward();
    static std::string queue_call();
    static std::string library();
    static std::string demo_board();

    /// Bus 0: gpio (pca9555, 0x20), fru (24c02, 0x50), mux (pca9548, 0x70) with psu (car2512, 0x58) behind
    /// channel 0; bus 1: other (pca9554, 0x38).
    std::string board;

  private:
    scratch_folder folder_;
};

} // namespace varnel::test
