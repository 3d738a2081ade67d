// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/library_output.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include <fcntl.h>

namespace varnel::tools {

quiet_library::quiet_library() {
    std::fflush(stdout);
    output_ = host::descriptor(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
    const host::descriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (!output_.is_open() || !nowhere.is_open() || dup2(nowhere.get(), STDOUT_FILENO) < 0) {
        throw std::system_error(errno, std::generic_category(), "/dev/null");
    }
}

quiet_library::~quiet_library() {
    const int saved_errno = errno;
    std::fflush(stdout);
    dup2(output_.get(), STDOUT_FILENO);
    errno = saved_errno;
}

} // namespace varnel::tools
