// SPDX-License-Identifier: Apache-2.0
#include "controller_table_file.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace varnel::tools {

namespace {

using platform::controller_table;

/// A new file with mode 0600 beside the one it is to replace; removed again unless it got there.
class new_file {
  public:
    explicit new_file(const std::string &target) : target_(target), path_(target + ".XXXXXX") {
        descriptor_ = mkostemp(path_.data(), O_CLOEXEC); // O_EXCL, 0600
        if (descriptor_ < 0) {
            fail();
        }
    }
    ~new_file() {
        close(descriptor_);
        if (!path_.empty()) {
            unlink(path_.c_str());
        }
    }
    new_file(const new_file &) = delete;
    new_file &operator=(const new_file &) = delete;

    void write(const void *bytes, std::size_t size) {
        const ssize_t written = ::write(descriptor_, bytes, size);
        if (written != static_cast<ssize_t>(size)) {
            errno = written < 0 ? errno : ENOSPC;
            fail();
        }
    }

    void replace_target() {
        if (rename(path_.c_str(), target_.c_str()) != 0) {
            fail();
        }
        path_.clear();
    }

  private:
    [[noreturn]] void fail() const {
        const int error = errno;
        throw controller_error("cannot make " + target_ + ": " + std::strerror(error));
    }

    std::string target_;
    std::string path_;
    int descriptor_ = -1;
};

void check_name(const std::string &name) {
    if (name.size() < 2 || name.front() != '/' || name.find('/', 1) != std::string::npos) {
        throw controller_error("'" + name +
                               "' is not a name of a shared-memory object, such as /varnel-devices");
    }
}

} // namespace

void publish_controller_table(const controller_records &records, const std::string &name) {
    check_name(name);
    const controller_table table{platform::table_magic, platform::table_version,
                                 sizeof(platform::controller_record), records};
    new_file file(platform::shared_memory_directory + name);
    file.write(&table, sizeof table);
    file.replace_target();
}

controller_records read_controller_table() {
    const std::string path = std::string(platform::shared_memory_directory) + platform::table_name();
    if (access(path.c_str(), F_OK) != 0) {
        throw controller_error(std::string(platform::table_name()) + ": " + std::strerror(errno));
    }
    controller_records records;
    for (unsigned int i = 0; i < records.size(); ++i) {
        const platform::complaint problem = platform::read_controller(static_cast<int>(i), records[i]);
        if (problem != nullptr) {
            throw controller_error(std::string(platform::table_name()) + ": " + problem);
        }
    }
    return records;
}

} // namespace varnel::tools
