// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/verb.h"

namespace varnel::tools {

void add_bus(CLI::App &app, context &) { add_family(app, "bus", "bus"); }

} // namespace varnel::tools
