// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "controller_ini.h"

namespace varnel::tools {

/// Puts a table of these records in the place of the shared-memory object `name` ("/varnel-devices"). Daemons
/// have the old table until the new one is whole. Throws controller_error; then the old one stays.
void publish_controller_table(const controller_records &records, const std::string &name);

/// Reads the table that daemons use (platform::table_name()). Throws controller_error when they would refuse it.
controller_records read_controller_table();

} // namespace varnel::tools
