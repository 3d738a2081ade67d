// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/verb.h"

namespace varnel::tools {

void add_mux(CLI::App &app, context &) { add_family(app, "mux", "mux"); }

} // namespace varnel::tools
