// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/verb.h"

#include <utility>

namespace varnel::tools {

CLI::App &add_family(CLI::App &app, const char *name, const char *description) {
    return *app.add_subcommand(name, description);
}

CLI::App &add_verb(CLI::App &family, const char *name, const char *description, context &context,
                   std::function<void()> action) {
    CLI::App *const verb = family.add_subcommand(name, description);
    verb->callback([&context, chosen = std::move(action)] { context.action = chosen; });
    return *verb;
}

void add_json(CLI::App &verb, context &context) { verb.add_flag("--json", context.json, "print JSON"); }

void add_yes(CLI::App &verb, context &context) {
    verb.add_flag("-y,--yes", context.yes, "do not ask before writing what can hurt");
}

} // namespace varnel::tools
