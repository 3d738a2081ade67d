// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/verb.h"

namespace varnel::tools {

void add_rtc(CLI::App &app, context &) { add_family(app, "rtc", "rtc"); }

} // namespace varnel::tools
