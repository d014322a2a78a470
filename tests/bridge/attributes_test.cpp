// A box's own attributes and its object's, as messages, as arguments and through the
// host's calls; and the views of them: getattributes, getstate, summary, quickref.
#include <algorithm>

#include "boxes.h"

namespace bridge_test {
namespace {

class BoxAttributes : public Boxes {
  protected:
    void arguments(const char *text)
    {
        auto a = atoms(text);
        zan_vok_attr_args(box, long(a.size()), a.data());
    }
    void index(const char *text)
    {
        auto a = atoms(text);
        zan_vok_attrindex(box, gensym("attrindex"), long(a.size()), a.data());
    }
    shell *own() { return static_cast<shell *>(box); }
    std::string vals()
    {
        std::string text;
        for (long i = 0; i < inner()->counted; ++i)
            text += (i ? " " : "") + std::to_string(inner()->vals[i]);
        return text;
    }
};

TEST_F(BoxAttributes, AnUnknownArgumentIsReportedAndTheRestGoesOn)
{
    arguments("4 char @foo 1 @own 3 @val 5");
    EXPECT_EQ(errors, log{"vok.subject: \"foo\" is not a valid attribute argument"});
    EXPECT_EQ(own()->own, 3);
    EXPECT_EQ(inner()->val, 5);
    errors.clear();
    arguments("@counted 4 @secret 1 @ @boxmerge");
    EXPECT_EQ(errors.size(), 4u) << "not settable, hidden, without a name, a message";
}

TEST_F(BoxAttributes, ArgumentsGoFromLeftToRight)
{
    arguments("@val 1 @vals 1 2 3 @own 8 @val 2 @low");
    EXPECT_EQ(inner()->val, 2);
    EXPECT_EQ(vals(), "1 2 3");
    EXPECT_EQ(take(), log{"set_low"}) << "the last word sets with no atoms";
    arguments("@param 9 @attrindex vals 4 7");
    EXPECT_EQ(take(), log{"now 9"}) << "a method that may be named so";
    EXPECT_EQ(vals(), "1 2 3 0 7");
    EXPECT_TRUE(errors.empty());
    auto a = atoms("1 char 3 @x");
    EXPECT_EQ(zan_vok_attr_args_offset(4, a.data()), 3);
    zan_vok_attr_args(box, 3, nullptr);
}

TEST_F(BoxAttributes, OneElementIsSetTheUsualWay)
{
    arguments("@vals 1 2");
    index("vals 1 9");
    EXPECT_EQ(vals(), "1 9");
    in_scheduler([this] { index("vals 3 5"); });
    EXPECT_EQ(vals(), "1 9") << "merged, as any setting of it";
    zan_service();
    EXPECT_EQ(vals(), "1 9 0 5");
    index("vals 0");
    EXPECT_EQ(vals(), "0 9 0 5");
    index("own 0 6");
    EXPECT_EQ(own()->own, 6);
    EXPECT_TRUE(errors.empty());
    for (const char *bad : {"vals -1 3", "vals 100000000000 3"})
        index(bad);
    EXPECT_EQ(errors.size(), 2u);
    for (const char *unknown : {"", "info 0 1", "nothing 0 1", "3 3 3"})
        index(unknown);
    EXPECT_EQ(errors.size(), 2u);
    EXPECT_EQ(vals(), "0 9 0 5");
}

struct client {
    object header;
    log *heard;
};

TEST_F(BoxAttributes, SettingMarksAndTells)
{
    static zan_class *clients = [] {
        zan_class *c = class_new("bridge.client", nullptr, nullptr, sizeof(client), nullptr, 0);
        const auto notify = [](client *x, symbol *name, symbol *message, void *, void *data) {
            symbol *attr =
                reinterpret_cast<symbol *>(object_method_imp(data, gensym("getname"), 0, 0, 0, 0, 0, 0, 0, 0));
            x->heard->push_back(std::string(name->name) + " " + message->name + " " + attr->name);
        };
        class_addmethod(c, erase(notify), "notify", argtype_cant, 0);
        return c;
    }();
    auto *hears = static_cast<client *>(object_alloc(clients));
    hears->heard = &heard;
    symbol *space = gensym("box tests");
    void *patcher_box = new_sink(&heard);
    object_register(space, gensym("shell"), box);
    object_register(space, gensym("frame"), patcher_box);
    for (const char *name : {"shell", "frame"})
        object_attach(space, gensym(name), hears);
    zan_vok_obex_box_set(box, patcher_box);

    auto *attr = static_cast<vok_attribute *>(vok_object_attr_get(inner(), gensym("val")));
    vok_attr_clean(inner(), gensym("val"));
    send(box, "val", "4");
    EXPECT_TRUE(attr->flags & vok_attrflag_dirty);
    send(box, "own", "4");
    zan_vok_obex_box_set(box, box);
    send(box, "own", "4");
    atom a;
    atom_setlong(&a, 12);
    EXPECT_EQ(zan_vok_obex_attr_method_direct(box, gensym("own"), 1, &a), 0); // tells nobody
    EXPECT_EQ(heard, (log{"shell attr_modified val", "shell attr_modified own", "frame attr_modified own",
                          "shell attr_modified own"}));
    EXPECT_EQ(own()->own, 12);
    EXPECT_EQ(zan_vok_obex_attr_set(box, gensym("val"), 1, &a), VOK_ERR_EROR) << "not the box's own";
    object_free(hears);
    object_free(patcher_box);
}

TEST_F(BoxAttributes, TheHostSeesBothThroughTheBox)
{
    inner()->val = 31;
    own()->own = 32;
    EXPECT_EQ(object_attr_getlong(box, gensym("val")), 31);
    EXPECT_EQ(object_attr_getlong(box, gensym("own")), 32);
    EXPECT_EQ(object_attr_setlong(box, gensym("val"), 33), 0);
    EXPECT_EQ(inner()->val, 33);
    EXPECT_EQ(zan_vok_obex_attr_gettarget(box, gensym("val")), inner());
    EXPECT_EQ(zan_vok_obex_attr_gettarget(box, gensym("own")), box);
    EXPECT_EQ(zan_vok_obex_attr_gettarget(box, gensym("none")), nullptr);
    long count = 0;
    symbol **names = nullptr;
    zan_vok_obex_attr_getnames(box, &count, &names);
    std::string all;
    for (long i = 0; i < count; ++i)
        all += std::string(names[i]->name) + " ";
    EXPECT_EQ(all, "own low counted gain key label secret val vals ");
    sysmem_freeptr(names);

    char *text = nullptr; // an attribute's text, asked for at the box, is the object's
    long size = 0;
    object_method_imp(zan_vok_obex_attr_getobject(box, gensym("val")), gensym("gettext"), (zan_word)box,
                      (zan_word)&size, (zan_word)&text, 0, 0, 0, 0, 0);
    EXPECT_STREQ(text, "33");
    sysmem_freeptr(text);
}

TEST_F(BoxAttributes, OneBoxMayHaveAnAttributeMore)
{
    void *other = make(object_class(box));
    auto *extra = offset_attr("extra", "long", 0x8040000, offsetof(shell, low));
    EXPECT_EQ(zan_vok_object_addattr(box, extra), 0);
    EXPECT_EQ(linklist_getsize(zan_vok_obex_attrlist_get(box)), 3);
    EXPECT_EQ(linklist_getsize(zan_vok_obex_attrlist_get(other)), 2) << "the class's";
    in_scheduler([this] {
        send(box, "extra", "1");
        send(box, "extra", "2");
    });
    EXPECT_EQ(own()->low, 0);
    zan_service();
    EXPECT_EQ(own()->low, 2);
    send(other, "extra", "1");
    EXPECT_EQ(errors.size(), 1u);
    object_free(box); // takes its own attribute along, and not its class's
    box = other;
    send(box, "own", "5");
    EXPECT_EQ(own()->own, 5);
}

TEST_F(BoxAttributes, TheStateComesInAFixedOrder)
{
    arguments("@own 1 @val 2 @vals 3 4 @gain 0.5 @label red");
    listen(box);
    send(box, "getstate");
    EXPECT_EQ(heard, (log{"own 1", "low 0", "counted 2", "gain 0.5", "label red", "val 2", "vals 3 4"}));
    heard.clear();
    send(box, "getattributes");
    EXPECT_EQ(heard, log{"attributes own low counted gain key label val vals"}) << "what users can set or get";
}

TEST_F(BoxAttributes, TheSummaryTellsAttributesAndMessages)
{
    listen(box);
    send(box, "summary");
    ASSERT_GT(heard.size(), 10u);
    EXPECT_EQ(heard[0], "summary objectname vok.subject");
    EXPECT_EQ(heard[1], "summary vok_attribute own get 1 set 1 int");
    EXPECT_EQ(heard[3], "summary vok_attribute counted get 1 set 0 int");
    EXPECT_EQ(heard[4], "summary vok_attribute gain get 1 set 1 float");
    EXPECT_EQ(heard[9], "summary vok_attribute vals get 1 set 1 int array 6");
    const auto has = [this](const char *row) { return std::count(heard.begin(), heard.end(), row); };
    for (const char *once : {"summary message now", "summary message getstate", "summary message boxmerge"})
        EXPECT_EQ(has(once), 1) << once;
    for (const char *never :
         {"summary message val", "summary message getval", "summary message boxmerge_usurp_low",
          "summary message hidden", "summary matrixinputcount 0"})
        EXPECT_EQ(has(never), 0) << never;
}

TEST_F(BoxAttributes, TheSummaryOfAnOperatorTellsItsMatrices)
{
    zan_class *c = class_new("vok.opsummary", nullptr, erase(free_shell), sizeof(shell), nullptr, 0);
    zan_vok_class_obex_setup(c, offsetof(shell, record));
    zan_vok_class_wrap_standard(c, nullptr, 0);
    void *x = zan_vok_obex_new(c, gensym("vok_op"));
    zan_vok_obex_vokob_set(x, vok_object_new(gensym("vok_op")));
    zan_vok_obex_dumpout_set(x, outlet_new(x, nullptr));
    listen(x);
    send(x, "summary");
    ASSERT_GT(heard.size(), 6u);
    EXPECT_EQ(heard[1], "summary matrixinputcount 2");
    EXPECT_EQ(heard[2].rfind("summary matrixinput in planelink 1 typelink 1 dimlink 1 inmode ", 0), 0u)
        << heard[2];
    EXPECT_EQ(heard[4], "summary matrixoutputcount 1");
    EXPECT_EQ(heard[5].rfind("summary matrixoutput out planelink 1 typelink 1 dimlink 1 types char", 0), 0u)
        << heard[5];
    object_free(x);
}

TEST_F(BoxAttributes, TheQuickReferenceFillsItsRows)
{
    static int menus;
    zan_class *c = make_shell_class(("vok.menu" + std::to_string(menus++)).c_str(), 0);
    object_free(box);
    box = make(c);
    arguments("@own 1 @vals 1 2 3 4 5 @gain 1.5");
    const auto typed = [](void *, long, double, symbol *) {};
    class_addmethod(c, erase(typed), "zz_typed", argtype_deflong, argtype_float, argtype_defsym, 0);
    class_addmethod(c, erase([](void *) {}), "zz_bare", 0);
    symbol *rows[256];
    long count = 0;
    ASSERT_EQ(zan_vok_object_quickref(box, &count, rows), 0);
    log text;
    for (long i = 0; i < count; ++i)
        text.push_back(rows[i]->name);
    const log attributes = {"",
                            "Attributes:",
                            "    counted [long] (val = 5) (get)",
                            "    gain [float32] (val = 1.50)",
                            "    key [long] (set)",
                            "    label [symbol] (val = <none>)",
                            "    low [char] (val = 0)",
                            "    own [long] (val = 1)",
                            "    val [long] (val = 0)",
                            "    vals [long array[6]] (val = 1 2 3 4 ...)",
                            "",
                            "Messages:"};
    ASSERT_GT(text.size(), attributes.size());
    EXPECT_EQ(log(text.begin(), text.begin() + long(attributes.size())), attributes);
    const log methods(text.begin() + long(attributes.size()), text.end());
    EXPECT_TRUE(std::is_sorted(methods.begin(), methods.end()));
    EXPECT_EQ(methods[methods.size() - 1], "    zz_typed [int (0), float, symbol]");
    EXPECT_EQ(methods[methods.size() - 2], "    zz_bare ");
    EXPECT_EQ(std::count(methods.begin(), methods.end(), "    now [variable]"), 1);
    for (const std::string &m : methods)
        EXPECT_EQ(m.find("assist"), std::string::npos);

    for (int i = 0; i < 300; ++i)
        class_addmethod(c, erase([](void *) {}), ("x" + std::to_string(i)).c_str(), 0);
    ASSERT_EQ(zan_vok_object_quickref(box, &count, rows), 0);
    EXPECT_EQ(count, 256);
}

TEST_F(BoxAttributes, MethodsOfAttributesAndMarks)
{
    const struct {
        const char *name;
        long is;
    } rows[] = {{"val", 1}, {"getval", 1}, {"own", 1}, {"getown", 1}, {"now", 0}, {"getnow", 0}, {"get", 0}};
    for (const auto &row : rows)
        EXPECT_EQ(zan_vok_method_is_attr(box, gensym(row.name)), row.is) << row.name;
    void *kernel = gensym("vok")->thing;
    for (const char *name : {"altivec", "parallel", "none"})
        EXPECT_EQ(zan_vok_method_is_undocumented(kernel, gensym(name)), name == std::string("altivec")) << name;
    EXPECT_EQ(zan_vok_method_is_groupreference(kernel, gensym("altivec")), 0);
    const struct {
        const char *type, *shown;
    } types[] = {
        {"char", "int"}, {"long", "int"}, {"float32", "float"}, {"float64", "float"}, {"symbol", "symbol"}};
    for (const auto &t : types)
        EXPECT_STREQ(vok2zantype(gensym(t.type))->name, t.shown);
}

} // namespace
} // namespace bridge_test
