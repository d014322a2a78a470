// The side record of a box: found from any object, filled, and freed with all that hangs
// on it.
#include "boxes.h"

namespace bridge_test {
namespace {

TEST_F(Boxes, EveryAccessorTakesAnObjectThatIsNoBox)
{
    alignas(16) static long dead[16];
    void *plain = object_new_imp(gensym("nobox"), gensym("hashtab"), 0, 0, 0, 0, 0, 0, 0, 0);
    void *(*const getters[])(void *) = {zan_vok_obex_vokob_get,         zan_vok_obex_usurplist_get,
                                        zan_vok_obex_proxylist_get,     zan_vok_obex_dumpout_get,
                                        zan_vok_obex_adornmentlist_get, zan_vok_obex_box_get,
                                        zan_vok_obex_attrlist_get};
    vok_err (*const setters[])(void *, void *) = {zan_vok_obex_vokob_set,         zan_vok_obex_usurplist_set,
                                                  zan_vok_obex_proxylist_set,     zan_vok_obex_dumpout_set,
                                                  zan_vok_obex_adornmentlist_set, zan_vok_obex_box_set,
                                                  zan_vok_obex_addadornment};
    vok_err (*const methods[])(void *, symbol *, long, atom *) = {
        zan_vok_gimme_method,          zan_vok_usurp_method,   zan_defer_method,
        zan_defer_low_method,          zan_vok_attr_set,       zan_vok_attr_getdump,
        zan_vok_obex_attr_set,         zan_vok_attrindex,      zan_vok_object_attr_dump,
        zan_vok_object_state_dump,     zan_vok_object_summary, zan_vok_obex_gimmeback,
        zan_vok_obex_gimmeback_dumpout};
    for (void *x : {static_cast<void *>(nullptr), plain, static_cast<void *>(dead)}) {
        for (auto get : getters)
            EXPECT_EQ(get(x), nullptr);
        for (auto set : setters)
            EXPECT_EQ(set(x, plain), VOK_ERR_EROR);
        atom a;
        atom_setsym(&a, gensym("@val"));
        for (auto method : methods)
            method(x, gensym("getval"), 1, &a);
        zan_vok_attr_args(x, 1, &a);
        zan_vok_obex_dumpout(x, gensym("x"), 0, nullptr);
        zan_vok_obex_free(x);
        EXPECT_EQ(zan_vok_classex_get(x), nullptr);
        EXPECT_EQ(zan_vok_obex_set(x, nullptr), VOK_ERR_EROR);
        EXPECT_EQ(zan_vok_obex_inletnumber_get(x), 0);
        EXPECT_EQ(zan_vok_obex_proxy_resize(x, 2), VOK_ERR_EROR);
        EXPECT_EQ(zan_vok_obex_proxy_deletetail(x), VOK_ERR_EROR);
        EXPECT_EQ(zan_vok_obex_attr_getobject(x, gensym("val")), nullptr);
        long count = 1;
        symbol *rows[256], **names = nullptr;
        EXPECT_EQ(zan_vok_object_quickref(x, &count, rows), VOK_ERR_EROR);
        EXPECT_EQ(zan_vok_obex_attr_getnames(x, &count, &names), 0);
        EXPECT_EQ(count, 0);
    }
    EXPECT_EQ(zan_vok_class_wrap_standard(nullptr, subject_class, 0), VOK_ERR_EROR);
    EXPECT_TRUE(errors.empty());
    object_free(plain);
}

TEST_F(Boxes, ARecordBeginsEmptyAndKnowsTheBoxBeingBuilt)
{
    gensym("#B")->thing = ear = new_sink(&heard);
    void *x = zan_vok_object_alloc(object_class(box), gensym("vok_subject"));
    gensym("#B")->thing = nullptr;
    EXPECT_EQ(zan_vok_obex_box_get(x), ear);
    EXPECT_EQ(zan_vok_obex_vokob_get(x), nullptr);
    EXPECT_EQ(class_flagsget(object_class(x)) & 0x30000, 0x20000);
    EXPECT_EQ(linklist_getsize(zan_vok_obex_usurplist_get(x)), 6) << "val, vals, low, boxmerge, merge, merge_low";
    send(x, "now"); // no object to pass it on to
    send(x, "merge");
    EXPECT_TRUE(take().empty());
    object_free(x);
}

TEST_F(Boxes, ErrorsOfTheObjectComeUnderTheBoxsName)
{
    vok_object_error(inner(), "vok.subject: broken");
    EXPECT_EQ(errors, log{"broken"});
    EXPECT_EQ(blamed, box);
}

TEST_F(Boxes, ProxiesComeAndGoAtTheRightEnd)
{
    struct where {
        object header;
        void *record;
        long inlet;
    };
    static zan_class *c = [] {
        zan_class *made = class_new("vok.where", nullptr, erase(zan_vok_obex_free), sizeof(where), nullptr, 0);
        zan_vok_class_obex_setup(made, offsetof(where, record));
        const auto bang = [](where *x) { x->inlet = zan_vok_obex_inletnumber_get(x); };
        class_addmethod(made, erase(bang), "bang", 0);
        return made;
    }();
    auto *x = static_cast<where *>(zan_vok_obex_new(c, nullptr));
    for (long id : {2L, 1L}) // as boxes in the making do
        EXPECT_EQ(zan_vok_obex_proxy_new(x, id), 0);
    const auto inlet = [x](long i) {
        x->inlet = -1;
        zan_send(x, i, gensym("bang"), 0, nullptr);
        return x->inlet;
    };
    const struct {
        long count, inlets;
    } rows[] = {{2, 2}, {5, 5}, {1, 1}, {3, 3}, {-3, 0}, {1, 1}};
    for (const auto &row : rows) {
        EXPECT_EQ(zan_vok_obex_proxy_resize(x, row.count), 0);
        EXPECT_EQ(linklist_getsize(zan_vok_obex_proxylist_get(x)), row.inlets);
        for (long i = 0; i <= 6; ++i)
            EXPECT_EQ(inlet(i), i <= row.inlets ? i : -1) << row.count;
    }
    EXPECT_EQ(zan_vok_obex_proxy_append(x, 2), 0);
    EXPECT_EQ(inlet(2), 2);
    EXPECT_EQ(zan_vok_obex_proxy_deletetail(x), 0);
    EXPECT_EQ(inlet(2), -1);
    EXPECT_EQ(zan_vok_obex_proxy_deletetail(x), 0);
    EXPECT_EQ(zan_vok_obex_proxy_deletetail(x), VOK_ERR_EROR);
    object_free(x);
}

TEST_F(Boxes, OfTwoAdornmentsOfAClassTheFirstIsFound)
{
    EXPECT_EQ(zan_vok_obex_adornment_get(box, gensym("vok_subject")), nullptr);
    void *first = vok_object_alloc(subject_class), *second = vok_object_alloc(subject_class);
    EXPECT_EQ(zan_vok_obex_addadornment(box, first), 0);
    EXPECT_EQ(zan_vok_obex_addadornment(box, second), 0);
    EXPECT_EQ(zan_vok_obex_addadornment(box, nullptr), VOK_ERR_EROR);
    EXPECT_EQ(zan_vok_obex_adornment_get(box, gensym("vok_subject")), first);
    EXPECT_EQ(linklist_getsize(zan_vok_obex_adornmentlist_get(box)), 2);
    const long alive = zan_object_count(gensym("vok_subject"));
    object_free(box);
    box = nullptr;
    EXPECT_EQ(zan_object_count(gensym("vok_subject")), alive - 3) << "both and the library object";
}

TEST_F(Boxes, AClassInTheMakingAndASingleObjectAreWrappedToo)
{
    static zan_class *c = [] {
        zan_class *made = class_new("vok.oldstyle", nullptr, erase(free_shell), sizeof(shell), nullptr, 0);
        zan_vok_classex *classex = zan_vok_classex_setup(offsetof(shell, record));
        zan_vok_classex_standard_wrap(classex, vok_class_findbyname(gensym("vok_subject")),
                                      zan_vok_wrap_no_inletinfo);
        zan_vok_classex_addattr(classex, offset_attr("own", "long", 0, offsetof(shell, own)));
        zan_addmethod_defer(erase(gimme), "mine");
        return made;
    }();
    EXPECT_EQ(class_method(c, gensym("inletinfo")), nullptr);
    EXPECT_NE(class_method(object_class(box), gensym("inletinfo")), nullptr);
    void *old = make(c);

    static zan_class *bare = [] {
        zan_class *made = class_new("vok.bare", nullptr, erase(free_shell), sizeof(shell), nullptr, 0);
        zan_vok_class_obex_setup(made, offsetof(shell, record));
        return made;
    }();
    void *single = object_alloc(bare), *o = vok_object_alloc(subject_class);
    EXPECT_EQ(zan_vok_object_wrap_standard(single, o, 0), 0);
    EXPECT_EQ(zan_vok_object_addmethod_usurp_low(single, erase(gimme), "mine"), 0);
    EXPECT_EQ(zan_vok_object_addattr(single, offset_attr("own", "long", 0, offsetof(shell, own))), 0);
    EXPECT_EQ(zan_vok_object_wrap_complete(single, o), 0);
    EXPECT_EQ(zan_vok_obex_vokob_set(single, o), 0);
    EXPECT_EQ(zan_vok_object_wrap_complete(o, o), VOK_ERR_EROR);
    EXPECT_EQ(class_method(bare, gensym("now")), nullptr) << "the class stays as it was";

    for (void *x : {old, single}) {
        in_scheduler([x] {
            for (const char *selector : {"now", "merge", "merge", "mine"})
                send(x, selector);
            send(x, "own", "7");
            send(x, "val", "8");
        });
        EXPECT_EQ(take(), log{"now @scheduler"});
        zan_service();
        EXPECT_EQ(take().size(), 2u) << "merge, mine";
        EXPECT_EQ(static_cast<shell *>(x)->own, 7);
        EXPECT_EQ(static_cast<subject *>(zan_vok_obex_vokob_get(x))->val, 8);
        object_free(x);
    }
}

} // namespace
} // namespace bridge_test
