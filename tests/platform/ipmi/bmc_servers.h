// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

#include "support/scratch_folder.h"

namespace varnel::test {

/// A server process, which the destructor stops. The constructor returns when it listens.
class bmc_server {
  public:
    /// Runs `command`, which has to listen on the IPMI ports of `addresses`.
    bmc_server(const std::vector<std::string> &command, const std::vector<std::string> &addresses);
    ~bmc_server();
    bmc_server(const bmc_server &) = delete;
    bmc_server &operator=(const bmc_server &) = delete;

  private:
    pid_t pid_;
};

/// The address of simulated BMC `n`, from 0.
std::string bmc_address(int n);

/// ipmi_sim with oem_commands.c and `count` BMCs, up to 64, numbered from `first`. Users: admin
/// (administrator) with password "secret", and "sixteen.letters." with "twenty.letters.long.".
class simulated_bmcs {
  public:
    explicit simulated_bmcs(int count = 1, int first = 0);

  private:
    scratch_folder folder_;
    bmc_server server_;
};

} // namespace varnel::test
