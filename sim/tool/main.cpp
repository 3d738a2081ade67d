// SPDX-License-Identifier: Apache-2.0
// varnel-sim: a board in software, for programs that think they run on a real one.

#include "host/ini_file.h"
#include "sim/tool/commands.h"

namespace varnel::sim::tool {

namespace {

void run_action(invocation &call) {
    try {
        call.action();
    } catch (const host::bad_line &mistake) {
        throw bad_usage(mistake.what());
    }
}

} // namespace

} // namespace varnel::sim::tool

int main(int argc, char *argv[]) {
    using namespace varnel::sim::tool;
    return varnel::host::run_guarded("varnel-sim", [&] {
        return run_command({argv + 1, argv + argc}, run_action);
    });
}
