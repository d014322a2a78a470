// Documents to files and back: generated trees in each encoding, what is cut, merged and
// left as it stands, and errors with their lines.
#include "kernel/quick_class.h"
#include "xml_tools.h"

#include <array>
#include <random>

namespace {

// A tree made twice at once: as nodes of a document, and as the file that it must become,
// with its characters as Latin-1.
struct generated {
    vok_xml_document *d;
    std::mt19937 random;
    std::string file;

    long below(long n) { return long(random() % unsigned(n)); }
    std::string word(const std::string &letters, long longest)
    {
        std::string w(size_t(1 + below(longest)), ' ');
        for (char &c : w)
            c = letters[size_t(below(long(letters.size())))];
        return w;
    }
    static std::string escaped(const std::string &text)
    {
        const std::string marks = "<>&\"", words[] = {"&lt;", "&gt;", "&amp;", "&quot;"};
        std::string e;
        for (const char c : text)
            e += marks.find(c) == marks.npos ? std::string(1, c) : words[marks.find(c)];
        return e;
    }
    void leaf(vok_xml_node *under, const std::string &tabs, long kind)
    {
        const std::string text = word("text abc\xE9\xFC", 9);
        const auto make = std::array{vok_xml_document_createtextnode, vok_xml_document_createcomment,
                                     vok_xml_document_createcdatasection}[size_t(kind)];
        EXPECT_EQ(vok_xml_node_appendchild(under, make(d, text.c_str())), 0);
        if (kind > 0)
            file += tabs + (kind == 1 ? "<!--" + text + "-->" : "<![CDATA[" + text + "]]>") + "\n";
        else if (!trimmed(text).empty()) // a text's end stays as it is
            file += tabs + text.substr(text.find_first_not_of(' ')) + "\n";
    }
    void element(vok_xml_node *under, const std::string &tabs)
    {
        const std::string name = word("abxy_\xE9", 5);
        vok_xml_element *e = vok_xml_document_createelement(d, gensym(name.c_str()));
        EXPECT_EQ(vok_xml_node_appendchild(under, e), 0);
        file += tabs + "<" + name;
        for (long i = below(4); i > 0; i--) {
            const std::string fact = "f" + std::to_string(i), value = word("<>&\"'v\xC4 ", 12);
            vok_xml_attribute *a = vok_xml_document_createattribute(d, gensym(fact.c_str()));
            vok_xml_node_setnodevalasstring(a, value.c_str());
            vok_xml_element_setattributenode(e, a);
            file += " " + fact + "=\"" + escaped(value) + "\"";
        }
        const long count = tabs.size() < 6 ? below(5) : 0;
        file += count ? ">\n" : " />\n";
        for (long i = 0; i < count; i++) // a text comes first, as two of them would become one
            below(2) ? leaf(&e->node, tabs + "\t", i ? 1 + below(2) : below(3)) : element(&e->node, tabs + "\t");
        file += count ? tabs + "</" + name + ">\n" : "";
    }
};

// Latin-1 in an encoding, by its definition.
std::string encoded(const std::string &text, const std::string &encoding)
{
    std::string out;
    for (const char c : text)
        out += encoding == "utf-16"           ? std::string{'\0', c}
               : encoding == "utf-8" && c < 0 ? std::string{char(0xC0 | (c & 0xC0) >> 6), char(0x80 | (c & 0x3F))}
                                              : std::string(1, c);
    return out;
}

TEST(XmlFile, GeneratedTreesAreWrittenAsToldAndReadAgain)
{
    const scratch_folder folder;
    const std::string first = folder / "a.xml", second = folder / "b.xml";
    report_catcher reports;
    for (unsigned seed = 0; seed < 60; seed++) {
        const std::string encoding = std::array{"utf-8", "iso-8859-1", "utf-16"}[seed % 3];
        SCOPED_TRACE(encoding + " " + std::to_string(seed));
        const document d, again, third;
        generated g{d, std::mt19937(seed),
                    "<?xml version=\"1.0\" encoding=\"" + encoding + "\" standalone=\"yes\"?>\n\n"};
        vok_xml_document_createheader(d, gensym(encoding.c_str()));
        g.element(&d->node, "");
        EXPECT_EQ(d.write(first), 0);
        EXPECT_EQ(bytes_of(first), encoded(g.file, encoding));
        EXPECT_EQ(again.read(first), 0);
        EXPECT_EQ(tree_of(again->node.firstchild), tree_of(d->node.firstchild));
        EXPECT_TRUE(again->hasheader && again->encoding == gensym(encoding.c_str()));
        EXPECT_TRUE(again->current == &again->node && again->depth == 0);
        EXPECT_EQ(again.write(second), 0); // the second's text nodes, and so its file, end without blanks
        EXPECT_EQ(third.read(second), 0);
        EXPECT_EQ(tree_of(third->node.firstchild), tree_of(d->node.firstchild));
    }
    EXPECT_EQ(reports.take().size(), 0u);
}

TEST(XmlFile, ReadingCutsMergesConvertsAndFindsFaultsAsTold)
{
    const std::string run(5000, 'x'), cut = run.substr(0, 4095), wide = run.substr(0, 4094);
    const struct {
        std::string text, tree, fault = "", line = ""; // the tree, or where reading ends
    } rows[] = {
        {"<a>one &amp;<?skip it?> two\nthree</a>", "{a{text(one & two\nthree)}}"},
        {"<a>" + run + "\n" + run + "</a>", "{a{text(" + cut + "\n" + cut + ")}}"},
        {"<a>" + wide + "\xC3\xA9tail</a>", "{a{text(" + wide + ")}}"},
        {"<a>x<![CDATA[<b>&amp;]]>y<!--z--></a>", "{a{text(x)cdata(<b>&amp;)text(y)comment(z)}}"},
        {"<?xml version='1.0' encoding='utf-8'?><a b='\xE2\x82\xAC'/>", "+{a{b=\x80;}}"},
        {"<?xml version='1.0' encoding='iso-8859-1'?><a>\xE9</a>", "+{a{text(\xE9)}}"},
        {"<?xml version='1.0' encoding='UTF-8'?><a/>", "{a{}}"}, // the four names as they stand
        {"<?xml version='1.0'?><a/>", "{a{}}"},
        {"\xEF\xBB\xBF<a/>", "{a{}}"},
        {"<!DOCTYPE a [<!ENTITY e 'word'>]><a b='&e;s'>x&e;y</a>", "{a{b=words;text(xy)}}"},
        {"", "", "0 / no element found", "1): "},
        {"<a>\n<b>\n</c>\n</a>", "", "10 / mismatched tag", "3): c>"},
        {"<a>\n  x &nothing; y\r\n", "", "8 / undefined entity", "2): &nothing; y"},
        {"<a b='1' b='2'/>", "", "9 / duplicate attribute", "1): b='2'/>"},
        {"<a>\n\xC3(</a>", "", "4 / not well-formed (invalid token)", "2): \xC3(</a>"},
        {"<?xml version='1.0' encoding='none-such'?><a/>", "", "30 / unknown encoding", "1): none-such'?><a/>"},
        {"<a/><b/>" + run, "", "4 / junk after document element", "1): <b/>" + run.substr(0, 251)},
    };
    report_catcher reports;
    const document d; // each in the place of the one before
    for (const auto &row : rows) {
        SCOPED_TRACE(row.text.substr(0, 60));
        EXPECT_EQ(vok_xml_document_read_buffer(d, row.text.c_str()), row.fault.empty() ? 0 : VOK_ERR_EROR);
        const std::vector errors = reports.take(zan_report_error);
        if (row.fault.empty())
            EXPECT_EQ((d->hasheader ? "+" : "") + tree_of(d), row.tree);
        else
            EXPECT_EQ(errors, (std::vector{"vok_xml_document: error reading file at byte offset " + row.fault,
                                           "line (" + row.line}));
        vok_xml_document_createheader(d, nullptr);
    }
}

TEST(XmlFile, WhatCantBeConvertedIsLeftOutWithAnError)
{
    memory_file file;
    report_catcher reports;
    const document d;
    EXPECT_EQ(vok_xml_document_read_buffer(d, "<a>\xE4\xBD\xA0<b c='\xE4\xBD\xA0'/><!--\xC3\xA9--></a>"), 0);
    EXPECT_EQ(tree_of(d), "{a{b{c=;}comment(\xE9)}}");
    EXPECT_EQ(reports.take(zan_report_error),
              std::vector<std::string>(2, "vok.charset: error -1 converting character encodings"));
    EXPECT_EQ(vok_xml_document_read_buffer(d, "<a><b c='\xC3\xA9'/><!--\xC3\xA9--></a>"), 0);
    vok_xml_document_createheader(d, gensym("us-ascii"));
    const std::string name = file.hold("");
    d.write(name);
    EXPECT_EQ(bytes_of(name),
              "<?xml version=\"1.0\" encoding=\"us-ascii\" standalone=\"yes\"?>\n\n<a>\n\t<!---->\n</a>\n");
    EXPECT_EQ(reports.take(zan_report_error).size(), 2u);
}

// One document, all three ways out; and long values, and text that looks like markup.
TEST(XmlFile, GoesToFilesMessagesAndPosts)
{
    const scratch_folder folder;
    report_catcher reports;
    const document d;
    vok_xml_element *a = d.add("a"), *b = d.add("b", a);
    vok_xml_node_appendchild(b, vok_xml_document_createtextnode(d, " 1 < 2 \n\n \t3\r\n"));
    vok_xml_element_setattribute_sym(b, gensym("q"), gensym("\"'"));

    static std::string collected;
    quick_class collectors("vok_xml_collector", sizeof(object));
    collectors.message("append", [](void *, const char *text) -> zan_word {
        collected += text;
        return 0;
    });
    void *collector = vok_object_alloc(collectors.c);
    vok_object_method(d, gensym("write_buffer"), collector);
    const std::string expected = "<a>\n\t<b q=\"&quot;'\">\n\t\t1 < 2 \n\t\t3\n\t</b>\n</a>\n";
    long count = 2;
    EXPECT_EQ(vok_xml_node_encode_and_write_to_buffer(a, collector, &count, "\xE9\x80x"), 0);
    EXPECT_EQ(count, 5);
    // an element counts as the document of what is appended to it, but tells no encoding
    void *alone = vok_object_new(gensym("vok_xml_element")), *below = vok_object_new(gensym("vok_xml_element"));
    vok_xml_node_appendchild(alone, below);
    vok_xml_node_write_to_buffer(below, collector, 0);
    EXPECT_EQ(std::exchange(collected, ""), expected + "\xC3\xA9\xE2\x82\xAC" + "< />\n");
    vok_object_free(alone);
    vok_object_free(collector);

    zan_set_dialog_answer((folder / "saved.xml").c_str());
    EXPECT_EQ(vok_xml_document_write(d, nullptr, 0, nullptr), 0);
    EXPECT_EQ(bytes_of(folder / "saved.xml"), expected);
    EXPECT_EQ(d.read(folder / "saved.xml"), VOK_ERR_EROR) << "the < in its text is markup now";
    zan_set_dialog_answer(nullptr); // cancelled
    EXPECT_EQ(vok_xml_document_write(d, nullptr, 0, nullptr), 0);
    EXPECT_EQ(vok_xml_document_read(d, nullptr, 0, nullptr), VOK_ERR_EROR);
    reports.take();
    d.write(folder / "no/x.xml");
    EXPECT_EQ(reports.one_error(), "vok_xml_document_write: could not open file " + (folder / "no/x.xml"));

    EXPECT_EQ(vok_xml_document_read_buffer(d, "<a><b q='\"'>x</b></a>"), 0);
    vok_object_method(d, gensym("print"));
    EXPECT_EQ(reports.take(zan_report_post),
              (std::vector<std::string>{"<a>", "    <b q=\"\"\">", "        x", "    </b>", "</a>"}));

    EXPECT_EQ(vok_xml_document_read_buffer(d, ("<a v='" + std::string(10000, '>') + "'/>").c_str()), 0);
    d.write(folder / "long.xml");
    EXPECT_EQ(bytes_of(folder / "long.xml").size(), 4 * 8095 + std::string("<a v=\"\" />\n").size());
}

} // namespace
