// A box's own attributes and its object's, as messages, as arguments and through the
// host's calls; and the views of them: getattributes, getstate, summary, quickref.
#include "boxes.h"
#include <algorithm>

namespace bridge_test {
namespace {

class BoxAttributes : public Boxes {
  protected:
    void arguments(const char *text)
    {
        auto a = box_tools::atoms_of(text);
        zan_vok_attr_args(box, long(a.size()), a.data());
    }
    // Its values behind the message, which must make so many errors.
    std::string vals(const std::string &message, long errors = 0)
    {
        send(message);
        const std::string told = p.errors();
        EXPECT_EQ(told.empty() ? 0 : 1 + std::count(told.begin(), told.end(), '\n'), errors) << message;
        std::string text;
        for (long i = 0; i < inner()->counted; ++i)
            text += (i ? " " : "") + std::to_string(inner()->vals[i]);
        return text;
    }
};

TEST_F(BoxAttributes, ArgumentsGoFromLeftToRight)
{
    arguments("4 char @foo 1 @own 3 @val 5");
    EXPECT_EQ(p.errors(), "shell: \"foo\" is not a valid attribute argument");
    EXPECT_EQ(own()->own, 3);
    EXPECT_EQ(inner()->val, 5);
    arguments("@counted 4 @secret 1 @ @boxmerge"); // not settable, hidden, without a name, a message
    const std::string told = p.errors();
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 3) << told;
    arguments("@val 1 @vals 1 2 3 @own 8 @val 2 @low");
    EXPECT_EQ(inner()->val, 2);
    EXPECT_EQ(take(), log{"set_low"}) << "the last word sets with no atoms";
    arguments("@param 9 @attrindex vals 4 7");
    EXPECT_EQ(take(), log{"now 9"}) << "a method that may be named so";
    EXPECT_EQ(vals("now"), "1 2 3 0 7");
}

TEST_F(BoxAttributes, OneElementIsSetTheUsualWay)
{
    const auto index = [this](const char *text) {
        auto a = box_tools::atoms_of(text);
        zan_vok_attrindex(box, gensym("attrindex"), long(a.size()), a.data());
    };
    arguments("@vals 1 2");
    index("vals 1 9");
    in_scheduler([&] { index("vals 3 5"); });
    EXPECT_EQ(vals("now"), "1 9") << "merged, as any setting of it";
    zan_service();
    EXPECT_EQ(vals("now"), "1 9 0 5");
    for (const char *good : {"vals 0", "own 0 6", "", "info 0 1", "nothing 0 1", "3 3 3"})
        index(good);
    EXPECT_EQ(vals("now"), "0 9 0 5");
    EXPECT_EQ(own()->own, 6);
    for (const char *bad : {"vals -1 3", "vals 100000000000 3"})
        index(bad);
    EXPECT_EQ(vals("now", 2), "0 9 0 5");
}

TEST_F(BoxAttributes, SettingMarksAndTells)
{
    void *hears = p.make("shell");
    symbol *space = gensym("box tests");
    object_register(space, gensym("shell"), box);
    object_register(space, gensym("frame"), replier);
    for (const char *name : {"shell", "frame"})
        object_attach(space, gensym(name), hears);
    zan_vok_obex_box_set(box, replier);

    auto *attr = static_cast<vok_attribute *>(vok_object_attr_get(inner(), gensym("val")));
    vok_attr_clean(inner(), gensym("val"));
    send("val 4");
    EXPECT_TRUE(attr->flags & vok_attrflag_dirty);
    send("own 4");
    zan_vok_obex_box_set(box, box);
    send("own 4");
    atom a = A(12);
    EXPECT_EQ(zan_vok_obex_attr_method_direct(box, gensym("own"), 1, &a), 0); // tells nobody
    EXPECT_EQ(take(), (log{"shell attr_modified val", "shell attr_modified own", "frame attr_modified own",
                           "shell attr_modified own"}));
    EXPECT_EQ(own()->own, 12);
    EXPECT_EQ(zan_vok_obex_attr_set(box, gensym("val"), 1, &a), VOK_ERR_EROR) << "not the box's own";
    p.free(hears);
}

TEST_F(BoxAttributes, TheHostSeesBothThroughTheBox)
{
    own()->own = 32;
    EXPECT_EQ(object_attr_getlong(box, gensym("own")), 32);
    EXPECT_EQ(object_attr_setlong(box, gensym("val"), 33), 0);
    EXPECT_EQ(zan_vok_obex_attr_gettarget(box, gensym("val")), inner());
    EXPECT_EQ(zan_vok_obex_attr_gettarget(box, gensym("own")), box);
    char *text = nullptr; // an attribute's text, asked for at the box, is the object's
    long size = 0;
    ::send(zan_vok_obex_attr_getobject(box, gensym("val")), "gettext", box, &size, &text);
    EXPECT_STREQ(text, "33");
    sysmem_freeptr(text);
}

TEST_F(BoxAttributes, OneBoxMayHaveAnAttributeMore)
{
    void *other = p.make("shell");
    auto *extra = offset_attr("extra", "long", 0x8040000, offsetof(shell, low));
    EXPECT_EQ(zan_vok_object_addattr(box, extra), 0);
    EXPECT_EQ(linklist_getsize(zan_vok_obex_attrlist_get(box)), 3);
    EXPECT_EQ(linklist_getsize(zan_vok_obex_attrlist_get(other)), 2) << "the class's";
    in_scheduler([this] {
        send("extra 1");
        send("extra 2");
    });
    EXPECT_EQ(own()->low, 0);
    zan_service();
    EXPECT_EQ(own()->low, 2);
    EXPECT_EQ(p.errors(), "");
    EXPECT_NE(p.complaint(other, "0 extra 1"), "");
    p.free(box); // takes its own attribute along, and not its class's
    p.send(other, "0 own 5");
    EXPECT_EQ(static_cast<shell *>(other)->own, 5);
}

TEST_F(BoxAttributes, StateAndSummaryComeInAFixedOrder)
{
    arguments("@own 1 @val 2 @vals 3 4 @gain 0.5 @label red");
    p.listen(box);
    send("getstate");
    EXPECT_EQ(p.heard(), "0 own 1; 0 low 0; 0 counted 2; 0 gain 0.5; 0 label red; 0 val 2; 0 vals 3 4");
    send("summary");
    const std::string all = p.heard();
    EXPECT_EQ(all.find("0 summary objectname shell; 0 summary vok_attribute own get 1 set 1 int; "), 0u) << all;
    const auto rows_of = [&](const std::string &what) {
        const std::string text = "; 0 summary " + what + ";", whole = all + ";";
        const size_t at = whole.find(text);
        return at == all.npos ? 0 : at == whole.rfind(text) ? 1 : 2;
    };
    for (const char *once :
         {"vok_attribute counted get 1 set 0 int", "vok_attribute gain get 1 set 1 float",
          "vok_attribute vals get 1 set 1 int array 6", "message now", "message getstate", "message boxmerge"})
        EXPECT_EQ(rows_of(once), 1) << once;
    for (const char *never :
         {"message val", "message getval", "message boxmerge_usurp_low", "message hidden", "matrixinputcount 0"})
        EXPECT_EQ(rows_of(never), 0) << never;
    void *op = p.make("vok.op");
    p.listen(op);
    p.send(op, "0 summary");
    const std::string matrices = p.heard();
    for (const char *row :
         {"matrixinputcount 2; ", "matrixinput in planelink 1 typelink 1 dimlink 1 inmode ",
          "matrixoutputcount 1; ", "matrixoutput out planelink 1 typelink 1 dimlink 1 types char"})
        EXPECT_NE(matrices.find(std::string("1 summary ") + row), all.npos) << matrices;
}

TEST_F(BoxAttributes, TheQuickReferenceFillsItsRows)
{
    zan_class *c = shell_class("menu");
    box = p.make("menu");
    arguments("@own 1 @vals 1 2 3 4 5 @gain 1.5");
    const auto typed = [](void *, long, double, symbol *) {};
    class_addmethod(c, erase(typed), "zz_typed", argtype_deflong, argtype_float, argtype_defsym, 0);
    class_addmethod(c, erase([](void *) {}), "zz_bare", 0);
    symbol *rows[256];
    long count = 0;
    ASSERT_EQ(zan_vok_object_quickref(box, &count, rows), 0);
    std::string all;
    for (long i = 0; i < count; ++i)
        all += rows[i]->name + std::string("|");
    for (long i = 13; i < count; ++i)
        EXPECT_LE(strcmp(rows[i - 1]->name, rows[i]->name), 0) << "messages are sorted";
    EXPECT_EQ(all.find("|Attributes:|    counted [long] (val = 5) (get)|    gain [float32] (val = 1.50)|"
                       "    key [long] (set)|    label [symbol] (val = <none>)|    low [char] (val = 0)|"
                       "    own [long] (val = 1)|    val [long] (val = 0)|"
                       "    vals [long array[6]] (val = 1 2 3 4 ...)||Messages:|"),
              0u)
        << all;
    EXPECT_TRUE(all.ends_with("|    zz_bare |    zz_typed [int (0), float, symbol]|")) << all;
    EXPECT_NE(all.find("|    now [variable]|"), all.npos);
    EXPECT_EQ(all.find("assist"), all.npos);
    for (int i = 0; i < 300; ++i)
        class_addmethod(c, erase([](void *) {}), ("x" + std::to_string(i)).c_str(), 0);
    ASSERT_EQ(zan_vok_object_quickref(box, &count, rows), 0);
    EXPECT_EQ(count, 256);
    void *kernel = gensym("vok")->thing;
    for (const char *name : {"altivec", "parallel", "none"})
        EXPECT_EQ(zan_vok_method_is_undocumented(kernel, gensym(name)), name == std::string("altivec")) << name;
    EXPECT_EQ(zan_vok_method_is_groupreference(kernel, gensym("altivec")), 0);
    p.free(box);
    class_free(c);
}

} // namespace
} // namespace bridge_test
