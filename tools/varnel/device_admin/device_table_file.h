// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "device_ini.h"

namespace varnel::tools {

/// Puts a table of these records in the place of the shared-memory object `name` ("/varnel-devices"). Daemons
/// have the old table until the new one is whole. Throws device_error; then the old one stays.
void publish_device_table(const device_records &records, const std::string &name);

/// Reads the table that daemons use (platform::table_name()). Throws device_error when they would refuse it.
device_records read_device_table();

} // namespace varnel::tools
