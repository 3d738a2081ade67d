// SPDX-License-Identifier: Apache-2.0
#include "host/json.h"

template class nlohmann::basic_json<nlohmann::ordered_map>;
