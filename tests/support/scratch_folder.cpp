// SPDX-License-Identifier: Apache-2.0
#include "scratch_folder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <stdlib.h>
#include <sys/stat.h>

namespace varnel::test {

namespace fs = std::filesystem;

scratch_folder::scratch_folder() : path_((fs::temp_directory_path() / "varnel-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) {
        throw std::runtime_error("cannot create " + path_);
    }
}

scratch_folder::~scratch_folder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::vector<std::string> scratch_folder::names() const {
    std::vector<std::string> found;
    for (const fs::directory_entry &entry : fs::directory_iterator(path_)) {
        found.push_back(entry.path().filename().string());
    }
    std::sort(found.begin(), found.end());
    return found;
}

void write_file(const std::string &path, std::string_view bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::optional<std::string> read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}

file_identity identity_of(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        throw std::runtime_error("no such file: " + path);
    }
    return {status.st_ino, status.st_mode};
}

} // namespace varnel::test
