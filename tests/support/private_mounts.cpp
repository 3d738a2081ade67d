// SPDX-License-Identifier: Apache-2.0
#include "private_mounts.h"

#include <string>
#include <string_view>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace varnel::test {

namespace {

bool write_setting(const char *path, std::string_view text) {
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    const bool written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(file);
    return written;
}

/// A user namespace in which this user is root: user_namespaces(7).
bool become_root_of_own_namespace() {
    const std::string user = "0 " + std::to_string(geteuid()) + " 1";
    const std::string group = "0 " + std::to_string(getegid()) + " 1";
    return unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && write_setting("/proc/self/uid_map", user) &&
           write_setting("/proc/self/setgroups", "deny") && write_setting("/proc/self/gid_map", group);
}

} // namespace

bool enter_private_mounts() {
    const bool own = unshare(CLONE_NEWNS) == 0 || become_root_of_own_namespace();
    return own && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

bool mount_memory(const std::string &folder, unsigned int size) {
    const std::string options = "mode=0755,size=" + std::to_string(size);
    return mount("varnel-test", folder.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

void unmount(const std::string &folder) { umount2(folder.c_str(), MNT_DETACH); }

} // namespace varnel::test
