// SPDX-License-Identifier: Apache-2.0
// The processes of a soak run. Each works in the current folder until ledger::stop is set, and returns its
// exit status.
#pragma once

#include <cstdint>

#include "soak/ledger.h"

namespace varnel::soak {

int write_records(ledger &shared, int writer);
int read_records(ledger &shared);
int use_bus(ledger &shared, int locker, uint32_t incarnation);
int rotate_log(ledger &shared);
int transfer_files(ledger &shared, unsigned seed);

} // namespace varnel::soak
