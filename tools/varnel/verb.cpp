// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/verb.h"

namespace varnel::tools {

void add_note(CLI::App &verb, const std::string &text) { verb.footer(text + "\n" + verb.get_footer()); }

void add_json(CLI::App &verb, context &context) { verb.add_flag("--json", context.json, "print JSON"); }

void add_yes(CLI::App &verb, context &context) {
    verb.add_flag("-y,--yes", context.yes, "do not ask for confirmation");
}

void add_verify(CLI::App &verb, bool &verify) {
    verb.add_flag("--verify", verify, "read it back and compare");
}

} // namespace varnel::tools
