// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/results.h"

namespace varnel::bench {

void text_files(results &found);
void rotation(results &found);
void system_log(results &found);

} // namespace varnel::bench
