// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/verb.h"

namespace varnel::tools {

void add_gpio(CLI::App &app, context &) { add_family(app, "gpio", "gpio"); }

} // namespace varnel::tools
