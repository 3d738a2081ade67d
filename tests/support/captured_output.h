// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>

namespace varnel::test {

/// Collects what is written to standard output, through stdio or not, until text() is called.
class captured_output {
  public:
    captured_output();
    ~captured_output();
    captured_output(const captured_output &) = delete;
    captured_output &operator=(const captured_output &) = delete;

    /// Ends the capture and returns all of it.
    std::string text();

  private:
    void restore();

    int saved_descriptor_;
    std::FILE *file_;
};

} // namespace varnel::test
