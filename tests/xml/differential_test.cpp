// SPDX-License-Identifier: Apache-2.0
// The library's reader against the reference reader: on texts put together at random from what matters to a
// reader, cut into refills in every way.
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "varnel/xml_reader.h"
#include "xml/scenario.h"

using namespace varnel::test;

namespace {

class text_maker {
  public:
    explicit text_maker(unsigned seed) : random_(seed) {}

    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

    std::string soup() {
        static const std::vector<std::string> pieces = {"<",
                                                        ">",
                                                        "/",
                                                        "!",
                                                        "?",
                                                        "-",
                                                        "--",
                                                        "=",
                                                        "\"",
                                                        "'",
                                                        "&",
                                                        ";",
                                                        "a",
                                                        "ab",
                                                        "b",
                                                        " ",
                                                        "\n",
                                                        "\t",
                                                        "\r",
                                                        "1",
                                                        "_",
                                                        ":",
                                                        "<a>",
                                                        "</a>",
                                                        "<a/>",
                                                        "<b x=\"1\">",
                                                        "</b>",
                                                        "<!--",
                                                        "-->",
                                                        "<?",
                                                        "?>",
                                                        "<!D",
                                                        "<?p ",
                                                        "&amp;",
                                                        "&lt;",
                                                        "&foo;",
                                                        "&a;",
                                                        "&;",
                                                        "&amp",
                                                        "text",
                                                        "x='y'",
                                                        " y=\"&gt;\"",
                                                        "$",
                                                        "\xE9",
                                                        "<a\n>",
                                                        "<a x = '2'",
                                                        "<!-- c -->",
                                                        "</",
                                                        "<!",
                                                        "<!-",
                                                        std::string(1, '\0'),
                                                        std::string(126, 'n'),
                                                        std::string(130, 'v'),
                                                        "amp;",
                                                        "quot",
                                                        "<ab y='&amp;'/>"};
        std::string text;
        for (unsigned n = below(14); n > 0; --n) {
            text += pieces[below(static_cast<unsigned>(pieces.size()))];
        }
        return text;
    }

    std::string document(unsigned depth = 0) {
        std::string text = white();
        for (unsigned n = below(5); n > 0; --n) {
            text += piece(depth) + white();
        }
        return text;
    }

    std::string damaged() {
        std::string text = document();
        for (unsigned n = below(3); n > 0 && !text.empty(); --n) {
            const size_t at = below(static_cast<unsigned>(text.size()));
            switch (below(3)) {
            case 0:
                text.erase(at, 1 + below(3));
                break;
            case 1:
                text.insert(at, 1, "<>/&;\"'-?! \nx"[below(13)]);
                break;
            default:
                text.resize(at);
            }
        }
        return text;
    }

  private:
    std::string white() {
        static const std::vector<std::string> all = {"",
                                                     "",
                                                     " ",
                                                     "\n",
                                                     "\t ",
                                                     "\r\n",
                                                     "  \n ",
                                                     "\n\n",
                                                     std::string(15, ' '),
                                                     std::string(16, '\t') + "\n"};
        return all[below(static_cast<unsigned>(all.size()))];
    }

    std::string name() {
        static const std::vector<std::string> all = {
            "a", "b", "item", "ns:tag", "x-1_2", "Q", std::string(31, 'm'), std::string(32, 'n')};
        return all[below(static_cast<unsigned>(all.size()))];
    }

    std::string words() {
        static const std::vector<std::string> all = {"word",
                                                     "a b",
                                                     "&lt;x&gt;",
                                                     "&foo;",
                                                     "&quo;",
                                                     "1\n2",
                                                     "x;y",
                                                     "t \t",
                                                     "-",
                                                     "?",
                                                     "\xC3\xA9",
                                                     "&amp;&apos;",
                                                     "",
                                                     std::string(31, 'v'),
                                                     std::string(32, 'w')};
        return all[below(static_cast<unsigned>(all.size()))];
    }

    std::string attributes() {
        std::string text;
        for (unsigned n = below(4); n > 0; --n) {
            const char quote = below(2) == 0 ? '"' : '\'';
            text += " " + white() + name() + white() + "=" + white() + quote + words() + quote;
        }
        return text + white();
    }

