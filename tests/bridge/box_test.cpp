// The side record of a box: found from any object, filled, and freed with all that hangs
// on it.
#include "boxes.h"

namespace bridge_test {
namespace {

TEST_F(Boxes, EveryAccessorTakesAnObjectThatIsNoBox)
{
    alignas(16) static long dead[16];
    void *plain = object_new_imp(gensym("nobox"), gensym("hashtab"), 0, 0, 0, 0, 0, 0, 0, 0);
    void *(*const getters[])(void *) = {zan_vok_obex_vokob_get, zan_vok_obex_dumpout_get,
                                        zan_vok_obex_attrlist_get};
    vok_err (*const setters[])(void *, void *) = {zan_vok_obex_vokob_set, zan_vok_obex_dumpout_set,
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
        atom a = A("@val");
        for (auto method : methods)
            method(x, gensym("getval"), 1, &a);
        zan_vok_attr_args(x, 1, &a);
        zan_vok_obex_dumpout(x, gensym("x"), 0, nullptr);
        zan_vok_obex_free(x);
        EXPECT_EQ(zan_vok_classex_get(x), nullptr);
        EXPECT_EQ(zan_vok_obex_set(x, nullptr), VOK_ERR_EROR);
        EXPECT_EQ(zan_vok_obex_proxy_resize(x, 2), VOK_ERR_EROR);
        EXPECT_EQ(zan_vok_obex_attr_getobject(x, gensym("val")), nullptr);
        long count = 1;
        symbol *rows[256], **names = nullptr;
        EXPECT_EQ(zan_vok_object_quickref(x, &count, rows), VOK_ERR_EROR);
        EXPECT_EQ(zan_vok_obex_attr_getnames(x, &count, &names), 0);
        EXPECT_EQ(count, 0);
        EXPECT_EQ(zan_vok_mop_vok_matrix(x, nullptr, 0, nullptr), VOK_ERR_EROR);
        EXPECT_EQ(zan_vok_mop_outputmatrix(x), VOK_ERR_EROR);
        EXPECT_EQ(zan_vok_mop_inputs_resize(x, 1), VOK_ERR_INVP);
        EXPECT_EQ(zan_vok_mop_outputs_resize(x, 1), VOK_ERR_INVP);
        zan_vok_mop_free(x);
    }
    EXPECT_EQ(zan_vok_class_wrap_standard(nullptr, subject_class(), 0), VOK_ERR_EROR);
    EXPECT_EQ(zan_vok_object_mop_wrap(nullptr, plain, 0), VOK_ERR_EROR);
    EXPECT_EQ(p.errors(), "");
    object_free(plain);
}

TEST_F(Boxes, ARecordBeginsEmptyAndKnowsTheBoxBeingBuilt)
{
    gensym("#B")->thing = replier;
    void *x = zan_vok_object_alloc(object_class(box), gensym("vok_subject"));
    gensym("#B")->thing = nullptr;
    EXPECT_EQ(zan_vok_obex_box_get(x), replier);
    EXPECT_EQ(zan_vok_obex_vokob_get(x), nullptr);
    EXPECT_EQ(class_flagsget(object_class(x)) & 0x30000, 0x20000);
    EXPECT_EQ(linklist_getsize(zan_vok_obex_usurplist_get(x)), 6) << "val, vals, low, boxmerge, merge, merge_low";
    void *first = vok_object_alloc(subject_class()); // of two adornments the first is found; both go with the box
    EXPECT_EQ(zan_vok_obex_addadornment(x, first), 0);
    EXPECT_EQ(zan_vok_obex_addadornment(x, vok_object_alloc(subject_class())), 0);
    EXPECT_EQ(zan_vok_obex_addadornment(x, nullptr), VOK_ERR_EROR);
    EXPECT_EQ(zan_vok_obex_adornment_get(x, gensym("vok_subject")), first);
    p.send(x, "0 now"); // no object to pass it on to
    p.send(x, "0 merge");
    EXPECT_TRUE(take().empty());
    object_free(x);
}

TEST_F(Boxes, ErrorsOfTheObjectComeUnderTheBoxsName)
{
    static void *blamed;
    zan_set_reporter([](void *, long, void *x, const char *text) { blamed = x, calls.push_back(text); }, nullptr);
    vok_object_error(inner(), "shell: broken");
    EXPECT_EQ(take(), log{"broken"});
    EXPECT_EQ(blamed, box);
}

TEST_F(Boxes, ProxiesComeAndGoAtTheRightEnd)
{
    zan_class *c = class_new("where", nullptr, erase(zan_vok_obex_free), sizeof(shell), nullptr, 0);
    zan_vok_class_obex_setup(c, offsetof(shell, record));
    class_addmethod(c, erase([](shell *me) { me->own = zan_vok_obex_inletnumber_get(me); }), "bang", 0);
    auto *x = static_cast<shell *>(zan_vok_obex_new(c, nullptr));
    const auto has = [x](long count) {
        EXPECT_EQ(linklist_getsize(zan_vok_obex_proxylist_get(x)), count);
        for (long i = 0; i <= 6; ++i) {
            x->own = -1;
            zan_send(x, i, gensym("bang"), 0, nullptr);
            EXPECT_EQ(x->own, i <= count ? i : -1) << count;
        }
    };
    for (long id : {2L, 1L}) // as boxes in the making do
        EXPECT_EQ(zan_vok_obex_proxy_new(x, id), 0);
    has(2);
    for (long count : {2L, 5L, 1L, 3L, -3L, 1L}) {
        EXPECT_EQ(zan_vok_obex_proxy_resize(x, count), 0);
        has(std::max(count, 0L));
    }
    EXPECT_EQ(zan_vok_obex_proxy_append(x, 2), 0);
    has(2);
    for (long left : {1L, 0L}) {
        EXPECT_EQ(zan_vok_obex_proxy_deletetail(x), 0);
        has(left);
    }
    EXPECT_EQ(zan_vok_obex_proxy_deletetail(x), VOK_ERR_EROR);
    object_free(x);
}

TEST_F(Boxes, AClassInTheMakingAndASingleObjectAreWrappedToo)
{
    zan_class *c = bare_class("oldstyle");
    zan_vok_classex *classex = zan_vok_classex_setup(offsetof(shell, record));
    zan_vok_classex_standard_wrap(classex, subject_class(), zan_vok_wrap_no_inletinfo);
    zan_vok_classex_addattr(classex, offset_attr("own", "long", 0, offsetof(shell, own)));
    zan_addmethod_defer(erase(gimme), "mine");
    class_register(gensym("box"), c);
    EXPECT_EQ(class_method(c, gensym("inletinfo")), nullptr);
    EXPECT_NE(class_method(object_class(box), gensym("inletinfo")), nullptr);

    zan_class *bare = bare_class("bare");
    zan_vok_class_obex_setup(bare, offsetof(shell, record));
    void *single = object_alloc(bare), *o = vok_object_alloc(subject_class());
    EXPECT_EQ(zan_vok_object_wrap_standard(single, o, 0), 0);
    EXPECT_EQ(zan_vok_object_addmethod_usurp_low(single, erase(gimme), "mine"), 0);
    EXPECT_EQ(zan_vok_object_addattr(single, offset_attr("own", "long", 0, offsetof(shell, own))), 0);
    EXPECT_EQ(zan_vok_object_wrap_complete(single, o), 0);
    EXPECT_EQ(zan_vok_obex_vokob_set(single, o), 0);
    EXPECT_EQ(zan_vok_object_wrap_complete(o, o), VOK_ERR_EROR);
    EXPECT_EQ(class_method(bare, gensym("now")), nullptr) << "the class stays as it was";

    for (void *x : {p.make("oldstyle"), single}) {
        in_scheduler([&] {
            for (const char *message : {"0 now", "0 merge", "0 merge", "0 mine", "0 own 7", "0 val 8"})
                p.send(x, message);
        });
        EXPECT_EQ(take(), log{"now @scheduler"});
        zan_service();
        EXPECT_EQ(take().size(), 2u) << "merge, mine";
        EXPECT_EQ(static_cast<shell *>(x)->own, 7);
        EXPECT_EQ(static_cast<subject *>(zan_vok_obex_vokob_get(x))->val, 8);
    }
    object_free(single);
}

} // namespace
} // namespace bridge_test
