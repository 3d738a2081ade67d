// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>

// Its members are compiled once, in json.cpp: each file that uses them would take two seconds longer.
extern template class nlohmann::basic_json<nlohmann::ordered_map>;
