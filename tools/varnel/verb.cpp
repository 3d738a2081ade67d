// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/verb.h"

namespace varnel::tools {

void add_json(argument_parser verb, invocation &call) { verb.add_flag("--json", call.json, "print JSON"); }

void add_yes(argument_parser verb, invocation &call) {
    verb.add_flag("-y,--yes", call.yes, "do not ask for confirmation");
}

void add_verify(argument_parser verb, bool &verify) {
    verb.add_flag("--verify", verify, "read it back and compare");
}

} // namespace varnel::tools
