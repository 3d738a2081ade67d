// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/confirm.h"

#include <cstdio>
#include <iostream>

#include "tools/support/standard_streams.h"
#include "tools/support/terminal.h"

namespace varnel::tools {

void confirm(const context &context, const std::string &statement) {
    const bool seen = say(statement);
    if (context.yes) {
        return;
    }
    if (!seen) {
        throw refusal("nothing written: standard error cannot be written");
    }
    if (!is_terminal(stdin)) {
        throw refusal("nothing written: no terminal to ask at; --yes means it");
    }
    std::fputs("Go on? [y/N] ", stderr);
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "y" && answer != "Y" && answer != "yes") {
        throw refusal("nothing written");
    }
}

} // namespace varnel::tools