    std::string piece(unsigned depth) {
        const std::string tag = name();
        switch (below(depth < 4 ? 8 : 4)) {
        case 0:
            return words();
        case 1:
            return "<!--" + words() + white() + "-->";
        case 2:
            return "<?" + tag + " " + words() + "?>";
        case 3:
            return "<" + tag + attributes() + "/>";
        case 4:
            return "<!" + tag + white() + words() + ">";
        case 5:
            return "<" + tag + attributes() + ">" + words() + "</" + tag + ">";
        default:
            return "<" + tag + attributes() + ">" + document(depth + 1) + "</" + tag + ">";
        }
    }

    std::mt19937 random_;
};

void expect_same(const scenario &s) {
    const std::string expected = seen_from_reference(s);
    for (const unsigned kind : {0U, unsigned{xml_flag_compact}}) {
        ASSERT_EQ(seen_from_library(s, kind), expected)
            << "text: " << ::testing::PrintToString(s.text) << " flags " << (s.flags | kind) << " capacity "
            << s.capacity << " acts " << s.acts.size() << " pushed " << s.pushed << " status " << s.status
            << " reads " << s.reads;
    }
}

constexpr unsigned capacities[] = {0, 1, 2, 3, 5, 16, 2047, 2048};

scenario varied(text_maker &make, std::string text) {
    scenario s;
    s.text = std::move(text);
    s.capacity = capacities[make.below(8)];
    s.flags = make.below(5) == 0 ? 8 : 0;
    s.reads = make.below(3) == 0 ? 3 : 1;
    s.status = make.below(8) == 0 ? 4 : 0;
    s.name = make.below(4) == 0 ? std::optional<std::string>("a") : std::nullopt;
    s.pushed = make.below(8) == 0 ? "<>x\n& "[make.below(6)] : -256;
    s.error = make.below(30) == 0 ? 6 : 0;
    for (unsigned n = make.below(2) == 0 ? 0 : make.below(8); n > 0; --n) {
        s.acts.push_back(static_cast<refill_act>(make.below(refill_acts)));
    }
    return s;
}

TEST(reader_differential, random_text_reads_like_the_reference) {
    text_maker make(1);
    for (int i = 0; i < 4000; ++i) {
        ASSERT_NO_FATAL_FAILURE(expect_same(varied(make, make.soup())));
    }
}

TEST(reader_differential, well_formed_documents_in_pieces_read_like_the_reference) {
    text_maker make(2);
    for (int i = 0; i < 500; ++i) {
        scenario s;
        s.text = make.document();
        for (const unsigned capacity : capacities) {
            s.capacity = capacity;
            ASSERT_NO_FATAL_FAILURE(expect_same(s));
        }
    }
}

TEST(reader_differential, damaged_documents_read_like_the_reference) {
    text_maker make(3);
    for (int i = 0; i < 4000; ++i) {
        ASSERT_NO_FATAL_FAILURE(expect_same(varied(make, make.damaged())));
    }
}

// Reading goes on over what lies in the buffer and ends at the first node; what was pushed back then shows.
TEST(reader_differential, refillers_in_error_from_the_start_read_like_the_reference) {
    text_maker make(6);
    for (int i = 0; i < 3000; ++i) {
        scenario s = varied(make, i % 2 == 0 ? make.soup() : make.document());
        s.error = 6;
        s.capacity = i % 3 == 0 ? s.capacity : 0;
        ASSERT_NO_FATAL_FAILURE(expect_same(s));
    }
}

// A document that goes past the refill buffer, its middle moved byte by byte over the seam.
TEST(reader_differential, refill_at_every_offset_reads_like_the_reference) {
    text_maker make(4);
    std::string middle =
        "<item id=\"17\" note='a &amp; b'>some text</item><!-- c --><?p body?><!D x>t &lt; u<q/>";
    for (unsigned shift = 0; shift <= middle.size(); ++shift) {
        scenario s;
        s.text = "<root>" + std::string(2048 - 6 - shift, ' ') + middle + std::string(2100, 'z') + "</root>";
        ASSERT_NO_FATAL_FAILURE(expect_same(s));
    }
}

TEST(reader_differential, single_attributes_read_like_the_reference) {
    text_maker make(5);
    for (int i = 0; i < 6000; ++i) {
        scenario s = varied(make, make.below(2) == 0 ? make.soup() : " x = \"" + make.soup());
        s.attributes = true;
        s.reads = 1;
        ASSERT_NO_FATAL_FAILURE(expect_same(s));
    }
}

} // namespace
