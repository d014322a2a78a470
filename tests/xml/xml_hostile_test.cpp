// Files made to hurt: each ends with a document or the stated error, and none needs a deep
// stack: what could is read on a small one. And the converter of character sets.
#include "xml_tools.h"

#include <functional>
#include <pthread.h>

namespace {

// Runs it on a thread with a stack of 256 KiB.
void on_small_stack(std::function<void()> work)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 256 * 1024);
    pthread_t thread;
    const auto run = [](void *w) -> void * {
        (*static_cast<std::function<void()> *>(w))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

std::string repeated(const std::string &text, long count)
{
    std::string all;
    while (count-- > 0)
        all += text;
    return all;
}

TEST(XmlHostile, NeitherDepthNorLengthNeedsStackOrTime)
{
    const scratch_folder folder;
    report_catcher reports;
    on_small_stack([&] {
        const document d;
        const std::string deep = repeated("<a>", 100000) + "x" + repeated("</a>", 100000);
        EXPECT_EQ(vok_xml_document_read_buffer(d, deep.c_str()), 0);
        void *found = vok_xml_document_getelementsbytagname(d, gensym("a"));
        EXPECT_EQ(vok_linklist_getsize(found), 100000);
        vok_linklist_chuck(found);
        d.write(folder / "deep.xml");
        EXPECT_EQ(std::filesystem::file_size(folder / "deep.xml"), 8000ul * 8001 + 9 * 8001);
        EXPECT_EQ(reports.one_error(), "vok_xml_document: elements more than 8000 deep were left out");
        EXPECT_EQ(vok_xml_node_removechild(d, d->node.firstchild), 0);
        // a tree that never ends is freed just so
        EXPECT_EQ(vok_xml_document_read_buffer(d, repeated("<a b='c'>", 100000).c_str()), VOK_ERR_EROR);

        const std::string length = "<a b='" + repeated("12 ", 1 << 20) + "'>" + repeated("\n", 3 << 20) + "</a>";
        EXPECT_EQ(vok_xml_document_read_buffer(d, length.c_str()), 0);
        auto *a = reinterpret_cast<vok_xml_element *>(d->node.firstchild);
        EXPECT_EQ(data_of(child(a, 0)).size(), 3u << 20);
        EXPECT_EQ(vok_xml_element_getattribute_long_array(a, gensym("b"), 0, nullptr), 2048);
        EXPECT_EQ(value_of(vok_xml_element_getattributenode(a, gensym("b"))).size(), 3u << 20);
    });
}

TEST(XmlHostile, EntitiesAreBounded)
{
    // each of so many made of so many of the one before it
    const auto entities = [](int count, long times) {
        std::string text = "<!DOCTYPE a [<!ENTITY e0 'ha'>";
        for (int i = 1; i < count; i++)
            text += "<!ENTITY e" + std::to_string(i) + " '" + repeated("&e" + std::to_string(i - 1) + ";", times) +
                    "'>";
        return text;
    };
    const std::pair<std::string, const char *> rows[] = {
        {entities(40, 10) + "]><a b='&e39;'/>", "limit on input amplification"},
        {entities(40, 10) + "]><a>&e39;</a>", nullptr}, // read: not expanded in text
        {entities(100000, 1) + "]><a b='&e99999;'/>", "parsing aborted"},
        {"<!DOCTYPE a [<!ENTITY e '&e;'>]><a b='&e;'/>", "recursive entity reference"},
    };
    for (const auto &[text, fault] : rows) {
        report_catcher reports;
        on_small_stack([text = text, fault = fault] {
            const document d;
            EXPECT_EQ(vok_xml_document_read_buffer(d, text.c_str()), fault ? VOK_ERR_EROR : 0);
        });
        const std::vector<std::string> errors = reports.take(zan_report_error);
        ASSERT_EQ(errors.size(), fault ? 2u : 0u);
        EXPECT_TRUE(!fault || errors[0].find(fault) != std::string::npos) << errors[0];
    }
}

TEST(XmlHostile, EveryTruncationGivesTheError)
{
    const std::string whole = "<?xml version='1.0' encoding='utf-8'?><!DOCTYPE a [<!ENTITY e 'x'>]>\n"
                              "<a b='&e;\xC3\xA9'>t\xC3\xA9xt<!-- c --><![CDATA[ ]] ]]><d/></a>";
    memory_file file;
    report_catcher reports;
    for (size_t size = 0; size <= whole.size(); size++) {
        const document d;
        const bool fails = size < whole.size();
        EXPECT_EQ(d.read(file.hold(whole.substr(0, size))), fails ? VOK_ERR_EROR : 0) << size;
        EXPECT_EQ(reports.take(zan_report_error).size(), fails ? 2u : 0u) << size;
        tree_of(d); // whatever was built holds together
    }
}

TEST(Charset, ConvertsWhatBothSetsHave)
{
    initialize();
    const struct {
        const char *from, *to;
        std::string text, expected; // empty: it fails
    } rows[] = {
        {"utf-8", "ms-ansi", "\xE2\x82\xAC\xC3\xA9", "\x80\xE9"},
        {"ms-ansi", "utf-16", "\x80x", std::string("\x20\xAC\0x", 4)},
        {"ms-ansi", "utf-16le", "\x80", "\xAC\x20"},
        {"utf-16be", "iso-8859-1", std::string("\0\xE9", 2), "\xE9"},
        {"utf-8", "ms-ansi", "\xE4\xBD\xA0", ""}, // no equivalent
        {"utf-8", "ms-ansi", "\xC3", ""},         // broken off
    };
    report_catcher reports;
    for (const auto &row : rows) {
        void *x = vok_object_new(gensym("vok_charset_converter"), gensym(row.from), gensym(row.to));
        for (int round = 0; round < 2; round++) { // an error leaves no trace
            char *out = nullptr;
            long size = 0;
            const long err =
                vok_object_method(x, gensym("convert"), row.text.data(), row.text.size(), &out, &size);
            EXPECT_EQ(err, row.expected.empty() ? VOK_ERR_EROR : 0) << row.from << " to " << row.to;
            EXPECT_EQ(std::string(out ? out : "", size_t(size)), row.expected) << row.from << " to " << row.to;
            EXPECT_EQ(reports.take(zan_report_error).size(), err ? 1u : 0u);
            sysmem_freeptr(out);
        }
        vok_object_free(x);
    }
    EXPECT_EQ(vok_charset_converter_convert(nullptr, nullptr, 0, nullptr, nullptr), VOK_ERR_EROR);
    EXPECT_EQ(vok_object_new(gensym("vok_charset_converter"), gensym("utf-8"), gensym("klingon")), nullptr);
    EXPECT_EQ(reports.one_error(),
              "vok.charset: could not create new converter (bad or no character set supplied)");
    EXPECT_EQ(vok_charset_encoding_checkvalid(gensym("UTF-8")), 0);

    const document d; // whose encoding is utf-8 until told otherwise
    for (const long size : {2, 3}) {
        char *out = nullptr;
        EXPECT_EQ(vok_xml_document_decode(d, "\xC3\xA9", &out), size);
        EXPECT_STREQ(out, size == 2 ? "\xE9" : "\xC3\xA9");
        sysmem_freeptr(out);
        vok_xml_document_createheader(d, ps_iso_8859_1);
    }
}

} // namespace
