// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace varnel::test {

/// Puts the process, which must still be single-threaded, into new namespaces (CLONE_NEWNS, CLONE_NEWNET), as
/// root or in a user namespace of its own. Mounts made there stay there; a new network has a loopback
/// interface, up, and nothing else. Returns whether the machine allows it.
bool enter_namespaces(int flags);

} // namespace varnel::test
