// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace varnel::bench {

/// A library that is measured: it reads a text into a tree of its own, writes and frees that.
class tree_library {
  public:
    tree_library() = default;
    virtual ~tree_library() = default;
    tree_library(const tree_library &) = delete;
    tree_library &operator=(const tree_library &) = delete;

    [[nodiscard]] virtual const char *name() const = 0;
    [[nodiscard]] virtual bool is_ours() const { return false; }
    /// False when it could not. `stream` stands at the beginning of the same text.
    virtual bool read(const std::string &text, std::FILE *stream) = 0;
    virtual void free_tree() = 0;
    /// False when it cannot write. Indented, to a stream.
    virtual bool write(std::FILE *stream) = 0;
};

/// This library in its four ways of reading: default and compact trees, from a stream and from memory;
/// default from a stream first.
std::vector<std::shared_ptr<tree_library>> ways_of_ours();
/// The others.
std::vector<std::shared_ptr<tree_library>> peers();
/// This library, default and compact from a stream, and the others.
std::vector<std::shared_ptr<tree_library>> tree_libraries();
/// Any of them by its name. Throws std::runtime_error when there is none.
std::shared_ptr<tree_library> tree_library_named(const std::string &name);

/// The allocations and frees of this library's tree of a text, and nothing else.
class allocation_floor {
  public:
    /// Throws std::runtime_error when the text cannot be read.
    explicit allocation_floor(std::FILE *stream);
    void allocate();
    void release();

  private:
    std::vector<unsigned> sizes_;
    std::vector<void *> blocks_;
};

} // namespace varnel::bench
