// The messages importattrs and exportattrs on real files: what is written, in which order,
// and what is set from what was read.
#include "quick_class.h"

namespace {

struct box {
    object header;
    long width, height, depth;
    symbol *word;
    float levels[4];
    long levelcount;
};

box *new_box()
{
    static zan_class *c = [] {
        initialize();
        quick_class k("vok_file_box", sizeof(box));
        k.value("width", "long", offsetof(box, width));
        k.value("depth", "long", offsetof(box, depth));
        k.value("height", "long", offsetof(box, height));
        k.value("word", "symbol", offsetof(box, word));
        k.array("levels", "float32", offsetof(box, levels), 4, offsetof(box, levelcount));
        k.value("fixed", "long", offsetof(box, width), vok_attrflag_set_opaque_user);
        k.value("secret", "long", offsetof(box, width), vok_attrflag_get_opaque_user);
        return k.c;
    }();
    return static_cast<box *>(vok_object_alloc(c));
}

vok_err send(box *x, const char *message, const std::string &file)
{
    atom name;
    atom_setsym(&name, S(file.c_str()));
    return vok_object_method(x, S(message), S(message), 1, &name);
}

TEST(AttributeFile, HoldsWhatUsersCanSetAndGetInOrderAndSetsItAgain)
{
    const scratch_folder folder;
    box *x = new_box();
    *x = {x->header, 1, -2, 3, S("a<\"b\"&c"), {2.5f, -3, 0.125f}, 3};
    EXPECT_EQ(send(x, "exportattrs", folder / "a.xml"), 0);
    EXPECT_EQ(bytes_of(folder / "a.xml"), "<tarnobject class=\"vok.file.box\">\n"
                                          "\t<attribute name=\"depth\" value=\"3\" />\n"
                                          "\t<attribute name=\"height\" value=\"-2\" />\n"
                                          "\t<attribute name=\"levels\" value=\"2.5 -3. 0.125\" />\n"
                                          "\t<attribute name=\"width\" value=\"1\" />\n"
                                          "\t<attribute name=\"word\" value=\"a&lt;&quot;b&quot;&amp;c\" />\n"
                                          "</tarnobject>\n");
    box *again = new_box();
    EXPECT_EQ(send(again, "importattrs", folder / "a.xml"), 0);
    EXPECT_TRUE(again->width == 1 && again->height == -2 && again->depth == 3 && again->word == x->word);
    EXPECT_TRUE(again->levelcount == 3 && std::equal(x->levels, x->levels + 3, again->levels));
    vok_object_free(x);
    vok_object_free(again);
    EXPECT_EQ(vok_object_exportattrs(nullptr, nullptr, 0, nullptr), VOK_ERR_INVP);
}

TEST(AttributeFile, ImportSetsWhatItKnowsEvenFromABrokenFile)
{
    const scratch_folder folder;
    report_catcher reports;
    box *x = new_box();
    x->height = 2;
    const std::string text =
        "<tarnobject><attribute name='width' value='31'/><attribute name='unknown' value='5'/>\n"
        "<attribute name='height'/><attribute value='8'/><attribute name='depth' value='7'/>\n"
        "</wrong>";
    EXPECT_EQ(send(x, "importattrs", folder.make("b.xml", text)), 0);
    EXPECT_TRUE(x->width == 31 && x->height == 2 && x->depth == 7);
    const std::vector<std::string> errors = reports.take(zan_report_error);
    ASSERT_EQ(errors.size(), 3u);
    EXPECT_EQ(errors[0], "vok_xml_document: error reading file at byte offset " +
                             std::to_string(text.find("wrong")) + " / mismatched tag");
    EXPECT_EQ(errors[1], "line (3): wrong>");
    EXPECT_EQ(errors[2], "vok_object_importattrs: error reading import file");

    EXPECT_EQ(send(x, "importattrs", folder / "nowhere.xml"), 0);
    EXPECT_EQ(reports.one_error(), "vok_object_importattrs: error reading import file");
    vok_object_free(x);
}

} // namespace
