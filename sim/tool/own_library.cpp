// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/own_library.h"

#include <filesystem>
#include <stdexcept>

#include <fmt/format.h>

namespace varnel::sim::tool {

namespace fs = std::filesystem;

std::string own_library(const char *name) {
    const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
    const fs::path installed = (here / VARNEL_PRELOAD_FOLDER).lexically_normal();
    for (const fs::path &folder : {here, installed}) {
        if (fs::exists(folder / name)) {
            return folder / name;
        }
    }
    throw std::runtime_error(
        fmt::format("{} is neither in {} nor in {}", name, here.string(), installed.string()));
}

} // namespace varnel::sim::tool
