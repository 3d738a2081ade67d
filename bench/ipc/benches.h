// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace varnel::bench {

void queues();
void locks();
void transfer();

} // namespace varnel::bench
