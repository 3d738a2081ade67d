// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/results.h"

namespace varnel::bench {

void queues(results &found);
void queue_writers(results &found);
void idle_queue(results &found);
void locks(results &found);
void transfer(results &found);
void transfer_clients(results &found);

} // namespace varnel::bench
