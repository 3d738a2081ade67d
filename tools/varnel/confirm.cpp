// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/confirm.h"

#include <cstdio>
#include <iostream>

#include "host/standard_streams.h"
#include "host/terminal.h"

namespace varnel::tools {

void confirm(const invocation &call, const std::string &statement) {
    const bool seen = host::say(statement);
    if (call.yes) {
        return;
    }
    if (!seen) {
        throw refusal("not confirmed: standard error cannot be written (use --yes)");
    }
    if (!host::is_terminal(stdin)) {
        throw refusal("not confirmed: standard input is not a terminal (use --yes)");
    }
    std::fputs("Go on? [y/N] ", stderr);
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "y" && answer != "Y" && answer != "yes") {
        throw refusal("not confirmed: nothing was written");
    }
}

} // namespace varnel::tools
