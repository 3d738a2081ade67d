// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/arriving_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>

namespace varnel::tools {

namespace fs = std::filesystem;

namespace {

constexpr mode_t everyone = 0666; // less the umask

std::string behind_links(const std::string &path) {
    std::error_code none;
    const fs::path real = fs::canonical(path, none);
    return none ? path : real.string();
}

std::string folder_of(const std::string &target) {
    const fs::path parent = fs::path(target).parent_path();
    return parent.empty() ? "." : parent.string();
}

std::string new_folder(const std::string &beside) {
    std::string path = beside + "/.varnel-fetch-XXXXXX";
    return mkdtemp(path.data()) == nullptr ? "" : path;
}

} // namespace

arriving_file::arriving_file(const std::string &target)
    : name_(target == "-" ? "standard output" : target), target_(behind_links(target)) {
    struct stat there {};
    const bool replaces = target != "-" && (stat(target_.c_str(), &there) != 0 || S_ISREG(there.st_mode));
    folder_ = new_folder(replaces ? folder_of(target_) : fs::temp_directory_path().string());
    if (folder_.empty()) {
        fail();
    }
    if (replaces) {
        new_path_ = folder_ + "/file";
        const mode_t mode = there.st_mode != 0 ? there.st_mode & 07777U : everyone;
        output_ = host::descriptor(open(new_path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    } else {
        output_ = host::descriptor(target == "-" ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                                                 : open(target_.c_str(), O_WRONLY | O_CLOEXEC));
    }
    if (!output_.is_open() || mkfifo(pipe().c_str(), S_IRUSR | S_IWUSR) != 0) {
        const int error = errno;
        remove_all();
        errno = error;
        fail();
    }
}

arriving_file::~arriving_file() { remove_all(); }

void arriving_file::remove_all() const {
    if (!new_path_.empty()) {
        unlink(new_path_.c_str()); // gone when it was kept
    }
    unlink(pipe().c_str());
    rmdir(folder_.c_str());
}

void arriving_file::write(const char *bytes, std::size_t size) {
    for (std::size_t done = 0; done < size;) {
        const ssize_t n = ::write(output_.get(), bytes + done, size - done);
        if (n < 0 && errno != EINTR) {
            fail();
        }
        done += n > 0 ? static_cast<std::size_t>(n) : 0;
    }
    size_ += size;
}

void arriving_file::keep() {
    if (new_path_.empty()) {
        return;
    }
    if (fsync(output_.get()) != 0 || ::rename(new_path_.c_str(), target_.c_str()) != 0) {
        fail();
    }
}

void arriving_file::fail() const { throw std::system_error(errno, std::generic_category(), name_); }

} // namespace varnel::tools
