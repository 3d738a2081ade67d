// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/verb.h"

namespace varnel::tools {

void add_smbus(CLI::App &app, context &) { add_family(app, "smbus", "smbus"); }

} // namespace varnel::tools
