// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "models/replay.h"

namespace varnel::models {

stage selector_stage();
stage sem_lock_stage();
stage queue_stage();
stage transfer_stage();
stage relay_stage();

} // namespace varnel::models
