// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "support/captured_output.h"
#include "support/scripted_bus.h"

namespace varnel::test {

/// Base class of fixtures for drivers that print a line for a failed bus call.
class reporting_driver : public scripted_bus {
  protected:
    /// Lets each bus call of `function` fail in turn; expects -1, no further bus calls, and its line.
    void fails_with(const std::function<int()> &function, const std::vector<std::string> &lines) {
        for (unsigned int failing = 0; failing < lines.size(); ++failing) {
            calls.clear();
            fail_call(failing);
            captured_output output;
            EXPECT_EQ(function(), -1);
            EXPECT_EQ(output.text(), lines[failing] + "\n");
            EXPECT_EQ(calls.size(), failing + 1);
        }
    }

    static std::string printed_by_success(const std::function<int()> &function) {
        captured_output output;
        EXPECT_EQ(function(), 0);
        return output.text();
    }
};

} // namespace varnel::test
