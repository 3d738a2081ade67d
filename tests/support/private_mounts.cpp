// SPDX-License-Identifier: Apache-2.0
#include "private_mounts.h"

#include <string>

#include <sched.h>
#include <sys/mount.h>

namespace varnel::test {

bool enter_private_mounts() {
    const bool own = unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0;
    return own && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

bool mount_memory(const std::string &folder, unsigned int size) {
    const std::string options = "mode=0755,size=" + std::to_string(size);
    return mount("varnel-test", folder.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

} // namespace varnel::test
