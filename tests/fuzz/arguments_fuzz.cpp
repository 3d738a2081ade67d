// SPDX-License-Identifier: Apache-2.0
// Any command line of varnel and varnel-sim. The command is not executed: the line is accepted, or help is
// printed to standard output, or one line to standard error with status 2.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "require.h"
#include "sim/tool/commands.h"
#include "tools/varnel/commands.h"

namespace {

using varnel::test::require;
using namespace varnel::tools;

constexpr int accepted = 77; ///< a status that no command gives

/// Words as in /proc/PID/cmdline: each ends with a NUL.
std::vector<std::string> words_of(const std::string &line) {
    std::vector<std::string> words;
    std::istringstream rest(line);
    for (std::string word; std::getline(rest, word, '\0');) {
        words.push_back(word);
    }
    return words;
}

/// Captures what is written to a stream, for its lifetime.
class captured {
  public:
    explicit captured(std::FILE *&stream) : stream_(stream), real_(stream) {
        stream = open_memstream(&text_, &size_);
    }
    ~captured() {
        std::fclose(stream_);
        stream_ = real_;
        std::free(text_);
    }
    captured(const captured &) = delete;
    captured &operator=(const captured &) = delete;

    [[nodiscard]] std::string text() const {
        std::fflush(stream_);
        return {text_, size_};
    }

  private:
    std::FILE *&stream_;
    std::FILE *real_;
    char *text_ = nullptr;
    std::size_t size_ = 0;
};

bool is_one_line(const std::string &error, const std::string &name) {
    return error.starts_with(name + ": ") && error.size() > name.size() + 3 && error.back() == '\n' &&
           std::ranges::count(error, '\n') == 1;
}

struct outcome {
    int status;
    std::string output;
    std::string error;
};

outcome run(const std::string &name, const std::vector<std::string> &arguments) {
    const captured output(stdout);
    const captured error(stderr);
    const int status = run_guarded(name.c_str(), [&] {
        return name == "varnel"
                   ? run_command(arguments, [](invocation &call) { call.status = accepted; })
                   : varnel::sim::tool::run_command(arguments, [](auto &call) { call.status = accepted; });
    });
    return {status, output.text(), error.text()};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    std::vector<std::string> words = words_of({reinterpret_cast<const char *>(data), size});
    if (words.empty() || (words[0] != "varnel" && words[0] != "varnel-sim")) {
        return -1;
    }
    const outcome seen = run(words[0], {words.begin() + 1, words.end()});
    switch (seen.status) {
    case success:
        require(!seen.output.empty() && seen.error.empty(), "help, or the version");
        break;
    case accepted:
        require(seen.output.empty() && seen.error.empty(), "an accepted line prints nothing");
        break;
    default:
        require(seen.status == bad_input, "bad usage");
        require(seen.output.empty() && is_one_line(seen.error, words[0]), "one line with the reason");
    }
    return 0;
}
