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
    static const quick_class k =
        quick_class("vok_file_box", sizeof(box))
            .value("width", "long", offsetof(box, width))
            .value("depth", "long", offsetof(box, depth))
            .value("height", "long", offsetof(box, height))
            .value("word", "symbol", offsetof(box, word))
            .array("levels", "float32", offsetof(box, levels), 4, offsetof(box, levelcount))
            .value("fixed", "long", offsetof(box, width), vok_attrflag_set_opaque_user)
            .value("secret", "long", offsetof(box, width), vok_attrflag_get_opaque_user);
    return k.make<box>();
}

vok_err tell(box *x, const char *message, const std::string &file)
{
    atom name = A(file.c_str());
    return vok_object_method_typed(x, S(message), 1, &name, nullptr);
}

TEST(AttributeFile, HoldsWhatUsersCanSetAndGetInOrderAndSetsItAgain)
{
    const scratch_folder folder;
    box *x = new_box(), *again = new_box();
    *x = {x->header, 1, -2, 3, S("a<\"b\"&c"), {2.5f, -3, 0.125f}, 3};
    EXPECT_EQ(tell(x, "exportattrs", folder / "a.xml"), 0);
    EXPECT_EQ(bytes_of(folder / "a.xml"), "<tarnobject class=\"vok.file.box\">\n"
                                          "\t<attribute name=\"depth\" value=\"3\" />\n"
                                          "\t<attribute name=\"height\" value=\"-2\" />\n"
                                          "\t<attribute name=\"levels\" value=\"2.5 -3. 0.125\" />\n"
                                          "\t<attribute name=\"width\" value=\"1\" />\n"
                                          "\t<attribute name=\"word\" value=\"a&lt;&quot;b&quot;&amp;c\" />\n"
                                          "</tarnobject>\n");
    EXPECT_EQ(tell(again, "importattrs", folder / "a.xml"), 0);
    EXPECT_TRUE(again->width == 1 && again->height == -2 && again->depth == 3 && again->word == x->word);
    EXPECT_TRUE(again->levelcount == 3 && std::equal(x->levels, x->levels + 3, again->levels));
    EXPECT_EQ(vok_object_exportattrs(nullptr, nullptr, 0, nullptr), VOK_ERR_INVP);

    report_catcher reports;
    const std::string text =
        "<tarnobject><attribute name='width' value='31'/><attribute name='unknown' value='5'/>\n"
        "<attribute name='height'/><attribute value='8'/><attribute name='depth' value='7'/>\n"
        "</wrong>";
    EXPECT_EQ(tell(x, "importattrs", folder.make("b.xml", text)), 0);
    EXPECT_TRUE(x->width == 31 && x->height == -2 && x->depth == 7) << "what it knows, though the file is broken";
    const std::vector<std::string> errors = {"vok_xml_document: error reading file at byte offset " +
                                                 std::to_string(text.find("wrong")) + " / mismatched tag",
                                             "line (3): wrong>",
                                             "vok_object_importattrs: error reading import file"};
    EXPECT_EQ(reports.take(zan_report_error), errors);
    EXPECT_EQ(tell(x, "importattrs", folder / "nowhere.xml"), 0);
    EXPECT_EQ(reports.one_error(), errors[2]);
    vok_object_free(x);
    vok_object_free(again);
}

} // namespace
