// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <utility>

#include <dlfcn.h>

namespace varnel::test {

/// A C library function that the test program defines itself, to intercept the library's calls:
///
///     interposed<int(int)> close_call("close");
///     extern "C" int close(int fd) { return close_call(fd); }
///
/// Calls are passed to the C library's (or the sanitizer's) own function, unless a test installs a stand_in.
template <class signature>
class interposed;

template <class result, class... arguments>
class interposed<result(arguments...)> {
  public:
    using body = std::function<result(arguments...)>;

    // Constant initialisation: C library functions are called before main().
    constexpr explicit interposed(const char *name) : name_(name) {}

    result operator()(arguments... values) {
        return body_ == nullptr ? real(values...) : (*body_)(values...);
    }

    result real(arguments... values) {
        if (next_ == nullptr) {
            next_ = reinterpret_cast<result (*)(arguments...)>(dlsym(RTLD_NEXT, name_));
        }
        return next_(values...);
    }

    /// For its lifetime, calls go to `replacement`.
    class stand_in {
      public:
        stand_in(interposed &function, body replacement)
            : function_(function), replacement_(std::move(replacement)) {
            function_.body_ = &replacement_;
        }
        ~stand_in() { function_.body_ = nullptr; }
        stand_in(const stand_in &) = delete;
        stand_in &operator=(const stand_in &) = delete;

      private:
        interposed &function_;
        body replacement_;
    };

  private:
    const char *name_;
    result (*next_)(arguments...) = nullptr;
    body *body_ = nullptr;
};

template <class result, class... arguments>
using stand_in = typename interposed<result(arguments...)>::stand_in;

} // namespace varnel::test
