// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

#include "varnel/xml.h"

namespace varnel::test {

/// A call of the write function that never fails.
inline constexpr size_t no_failure = static_cast<size_t>(-1);

/// Writes a node to a write function that logs each of its calls, with the count before it; it sets the error
/// from call `fail_at` (from 0) on, or in that call alone. `error` is the sink's before. The end shows count
/// and error.
std::string written_by_library(const xml_node &node, unsigned flags, size_t fail_at = no_failure,
                               int error = 0);

/// The same by a second writer, recursive and one piece at a time.
std::string written_by_reference(const xml_node &node, unsigned flags, size_t fail_at = no_failure,
                                 int error = 0);

/// The bytes of written_by_reference().
std::string bytes_by_reference(const xml_node &node, unsigned flags);

/// The log of an attribute alone.
std::string written_by_library(const xml_attribute &attribute, unsigned flags, size_t fail_at = no_failure);
std::string written_by_reference(const xml_attribute &attribute, unsigned flags, size_t fail_at = no_failure);

} // namespace varnel::test
