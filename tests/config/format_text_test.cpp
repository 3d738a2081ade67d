// SPDX-License-Identifier: Apache-2.0
// The text after a new entry of an INI file, compared with what the C library's formatter prints for zeros.
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "support/memory_file.h"
#include "varnel/iniparser.h"

namespace {

using varnel::test::memory_file;

constexpr std::size_t longest_content = 16383;
const std::string before = "[S]\n";
const std::string entry = "k=v\n";

using formatter = int (*)(char *, std::size_t, const char *, ...);

/// The C library's snprintf(), without a sanitizer's or the compiler's replacement.
formatter plain_snprintf() {
    void *const library = dlopen("libc.so.6", RTLD_LAZY);
    return reinterpret_cast<formatter>(dlsym(library, "snprintf"));
}

/// Passes zeros for arguments of any type. Floating-point numbers are passed in registers of their own or, on
/// ARM, like all other arguments. The first zero fills the register that a double would skip.
template <std::size_t... integers>
int print_zeros(std::array<char, 32768> &out, const char *format, std::index_sequence<integers...>) {
    static const formatter print = plain_snprintf();
    return print(out.data(), out.size(), format, 0L, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0,
                 (static_cast<void>(integers), 0LL)...);
}

/// What the formatter prints for a format when every argument is zero, without the NULs that %c prints.
/// Nothing when it fails, or when the INI file would become too long.
std::optional<std::string> printed(const std::string &format) {
    constexpr char unused = '\xFF';
    static std::array<char, 32768> out;
    std::memset(out.data(), unused, out.size());
    errno = ENOENT; // for %m
    const int length = print_zeros(out, format.c_str(), std::make_index_sequence<120>());
    if (length < 0 && errno != EINVAL) { // EINVAL: truncated in a conversion; the text before it is printed
        return std::nullopt;
    }
    const std::string_view all(out.data(), out.size());
    std::string text(
        all.substr(0, length < 0 ? all.find_last_not_of(unused) : static_cast<std::size_t>(length)));
    std::erase(text, '\0');
    const std::size_t size = before.size() + entry.size() + text.size();
    return size <= longest_content ? std::optional(text) : std::nullopt;
}

using choice = std::vector<std::string>;

/// The parts of which random formats are made.
struct format_parts {
    choice texts;
    choice positions;
    choice numbers;
    choice modifiers;
    choice letters;
};

const choice flags{" ", "+", "-", "#", "0", "'", "I"};

const format_parts arguments_in_order{
    {"", "", "a=", "\n", "b", "5"},
    {""},
    {"*", "0", "1", "9", "40", "*3", "20000", "99999999999", "*99999999999"},
    {"h", "hh", "l", "ll", "L", "q", "z", "Z", "t", "j"},
    {"d", "i", "o", "u", "x", "X", "b", "B", "c", "C", "a", "A", "e",    "E", "f", "F",
     "g", "G", "s", "S", "p", "m", "%", "!", "k", "5", "*", ".", "\xC3", "-", "",  ""}};

/// Several conversions may choose the same argument here, so all of them read an int.
const format_parts chosen_arguments{
    {"", "", "=", "$", "b", "5"},
    {"", "1$", "2$", "7$", "0$", "01$", "99999999999$"},
    {"*", "0", "1", "9", "*3", "*07", "*2$", "*4$", "*0$", "99999999999", "*99999999999$"},
    {"h", "hh"},
    {"d", "i", "o", "u", "x", "X", "b", "c", "m", "%", "!", "5", "$", "*", ".", "-", "", ""}};

/// A few conversions, well-formed and not; the text may end inside one.
class random_format {
  public:
    std::string next() {
        const format_parts &parts = one_in(2) ? arguments_in_order : chosen_arguments;
        std::string format;
        for (std::size_t n = 1 + below(4); n > 0; --n) {
            format += one_of(parts.texts) + conversion(parts);
        }
        return one_in(8) ? format.substr(0, below(format.size())) : format;
    }

  private:
    std::size_t below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(bits_); }
    bool one_in(std::size_t n) { return below(n) == 0; }
    const std::string &one_of(const choice &parts) { return parts[below(parts.size())]; }

    std::string conversion(const format_parts &parts) {
        std::string text = "%";
        text += one_in(3) ? one_of(parts.positions) : "";
        text += one_in(3) ? one_of(flags) + one_of(flags) : "";
        text += one_in(3) ? one_of(parts.numbers) : "";
        text += one_in(3) ? "." + (one_in(4) ? "" : one_of(parts.numbers)) : "";
        text += one_in(3) ? one_of(parts.modifiers) : "";
        return text + one_of(parts.letters);
    }

    std::mt19937 bits_{5}; // the same formats in every run
};

class format_text : public ::testing::Test {
  protected:
    void expect_like_the_formatter(const std::string &format) {
        const std::optional<std::string> expected = printed(format);
        file_.rewrite(before + format);
        errno = ENOENT;
        const int32_t result = set_config_string(file_.path(), "S", "k", "v");
        ASSERT_EQ(result, expected ? 0 : -1) << testing::PrintToString(format);
        ASSERT_EQ(file_.content(), before + (expected ? entry + *expected : format))
            << testing::PrintToString(format);
    }

  private:
    memory_file file_;
};

TEST_F(format_text, equals_what_snprintf_prints_for_zero_arguments) {
    random_format formats;
    for (int n = 0; n < 5000; ++n) {
        const std::string format = formats.next();
        // After "a", white space is not skipped with the header; no format contains a '['.
        ASSERT_NO_FATAL_FAILURE(expect_like_the_formatter("a" + format)) << "format " << n;
    }
}

TEST_F(format_text, equals_what_snprintf_prints_at_the_limits_of_numbers_and_digits) {
    for (const char *format :
         {"%2147483646!", "%2147483647!", "%2147483648!", "%.2147483647s", "%.2147483648s",
          "%1$d%2147483648d", "%9d", "%:d", "%1:d", "%.9d", "%.:d", "%/d", "%1$d%5h", "%1$d%5hh"}) {
        ASSERT_NO_FATAL_FAILURE(expect_like_the_formatter(format));
    }
}

} // namespace
