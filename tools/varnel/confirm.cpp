// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/confirm.h"

#include <iostream>

#include <fmt/format.h>

#include "tools/support/terminal.h"

namespace varnel::tools {

void confirm(const context &context, const std::string &statement) {
    fmt::print(stderr, "{}\n", statement);
    if (context.yes) {
        return;
    }
    if (!is_terminal(stdin)) {
        throw refusal("nothing written: no terminal to ask at; --yes means it");
    }
    fmt::print(stderr, "Go on? [y/N] ");
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "y" && answer != "Y" && answer != "yes") {
        throw refusal("nothing written");
    }
}

} // namespace varnel::tools
