// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <string_view>

namespace varnel::sim::web {

/// A file of sim/web/page.
struct page_file {
    std::string_view name;
    std::string_view type;
    std::string_view text;
};

[[nodiscard]] std::span<const page_file> page_files();

} // namespace varnel::sim::web
