// SPDX-License-Identifier: Apache-2.0
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "xml/guarded_page.h"
#include "xml/model.h"
#include "xml/read_text.h"

using namespace varnel::test;
using namespace std::string_literals;

namespace {

/// What a document looks like after a reading.
struct outcome {
    std::string tree; // children of the document node
    int status;
    unsigned count;
    unsigned line;

    bool operator==(const outcome &) const = default;
};

std::ostream &operator<<(std::ostream &to, const outcome &o) {
    return to << o.tree << " status " << o.status << " count " << o.count << " line " << o.line;
}

struct new_document {
    xml_document *doc = xml_document_new();
    new_document() = default;
    new_document(const new_document &) = delete;
    new_document &operator=(const new_document &) = delete;
    ~new_document() {
        xml_node_delete(doc->root);
        xml_document_delete(doc);
    }
    [[nodiscard]] outcome result() const {
        std::string tree = dump_children(*doc->root);
        if (doc->root->value != nullptr) {
            tree += " VALUE " + std::string(doc->root->value);
        }
        return {tree, doc->status, doc->node_count, doc->line};
    }
};

struct pieces {
    const std::string &text;
    size_t given = 0;
};

outcome read_in_pieces(const std::string &text, unsigned flags, unsigned capacity) {
    new_document read;
    read.doc->line = 1;
    std::string buffer(capacity, '\0');
    pieces from{text};
    xml_refiller r{};
    xml_refiller_setup(
        &r,
        [](xml_refiller *self) {
            auto *source = static_cast<pieces *>(self->source.pointer);
            self->fill =
                static_cast<unsigned>(source->text.copy(self->buffer, self->capacity, source->given));
            self->position = 0;
            source->given += self->fill;
            return 0;
        },
        buffer.data(), 0, capacity);
    r.source.pointer = &from;
    EXPECT_EQ(xml_node_read(&r, read.doc->root, read.doc, flags), 0);
    return read.result();
}

outcome read_fixed(std::string text, unsigned flags) {
    new_document read;
    read.doc->line = 1;
    EXPECT_EQ(read_text(read.doc, text, flags), 0);
    return read.result();
}

/// The buffer has more bytes of the text than may be read.
outcome read_begin(std::string text, std::size_t length, unsigned flags) {
    new_document read;
    read.doc->line = 1;
    xml_refiller r{};
    xml_refiller_setup(&r, nullptr, text.data(), static_cast<unsigned>(length),
                       static_cast<unsigned>(text.size()));
    EXPECT_EQ(xml_node_read(&r, read.doc->root, read.doc, flags), 0);
    return read.result();
}

outcome read_stream(const std::string &text, unsigned flags) {
    new_document read;
    std::FILE *const stream = tmpfile();
    (void)fwrite(text.data(), 1, text.size(), stream);
    rewind(stream);
    EXPECT_EQ(xml_read_file(read.doc, stream, flags), 0);
    (void)fclose(stream);
    return read.result();
}

/// However the text arrives and whatever the tree is made of, the outcome is the same.
void expect_read(const std::string &text, const outcome &expected, unsigned flags = 0) {
    SCOPED_TRACE(::testing::PrintToString(text));
    for (const unsigned kind : {0U, unsigned{xml_flag_compact}}) {
        EXPECT_EQ(read_stream(text, flags | kind), expected) << "stream";
        EXPECT_EQ(read_fixed(text, flags | kind), expected) << "fixed buffer";
        for (const unsigned capacity : {1U, 2U, 3U, 2047U, 2048U}) {
            EXPECT_EQ(read_in_pieces(text, flags | kind, capacity), expected) << "capacity " << capacity;
        }
    }
}

constexpr unsigned raw = xml_flag_raw;

TEST(reader, white_space_alone_is_an_empty_document) {
    expect_read("", {"", 0, 0, 1});
    expect_read(" \t\r\n\n", {"", 0, 0, 3});
}

TEST(reader, attribute_list_ends_with_an_empty_record) {
    expect_read("<a/>", {"a[~]", 0, 1, 1});
    expect_read("<a></a>", {"a[~]", 0, 1, 1});
    expect_read("<a x=\"1\" y='2'/>", {"a[x=\"1\" y=\"2\" ~]", 0, 1, 1});
    expect_read("<a\nx\n=\n'1'\n>\n</a>\n", {"a[x=\"1\" ~]", 0, 1, 7});
    expect_read("<a x = \t\r\n \"\"/>", {"a[x=\"\" ~]", 0, 1, 2});
    expect_read("<a-1_b:c/>", {"a-1_b:c[~]", 0, 1, 1});
}

// Compact trees take another way where so many bytes lie ready.
TEST(reader, tags_are_read_alike_where_many_bytes_lie_ready) {
    const auto expect_read_before_spaces = [](const std::string &text, const outcome &expected) {
        expect_read(text + std::string(500, ' '), expected);
    };
    for (const std::size_t length : {1U, 15U, 16U, 17U, 31U, 32U, 33U, 63U, 64U, 100U}) {
        const std::string name(length, 'n');
        const std::string value(length, 'v');
        expect_read_before_spaces("<" + name + "/>", {name + "[~]", 0, 1, 1});
        expect_read_before_spaces("<a " + name + "=\"" + value + "\"/>",
                                  {"a[" + name + "=\"" + value + "\" ~]", 0, 1, 1});
        expect_read_before_spaces("<a" + std::string(length, ' ') + "\n" + std::string(length, '\t') +
                                      "b=\"\"/>",
                                  {"a[b=\"\" ~]", 0, 1, 2});
    }
    expect_read_before_spaces("<a b=\"1\" c='2' d=\"&amp;\" e = \"5\"></a>",
                              {"a[b=\"1\" c=\"2\" d=\"&\" e=\"5\" ~]", 0, 1, 1});
    expect_read_before_spaces("<a\n\nb=\"1\n2\"\n>\n</a>", {"a[b=\"1\\n2\" ~]", 0, 1, 6});
    expect_read_before_spaces("<a b=\"1\"c=\"2\"/>", {"a[b=\"1\" c=\"2\" ~]", 0, 1, 1});
    expect_read_before_spaces("<a-1_b:c d-1=\"'<>\"><b /></a-1_b:c>",
                              {"a-1_b:c[d-1=\"'<>\" ~]{b[~]}", 0, 2, 1});
}

TEST(reader, compact_values_end_at_their_quote_wherever_the_next_is) {
    for (std::size_t length = 0; length < 50; ++length) {
        for (std::size_t distance = 1; distance < 20; ++distance) {
            const std::string value(length, 'v');
            const std::string name(distance, 'n');
            const std::string text = "<a>\n<b c=\"" + value + "\" " + name + "=\"" + value + "\"/></a>";
            const std::string tree = "a[~]{b[c=\"" + value + "\" " + name + "=\"" + value + "\" ~]}";
            EXPECT_EQ(read_fixed(text + std::string(200, ' '), xml_flag_compact), (outcome{tree, 0, 2, 2}));
        }
    }
}

TEST(reader, compact_tags_with_a_wrong_byte_anywhere_read_as_others_do) {
    const std::string tag = "<a><b c=\"1\" d=\"2\"\n e=\"3\"/><f>g=\"4\"</f></a>";
    for (std::size_t at = 0; at < tag.size(); ++at) {
        for (const char byte : "\t\n\v\r !\"#%&'+,/01:;<=>?A_az{\x80"s + '\0') {
            std::string text = tag + std::string(200, ' ');
            text[at] = byte;
            EXPECT_EQ(read_fixed(text, xml_flag_compact), read_fixed(text, 0))
                << static_cast<int>(byte) << " at " << at;
        }
    }
}

TEST(reader, compact_tags_end_where_the_input_does) {
    const std::string blanks(60, ' ');
    const std::string name(31, 'n');
    const std::string attribute = name + "=\"" + std::string(31, 'v') + "\"";
    for (const auto &between : {std::string(" "), blanks + "\n" + blanks, blanks + "\n" + blanks.substr(48),
                                blanks.substr(48) + "\n" + blanks, blanks + blanks}) {
        const std::string whole = "<a><b" + between + attribute + between + attribute + "/></a>";
        for (std::size_t length = 0; length < whole.size(); ++length) {
            EXPECT_EQ(read_begin(whole, length, xml_flag_compact), read_begin(whole, length, 0)) << length;
        }
    }
}

TEST(reader, slash_anywhere_in_a_tag_ends_the_attributes) {
    // Only "/>" without anything between is an empty element; else content follows.
    expect_read("<a / x='1'>t</a>", {"a[~]=\"x='1'>t\"", 0, 1, 1});
    expect_read("<a/ >", {"a[~]{T\">\"}", 0, 2, 1});
}

TEST(reader, second_greater_than_sign_ends_the_element) {
    expect_read("<a>>t", {"a[~] T\"t\"", 0, 2, 1});
    expect_read("<a>>t</a>", {"a[~] VALUE t"s, 11, 1, 1});
}

TEST(reader, elements_are_nested) {
    expect_read("<a><b><c/></b><d/></a>", {"a[~]{b[~]{c[~]} d[~]}", 0, 4, 1});
    expect_read("<a>\n <b/>\n <c/>\n</a>\n<d/>", {"a[~]{b[~] c[~]} d[~]", 0, 4, 5});
}

TEST(reader, elements_without_an_end_tag_are_complete) {
    expect_read("<a>", {"a[~]", 0, 1, 1});
    expect_read("<a><b>", {"a[~]{b[~]}", 0, 2, 1});
    expect_read("<a><b>text", {"a[~]{b[~]{T\"text\"}}", 0, 3, 1}); // no end tag, no merge
}

TEST(reader, single_text_becomes_the_value_of_its_element) {
    expect_read("<a>text</a>", {"a[~]=\"text\"", 0, 1, 1});
    expect_read("<a> text </a>", {"a[~]=\"text\"", 0, 1, 1});
    expect_read("<a>text<b/></a>", {"a[~]=\"text\"{b[~]}", 0, 2, 1});
    expect_read("<a><b/>text</a>", {"a[~]=\"text\"{b[~]}", 0, 2, 1});
    expect_read("<a><b/>text<c/></a>", {"a[~]=\"text\"{b[~] c[~]}", 0, 3, 1});
    expect_read("<a>one<b/>two</a>", {"a[~]{T\"one\" b[~] T\"two\"}", 0, 4, 1});
    expect_read("<a><!--c-->text</a>", {"a[~]=\"text\"{#\"c\"}", 0, 2, 1});
}

TEST(reader, element_with_several_texts_has_neither_value_nor_length) {
    new_document read;
    std::string text = "<a>x<b/>y</a>";
    EXPECT_EQ(read_text(read.doc, text, 0), 0);
    const xml_node *const a = read.doc->root->first_child;
    EXPECT_EQ(a->value, nullptr);
    EXPECT_EQ(a->value_length, 0U);
    EXPECT_EQ(a->first_child->value_length, 1U);
}

TEST(reader, trailing_spaces_and_tabs_of_a_text_are_trimmed) {
    expect_read("<a>abc  \t</a>", {"a[~]=\"abc\"", 0, 1, 1});
    expect_read("<a>abc\r</a>", {"a[~]=\"abc\\x0D\"", 0, 1, 1});
    expect_read("<a>\n\t abc\n \t</a>", {"a[~]=\"abc\\n\"", 0, 1, 3});
    expect_read("<a>a b\tc</a>", {"a[~]=\"a b\\x09c\"", 0, 1, 1});
    expect_read("text \t ", {"T\"text\"", 0, 1, 1});
    expect_read("\n text\n", {"T\"text\\n\"", 0, 1, 3});
}

TEST(reader, entities_in_text_are_decoded) {
    expect_read("<a>&lt;&gt;&amp;&quot;&apos;</a>", {"a[~]=\"<>&\\\"'\"", 0, 1, 1});
    expect_read("<a>&foo;</a>", {"a[~]=\"&foo;\"", 0, 1, 1});
    expect_read("<a>&am;&ampx;&lx;&gx;&qu;&apo;</a>", {"a[~]=\"&&<>\\\"'\"", 0, 1, 1});
    expect_read("<a>&ap;&quo;&quox;&ampxy;&AMP;</a>", {"a[~]=\"&\\\"\\\"&ampxy;&AMP;\"", 0, 1, 1});
    expect_read("<a>&no\nsuch thing;</a>", {"a[~]=\"&no\\nsuch thing;\"", 0, 1, 2});
    expect_read("<a>a;b</a>", {"a[~]=\"a;b\"", 0, 1, 1});
    expect_read("<a>&#65;</a>", {"a[~]=\"&#65;\"", 0, 1, 1});
}

TEST(reader, entities_in_attributes_are_decoded) {
    expect_read("<a x='&lt;&gt;&amp;&quot;&apos;'/>", {"a[x=\"<>&\\\"'\" ~]", 0, 1, 1});
    expect_read("<a x='1&foo;2'/>", {"a[x=\"1;2\" ~]", 0, 1, 1});
    expect_read("<a x='1&amp'/>", {"a[x=\"1&amp\" ~]", 0, 1, 1}); // the quote ends the value
    expect_read("<a x='1;2'/>", {"a[x=\"1;2\" ~]", 0, 1, 1});
    expect_read("<a x='&am;&ampx;'/>", {"a[x=\"&&\" ~]", 0, 1, 1});
}

TEST(reader, raw_flag_keeps_entities) {
    expect_read("<a x='&amp;&;&'>&lt;&;&</a>", {"a[x=\"&amp;&;&\" ~]=\"&lt;&;&\"", 0, 1, 1}, raw);
}

TEST(reader, attribute_values_keep_the_other_quote_and_newlines) {
    expect_read("<a x=\"it's\n<b>\" y='\"'/>", {"a[x=\"it's\\n<b>\" y=\"\\\"\" ~]", 0, 1, 2});
}

TEST(reader, comments_are_read_with_the_handling_of_hyphens) {
    expect_read("<!---->", {"#\"\"", 0, 1, 1});
    expect_read("<!-- a\nb -->", {"#\" a\\nb \"", 0, 1, 2});
    expect_read("<!--a--b-->", {"#\"a-b\"", 0, 1, 1});
    expect_read("<!--a-b-->", {"#\"a-b\"", 0, 1, 1});
    expect_read("<!--a.b-->", {"#\"a.b\"", 0, 1, 1});
    expect_read("<!--a---b-->", {"#\"a--b\"", 0, 1, 1});
    expect_read("<!--a--->x-->", {"#\"a-->x\"", 0, 1, 1});
    expect_read("<!--a", {"#\"a\"", 0, 1, 1});
    expect_read("<!--a-", {"#\"a-\"", 0, 1, 1});
    expect_read("<!--a--", {"#\"a--\"", 0, 1, 1});
    expect_read("<!--<a>&amp;</a>-->", {"#\"<a>&amp;</a>\"", 0, 1, 1});
}

TEST(reader, processing_instructions_are_read_up_to_their_end) {
    expect_read("<?xml version=\"1.0\"?>", {"?xml=\"version=\\\"1.0\\\"\"", 0, 1, 1});
    expect_read("<?p   b ?>", {"?p=\"b \"", 0, 1, 1});
    expect_read("<?p ?>", {"?p=\"\"", 0, 1, 1});
    expect_read("<?p\n\tb?>", {"?p=\"\\n\\x09b\"", 0, 1, 2});
    expect_read("<?p a?b?"
                "?>",
                {"?p=\"a?b?\"", 0, 1, 1});
    expect_read("<?p ? x?>", {"?p=\"? x\"", 0, 1, 1});
    expect_read("<?p a@b?>", {"?p=\"a@b\"", 0, 1, 1});
    expect_read("<?p>x?>", {"?p=\">x\"", 0, 1, 1});
    expect_read("<?p a", {"?p=\"a\"", 0, 1, 1});
    expect_read("<?p a?", {"?p=\"a?\"", 0, 1, 1});
}

TEST(reader, declarations_are_read_up_to_the_first_greater_than_sign) {
    expect_read("<!DOCTYPE  html >", {"!DOCTYPE=\"html \"", 0, 1, 1});
    expect_read("<!D>", {"!D=\"\"", 0, 1, 1});
    expect_read("<!D \t\r\n a\n b>", {"!D=\"a\\n b\"", 0, 1, 3});
    expect_read("<!D a", {"!D=\"a\"", 0, 1, 1});
    expect_read("<!DOCTYPE a [<!ENTITY b 'c'>]>", {"!DOCTYPE=\"a [<!ENTITY b 'c'\" T\"]>\"", 0, 2, 1});
}

TEST(reader, cdata_section_sets_status_11) { expect_read("<a><![CDATA[x]]></a>", {"a[~]", 11, 1, 1}); }

TEST(reader, bad_character_after_the_bracket_sets_status_4) {
    // Status 4, then the rest up to ">" is an end tag: here it closes "a", so 4 stays.
    expect_read("<a><1a></a>", {"a[~]", 11, 1, 1}); // the second end tag matches nothing
    expect_read("<a><1a>", {"a[~]", 4, 1, 1});
    expect_read("<a><!1a>", {"a[~]", 4, 1, 1});
    expect_read("<a><!-xa>", {"a[~]", 4, 1, 1});
    expect_read("<a><>a>", {"a[~]", 4, 1, 1}); // ">" is the bad character
    expect_read("<a><!>a>", {"a[~]", 4, 1, 1});
    expect_read("<a><!->a>", {"a[~]", 4, 1, 1});
    expect_read("<a><!/a>", {"a[~]", 4, 1, 1});
    expect_read("<a>t<1>", {"a[~]=\"t\"", 11, 1, 1});
    expect_read("<1>x", {"", 11, 0, 1}); // the document has no name to match: reading ends here
}

TEST(reader, bad_name_leaves_a_node_without_name_and_value) {
    expect_read("<a$b>text", {"~ T\"b>text\"", 4, 2, 1});
    expect_read("<a=>text", {"~ T\">text\"", 4, 2, 1});
    expect_read("<?xml?>", {"?~ T\">\"", 4, 2, 1});
    expect_read("<? p?>", {"?~ T\"p?>\"", 4, 2, 1});
    expect_read("<!D$ x>", {"!~ T\"x>\"", 4, 2, 1});
    expect_read("<a", {"~", 8, 1, 1});
    expect_read("<?", {"?~", 8, 1, 1});
    expect_read("<?p", {"?~", 8, 1, 1});
    expect_read("<!D", {"!~", 8, 1, 1});
}

TEST(reader, end_of_input_after_the_bracket_is_not_an_error) {
    expect_read("<", {"", 0, 0, 1});
    expect_read("<!", {"", 0, 0, 1});
    expect_read("<!-", {"", 0, 0, 1});
    expect_read("<a><", {"a[~]", 0, 1, 1});
}

TEST(reader, names_have_up_to_127_characters) {
    const std::string good(127, 'n');
    expect_read("<" + good + "/>", {good + "[~]", 0, 1, 1});
    expect_read("<" + good + "n/>", {"~ T\"/>\"", 8, 2, 1});
    expect_read("<" + good + "$/>", {"~ T\"/>\"", 4, 2, 1});
    expect_read("<" + good, {"~", 8, 1, 1});
    expect_read("<?" + good + "nn?>", {"?~ T\"n?>\"", 8, 2, 1});
}

TEST(reader, attribute_names_have_up_to_128_characters) {
    const std::string good(128, 'n');
    expect_read("<a " + good + "='1'/>", {"a[" + good + "=\"1\" ~]", 0, 1, 1});
    expect_read("<a " + good + "n='1'/>", {"a[~]{T\"='1'/>\"}", 9, 2, 1});
}

TEST(reader, attribute_values_have_up_to_256_characters) {
    const std::string good(256, 'v');
    expect_read("<a x='" + good + "'/>", {"a[x=\"" + good + "\" ~]", 0, 1, 1});
    expect_read("<a x='" + good + "v'/>", {"a[~]{T\"'/>\"}", 10, 2, 1});
    expect_read("<a x='" + good + "&'/>", {"a[~]{T\"'/>\"}", 10, 2, 1});
    expect_read("<a x='" + good + "&;'/>", {"a[~]{T\";'/>\"}", 10, 2, 1});
    const std::string almost(252, 'v');
    expect_read("<a x='" + almost + "&amp;'/>", {"a[x=\"" + almost + "&\" ~]", 0, 1, 1});
    expect_read("<a x='" + almost + "v&amp;'/>", {"a[~]{T\";'/>\"}", 10, 2, 1}); // "p" is the 257th
}

TEST(reader, bad_attribute_sets_status_5_or_6) {
    expect_read("<a 1x='1'/>", {"a[~]{T\"x='1'/>\"}", 5, 2, 1});
    expect_read("<a x$='1'/>", {"a[~]{T\"='1'/>\"}", 6, 2, 1});
    expect_read("<a x y='1'/>", {"a[~]{T\"='1'/>\"}", 6, 2, 1});
    expect_read("<a x>t</a>", {"a[~]=\"t\"", 6, 1, 1}); // ">" is consumed as the bad character
    expect_read("<a x=1 />", {"a[~]{T\"/>\"}", 6, 2, 1});
    expect_read("<a x='1' 2>t</a>", {"a[x=\"1\" ~] VALUE t", 11, 1, 1}); // ">" after it: no content
}

/// How often a refill function is called after it has reported the end of the input.
int calls_after_the_end(std::string text) {
    static int calls;
    calls = 0;
    xml_refiller source{};
    xml_refiller_setup(
        &source,
        [](xml_refiller *self) {
            ++calls;
            self->fill = 0;
            self->position = 0;
            return 0;
        },
        text.data(), static_cast<unsigned>(text.size()), static_cast<unsigned>(text.size()));
    const new_document read;
    EXPECT_EQ(xml_node_read(&source, read.doc->root, read.doc, 0), 0) << text;
    return calls - 1;
}

TEST(reader, end_of_input_ends_a_body_without_another_refill) {
    for (const char *body : {"<!--", "<!-- ", "<!-- x", "<!-- -", "<!-- --", "<?name", "<?name ", "<?name x",
                             "<?name x?", "<!NAME", "<!NAME ", "<!NAME x"}) {
        EXPECT_EQ(calls_after_the_end(body), 1) << body << ": the level above looks for the next node";
    }
}

TEST(reader, end_of_input_in_an_attribute_sets_status_6) {
    for (const char *text : {"<a ", "<a x", "<a x ", "<a x=", "<a x= ", "<a x='", "<a x='1", "<a x='&am"}) {
        expect_read(text, {"a[~]", 6, 1, 1});
    }
}

TEST(reader, bad_entity_in_an_attribute_ends_the_attribute) {
    expect_read("<a x='&;'/>", {"a[~]{T\"'/>\"}", 13, 2, 1});
    expect_read("<a x='&a;'/>", {"a[~]{T\"'/>\"}", 13, 2, 1});
    expect_read("<a x='&#65;'/>", {"a[~]{T\"65;'/>\"}", 12, 2, 1});
    expect_read("<a x='&am p;'/>", {"a[~]{T\"p;'/>\"}", 12, 2, 1});
    expect_read("<a x='&&amp;'/>", {"a[~]{T\"amp;'/>\"}", 12, 2, 1});
}

TEST(reader, bad_entity_in_text_leaves_it_without_a_value) {
    expect_read("<a>x&;y</a>", {"a[~]{T T\"y\"}", 13, 3, 1});
    expect_read("<a>x&a; y</a>", {"a[~]{T T\"y\"}", 13, 3, 1});
    expect_read("<a>x&amp</a>", {"a[~]", 12, 1, 1}); // the one text, without a value, becomes the element's
    expect_read("<a>x&amp<b/></a>", {"a[~]{b[~]}", 12, 2, 1});
    expect_read("<a>x&am&lt;y</a>", {"a[~]{T T\"lt;y\"}", 12, 3, 1});
    expect_read("x&amp", {"T", 12, 1, 1});
}

TEST(reader, unmatched_end_tag_sets_status_11) {
    expect_read("<a>t</b>", {"a[~]=\"t\"", 11, 1, 1});
    expect_read("<a></A>", {"a[~]", 11, 1, 1});
    expect_read("<a></a >", {"a[~]", 11, 1, 1});
    expect_read("<a></a\n>", {"a[~]", 11, 1, 2});
    expect_read("<a></a?></a>", {"a[~]", 11, 1, 1});
    expect_read("<a></a", {"a[~]", 11, 1, 1});
    expect_read("<a></>", {"a[~]", 11, 1, 1});
    expect_read("</a>rest", {"", 11, 0, 1}); // closes what was never opened: reading ends
    expect_read("<a/>t</x>rest", {"a[~] VALUE t", 11, 1, 1});
}

TEST(reader, end_tags_have_up_to_128_characters) {
    const std::string name(128, 'x');
    expect_read("<a>t</" + name + ">u", {"a[~]=\"t\" T\"u\"", 11, 2, 1});
    expect_read("<a>t</" + name + "y>u", {"a[~]=\"t\" T\">u\"", 8, 2, 1});
}

TEST(reader, element_after_an_error_reads_one_attribute_and_stores_none) {
    expect_read("<a x/><b y='1' z='2'>t</b>", {"a[~] b[~]=\"z='2'>t\"", 6, 2, 1});
}

TEST(reader, element_after_an_error_of_an_earlier_reading_reads_one_attribute_and_stores_none) {
    for (const unsigned kind : {0U, unsigned{xml_flag_compact}}) {
        for (int status = 1; status <= 14; ++status) {
            new_document read;
            read.doc->status = status;
            std::string text = "<b y=\"1\" z=\"2\">t</b>" + std::string(500, ' ');
            EXPECT_EQ(read_text(read.doc, text, kind), 0);
            EXPECT_EQ(read.result(), (outcome{R"(b[~]="z=\"2\">t")", status, 1, 0})) << kind;
        }
    }
}

TEST(reader, nul_ends_a_string_but_counts_in_its_length) {
    expect_read("<a>x\0y</a>"s, {"a[~]=\"x\\x00y\"", 0, 1, 1});
    expect_read("<a x='1\0002'/>"s, {"a[x=\"1\" ~]", 0, 1, 1});
    expect_read("<a></a\0b>"s, {"a[~]", 0, 1, 1}); // the comparison ends at the zero byte
    expect_read("<abc>abc\0</ab>"s, {"abc[~]=\"abc\\x00\"", 11, 1, 1});
}

TEST(reader, texts_and_bodies_of_any_length_are_complete) {
    for (const size_t length : {2000U, 2047U, 2048U, 2049U, 5000U, 70000U}) {
        const std::string text(length, 'z');
        expect_read("<a>" + text + "</a>", {"a[~]=\"" + text + "\"", 0, 1, 1});
        expect_read("<!--" + text + "-->", {"#\"" + text + "\"", 0, 1, 1});
        expect_read("<?p " + text + "?>", {"?p=\"" + text + "\"", 0, 1, 1});
        expect_read("<!D " + text + ">", {"!D=\"" + text + "\"", 0, 1, 1});
    }
}

TEST(reader, long_text_after_a_long_text_is_complete) {
    const std::string first(70000, 'y');
    const std::string second(50000, 'z');
    expect_read("<r><a>" + first + "</a><b>" + second + "</b></r>",
                {"r[~]{a[~]=\"" + first + "\" b[~]=\"" + second + "\"}", 0, 3, 1});
}

TEST(reader, name_after_a_long_text_without_a_value_is_complete) {
    const std::string text(5000, 'x');
    const std::string name(50, 'n');
    expect_read("<a>" + text + "\n&;</a><" + name + "/>", {"a[~] " + name + "[~]", 13, 2, 2});
}

// Strings are copied with some bytes that come after them, if the buffer has these.
TEST(reader, reads_no_byte_after_its_buffer) {
    guarded_page page;
    const std::string text = "<name attribute='value'>text</name>";
    for (const unsigned kind : {0U, unsigned{xml_flag_compact}}) {
        for (std::size_t length = 0; length <= text.size(); ++length) {
            const std::string begin = text.substr(0, length);
            new_document read;
            xml_refiller r{};
            const auto size = static_cast<unsigned>(length);
            xml_refiller_setup(&r, nullptr, page.copy_before_end(begin, 0), size, size);
            EXPECT_EQ(xml_node_read(&r, read.doc->root, read.doc, kind), 0);
            read.doc->line = 1;
            EXPECT_EQ(read.result(), read_stream(begin, kind));
        }
    }
}

TEST(reader, name_letters_follow_the_locale) {
    expect_read("<a>\xE4</a>", {"a[~]=\"\\xE4\"", 0, 1, 1});
    expect_read("<\xE4/>", {"", 11, 0, 1});
    const scratch_folder folder;
    const std::string make = "localedef --no-archive -i de_DE -f ISO-8859-1 " + folder.file("de_XX");
    setenv("LOCPATH", folder.path().c_str(), 1);
    if (system(make.c_str()) != 0 || setlocale(LC_CTYPE, "de_XX") == nullptr) {
        GTEST_SKIP() << "no German locale can be made here";
    }
    expect_read("<\xE4/>", {"\xE4[~]", 0, 1, 1});
    expect_read("<\xFF/>", {"\xFF[~]", 0, 1, 1});
    expect_read("<\xB0/>", {"", 11, 0, 1}); // the degree sign is no letter
    setlocale(LC_CTYPE, "C");
    unsetenv("LOCPATH");
}

TEST(reader, numbers_that_are_no_characters_are_no_letters) {
    for (const int number : {0x141, -5}) {
        const new_document read;
        xml_refiller r{};
        xml_refiller_setup(&r, nullptr, nullptr, 0, 0);
        xml_refiller_set_char(&r, number);
        xml_attribute attribute{};
        EXPECT_EQ(xml_attribute_read(&r, &attribute, read.doc, 0), int{xml_status_bad_attribute_start});
    }
}

TEST(reader, number_that_is_pushed_back_is_text_as_its_low_byte) {
    const new_document read;
    std::string text = "<a/>";
    xml_refiller r{};
    xml_refiller_setup(&r, nullptr, text.data(), 4, 4);
    xml_refiller_set_char(&r, 0x100 + ' ');
    EXPECT_EQ(xml_node_read(&r, read.doc->root, read.doc, 0), 0);
    EXPECT_EQ(read.result(), (outcome{"T\" \" a[~]", 0, 2, 0}));
}

TEST(reader, status_is_never_reset) {
    new_document read;
    std::string text = "<a/>";
    xml_refiller r{};
    xml_refiller_setup(&r, nullptr, text.data(), 4, 4);
    read.doc->status = 9;
    EXPECT_EQ(xml_node_read(&r, read.doc->root, read.doc, 0), 0);
    EXPECT_EQ(read.doc->status, 9);
}

TEST(reader, pushed_back_character_is_read_first) {
    new_document read;
    std::string text = "a/>";
    xml_refiller r{};
    xml_refiller_setup(&r, nullptr, text.data(), 3, 3);
    xml_refiller_set_char(&r, '<');
    xml_node_read(&r, read.doc->root, read.doc, 0);
    EXPECT_EQ(read.result(), (outcome{"a[~]", 0, 1, 0}));
}

TEST(reader, reading_continues_after_an_end_tag) {
    new_document read;
    std::string text = "<b/>t</a><c/>";
    const auto size = static_cast<unsigned>(text.size());
    xml_refiller r{};
    xml_refiller_setup(&r, nullptr, text.data(), size, size);
    free(read.doc->root->name);
    read.doc->root->name = strdup("a");
    EXPECT_EQ(xml_node_read(&r, read.doc->root, read.doc, 0), 0);
    EXPECT_EQ(read.result(), (outcome{"b[~] VALUE t", 0, 1, 0}));
    EXPECT_EQ(r.position, 9U);
    EXPECT_EQ(xml_node_read(&r, read.doc->root, read.doc, 0), 0);
    EXPECT_EQ(read.result(), (outcome{"b[~] c[~] VALUE t", 0, 2, 0}));
}

// The children's own links may be odd when a daemon made them; the merge mends what it touches.
TEST(reader, merged_text_is_unlinked) {
    new_document read;
    xml_node *const root = read.doc->root;
    xml_node *const first = xml_node_new();
    xml_node *const text = xml_node_new();
    text->kind = xml_kind_text;
    text->value = strdup("old");
    xml_node_add_child(root, first);
    xml_node_add_child(root, text);
    text->previous = nullptr;
    text->parent = nullptr;
    std::string end_tag = "</x>";
    xml_refiller r{};
    xml_refiller_setup(&r, nullptr, end_tag.data(), 4, 4);
    read.doc->node_count = 2;
    xml_node_read(&r, root, read.doc, 0);
    EXPECT_EQ(read.result(), (outcome{"~ VALUE old", 11, 1, 0}));
    EXPECT_EQ(root->last_child, first);
    EXPECT_EQ(first->next, nullptr);
}

TEST(reader, merge_of_the_only_child_leaves_no_children) {
    new_document read;
    std::string text = "t</x>";
    xml_refiller r{};
    xml_refiller_setup(&r, nullptr, text.data(), 5, 5);
    xml_node_read(&r, read.doc->root, read.doc, 0);
    EXPECT_EQ(read.doc->root->first_child, nullptr);
    EXPECT_EQ(read.doc->root->last_child, nullptr);
}

// A refill function may hand out memory of its own instead of filling a buffer.
TEST(reader, refill_function_may_supply_its_own_buffers) {
    new_document read;
    static char first[] = "<a x='1";
    static char second[] = "'>text</a>";
    xml_refiller r{};
    xml_refiller_setup(
        &r,
        [](xml_refiller *self) {
            const bool at_end = self->buffer == second;
            self->buffer = self->buffer == nullptr ? first : second;
            self->fill = at_end ? 0 : static_cast<unsigned>(strlen(self->buffer));
            self->position = 0;
            return 0;
        },
        nullptr, 0, 0);
    EXPECT_EQ(xml_node_read(&r, read.doc->root, read.doc, 0), 0);
    EXPECT_EQ(read.result(), (outcome{"a[x=\"1\" ~]=\"text\"", 0, 1, 0}));
}

// A terminal or a growing file can go on after an end.
TEST(reader, body_cut_by_end_of_input_is_not_continued) {
    for (const auto &[begin, rest, expected] :
         {std::tuple{"<!--x-", "-->y", "#\"x-\" T\"-->y\""}, std::tuple{"<!--x--", ">y", "#\"x--\" T\">y\""},
          std::tuple{"<?p x?", ">y", "?p=\"x?\" T\">y\""}, std::tuple{"<!D x", ">y", "!D=\"x\" T\">y\""}}) {
        new_document read;
        std::vector<std::string> refills = {begin, "", rest};
        std::string buffer(100, '\0');
        xml_refiller r{};
        xml_refiller_setup(
            &r,
            [](xml_refiller *self) {
                auto &left = *static_cast<std::vector<std::string> *>(self->source.pointer);
                self->fill = 0;
                if (!left.empty()) {
                    self->fill = static_cast<unsigned>(left.front().copy(self->buffer, self->capacity));
                    left.erase(left.begin());
                }
                self->position = 0;
                return 0;
            },
            buffer.data(), 0, 100);
        r.source.pointer = &refills;
        EXPECT_EQ(xml_node_read(&r, read.doc->root, read.doc, 0), 0);
        EXPECT_EQ(xml_node_read(&r, read.doc->root, read.doc, 0), 0);
        EXPECT_EQ(read.result().tree, expected);
    }
}

// The reader's own push-back of the "a" that it met overwrites the one of the refill function.
TEST(reader, refill_function_may_push_a_character_back) {
    new_document read;
    static char text[] = "ab";
    xml_refiller r{};
    xml_refiller_setup(
        &r,
        [](xml_refiller *self) {
            const bool first = self->buffer == nullptr;
            self->buffer = text;
            self->fill = first ? 2 : 0;
            self->position = 0;
            if (first) {
                xml_refiller_set_char(self, '<');
            }
            return 0;
        },
        nullptr, 0, 0);
    EXPECT_EQ(xml_node_read(&r, read.doc->root, read.doc, 0), 0);
    EXPECT_EQ(read.result(), (outcome{"T\"ab\"", 0, 1, 0}));
}

TEST(reader, refill_failure_deletes_open_elements_and_keeps_closed_ones) {
    new_document read;
    std::string text = "<done/><a><b/><c>text";
    xml_refiller r{};
    std::string buffer(100, '\0');
    xml_refiller_setup(
        &r,
        [](xml_refiller *self) {
            const auto *source = static_cast<std::string *>(self->source.pointer);
            if (self->fill != 0) {
                self->error = 5;
                return 1;
            }
            self->fill = static_cast<unsigned>(source->copy(self->buffer, self->capacity));
            return 0;
        },
        buffer.data(), 0, 100);
    r.source.pointer = &text;
    EXPECT_EQ(xml_node_read(&r, read.doc->root, read.doc, 0), 5);
    EXPECT_EQ(read.result(), (outcome{"done[~]", 5, 2, 0})); // "b" had been counted
}

TEST(read_file, unmatched_end_tag_leaves_the_stream_after_its_block) {
    new_document read;
    std::FILE *const stream = tmpfile();
    (void)fputs("</x>", stream);
    (void)fputs(std::string(5000, ' ').c_str(), stream);
    rewind(stream);
    EXPECT_EQ(xml_read_file(read.doc, stream, 0), 0);
    EXPECT_EQ(read.doc->status, 11);
    EXPECT_EQ(ftell(stream), 2048);
    (void)fclose(stream);
}

TEST(read_file, starts_at_the_stream_position_and_sets_the_line) {
    new_document read;
    std::FILE *const stream = tmpfile();
    (void)fputs("skipped<a/>\n", stream);
    (void)fseek(stream, 7, SEEK_SET);
    read.doc->line = 77;
    EXPECT_EQ(xml_read_file(read.doc, stream, 0), 0);
    EXPECT_EQ(read.result(), (outcome{"a[~]", 0, 1, 2}));
    (void)fclose(stream);
}

TEST(read_file, failed_read_is_returned_and_sets_status_1) {
    new_document read;
    std::FILE *const stream = fopen("/dev/null", "w"); // not open for reading
    EXPECT_EQ(xml_read_file(read.doc, stream, 0), 1);
    EXPECT_EQ(read.doc->status, 1);
    (void)fclose(stream);
}

TEST(read_by_path, returns_the_status_of_the_document) {
    const std::string path = ::testing::TempDir() + "varnel_reader_test_" + std::to_string(getpid()) + ".xml";
    std::FILE *const stream = fopen(path.c_str(), "w");
    (void)fputs("<a></b>", stream);
    (void)fclose(stream);
    new_document read;
    EXPECT_EQ(xml_read(read.doc, path.c_str(), 0), 11);
    EXPECT_EQ(read.result(), (outcome{"a[~]", 11, 1, 1}));
    (void)unlink(path.c_str());
}

TEST(read_by_path, missing_file_returns_status_1) {
    new_document read;
    EXPECT_EQ(xml_read(read.doc, "/nonexistent/file.xml", 0), 1);
    EXPECT_EQ(read.doc->status, 1);
    EXPECT_EQ(read.doc->line, 0U);
}

TEST(read_by_path, directory_returns_status_1) {
    new_document read;
    EXPECT_EQ(xml_read(read.doc, "/", 0), 1);
    EXPECT_EQ(read.doc->status, 1);
}

class attribute_reader : public ::testing::Test {
  protected:
    int read(const std::string &text, unsigned flags = 0) {
        text_ = text;
        const auto size = static_cast<unsigned>(text.size());
        xml_refiller_setup(&refiller_, nullptr, text_.data(), size, size);
        return xml_attribute_read(&refiller_, &attribute_, read_.doc, flags);
    }
    ~attribute_reader() override {
        free(attribute_.name);
        free(attribute_.value);
    }

    std::string text_;
    xml_refiller refiller_{};
    xml_attribute attribute_{};
    new_document read_;
};

TEST_F(attribute_reader, stores_name_and_value) {
    EXPECT_EQ(read("\n x = '1' y"), 0);
    EXPECT_STREQ(attribute_.name, "x");
    EXPECT_STREQ(attribute_.value, "1");
    EXPECT_EQ(attribute_.next, nullptr);
    EXPECT_EQ(refiller_.position, 9U);
    EXPECT_EQ(read_.doc->line, 1U);
}

TEST_F(attribute_reader, end_of_the_tag_is_consumed_without_an_error) {
    for (const char *text : {"/>", " >x"}) {
        EXPECT_EQ(read(text), 0);
        EXPECT_EQ(attribute_.name, nullptr);
        EXPECT_EQ(read_.doc->status, 0);
        EXPECT_EQ(text_[refiller_.position - 1], text[0] == ' ' ? '>' : '/');
    }
}

TEST_F(attribute_reader, returns_the_status_it_sets) {
    EXPECT_EQ(read("x 1"), 6);
    EXPECT_EQ(read_.doc->status, 6);
    EXPECT_EQ(attribute_.name, nullptr);
}

TEST_F(attribute_reader, earlier_status_is_returned_and_nothing_is_stored) {
    read_.doc->status = 11;
    EXPECT_EQ(read("x='1'"), 11);
    EXPECT_EQ(attribute_.name, nullptr);
    EXPECT_EQ(refiller_.position, 5U); // but has read it
    EXPECT_EQ(read(">"), 0);
    EXPECT_EQ(read(std::string(200, 'n')), 11);
    EXPECT_EQ(read("$"), 5); // a bad character is recorded all the same
}

TEST_F(attribute_reader, raw_flag_keeps_entities) {
    EXPECT_EQ(read("x='&lt;'", xml_flag_raw), 0);
    EXPECT_STREQ(attribute_.value, "&lt;");
}

} // namespace
