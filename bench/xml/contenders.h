// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

/// A library that is measured: it reads a text into a tree of its own, writes and frees that.
class contender {
  public:
    contender() = default;
    virtual ~contender() = default;
    contender(const contender &) = delete;
    contender &operator=(const contender &) = delete;

    [[nodiscard]] virtual const char *name() const = 0;
    /// False when it could not. `stream` stands at the beginning of the same text.
    virtual bool read(const std::string &text, std::FILE *stream) = 0;
    virtual void free_tree() = 0;
    /// False when it cannot write. Indented, to a stream.
    virtual bool write(std::FILE *stream) = 0;
};

/// This library first.
std::vector<std::unique_ptr<contender>> contenders();

/// The allocations and frees of this library's tree of a text, and nothing else.
class allocation_floor {
  public:
    /// False when the text could not be read.
    explicit allocation_floor(std::FILE *stream);
    void allocate();
    void release();

  private:
    std::vector<unsigned> sizes_;
    std::vector<void *> blocks_;
};
