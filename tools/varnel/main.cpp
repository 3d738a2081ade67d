// SPDX-License-Identifier: Apache-2.0
// varnel: the library from a shell.

#include <fmt/format.h>

#include "host/standard_streams.h"
#include "tools/varnel/commands.h"
#include "tools/varnel/confirm.h"

namespace varnel::tools {

namespace {

void run_action(invocation &call) {
    try {
        call.action();
    } catch (const refusal &answer) {
        say(fmt::format("varnel: {}", answer.what()));
        call.status = not_confirmed;
    }
}

} // namespace

} // namespace varnel::tools

int main(int argc, char *argv[]) {
    using namespace varnel::tools;
    return run_guarded("varnel", [&] { return run_command({argv + 1, argv + argc}, run_action); });
}
