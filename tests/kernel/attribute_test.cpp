// The attribute classes: every type got and set, the contract of result arrays, filters,
// tags, text, and clones.
#include <cmath>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vokra/vokra.h>
#include <zan/host.h>

#include "quick_class.h"
#include "scratch.h"

namespace {

struct holder {
    object header;
    unsigned char c;
    long l;
    float f;
    double d;
    symbol *s;
    void *o;
    void *p;
    atom a;
    long many[300];
    long manycount;
    double fixed[4];
    symbol *words[3];
    long clipped;
    double scaled;
    long last_count; // of the recording setter
};

vok_err record_set(holder *x, void *, long argc, atom *)
{
    x->last_count = argc;
    return VOK_ERR_NONE;
}

vok_err double_them(void *, void *, long argc, atom *argv)
{
    for (long i = 0; i < argc; ++i)
        atom_setlong(argv + i, 2 * atom_getlong(argv + i));
    return VOK_ERR_NONE;
}

zan_class *make_holder_class()
{
    quick_class k("vok_holder", sizeof(holder));
    k.value("c", "char", offsetof(holder, c));
    k.value("l", "long", offsetof(holder, l));
    k.value("f", "float32", offsetof(holder, f));
    k.value("d", "float64", offsetof(holder, d));
    k.value("s", "symbol", offsetof(holder, s));
    k.value("o", "object", offsetof(holder, o));
    k.value("p", "pointer", offsetof(holder, p));
    k.value("a", "atom", offsetof(holder, a));
    k.array("many", "long", offsetof(holder, many), 300, offsetof(holder, manycount));
    k.array("fixed", "float64", offsetof(holder, fixed), 4, 0);
    k.array("words", "symbol", offsetof(holder, words), 3, 0);
    vok_attr_addfilter_clip(k.value("clipped", "long", offsetof(holder, clipped)), 2, 5, 1, 1);
    vok_attr_addfilter_clip(k.array("recorded", "long", offsetof(holder, many), 300, 0, erase(record_set)), 0, 0,
                            1, 0);
    k.value("secret", "long", offsetof(holder, l), vok_attrflag_get_opaque_user | vok_attrflag_set_opaque_user);
    return k.c;
}

class Attribute : public testing::Test {
  protected:
    void SetUp() override
    {
        initialize();
        static zan_class *const c = make_holder_class();
        holder_class = c;
        x = static_cast<holder *>(vok_object_alloc(c));
        ASSERT_TRUE(x);
    }
    void TearDown() override { vok_object_free(x); }

    std::vector<atom> get(const char *name)
    {
        long argc = 0;
        atom *argv = nullptr;
        EXPECT_EQ(vok_object_method(x, gensym((std::string("get") + name).c_str()), &argc, &argv), 0) << name;
        std::vector<atom> value(argv, argv + argc);
        sysmem_freeptr(argv);
        return value;
    }
    void set(const char *name, std::vector<atom> value)
    {
        vok_object_method(x, gensym(name), static_cast<long>(value.size()), value.data());
    }
    void *attr(const char *name) { return vok_class_attr_get(holder_class, gensym(name)); }
    zan_class *holder_class = nullptr;
    holder *x = nullptr;
};

atom L(zan_word v)
{
    atom a;
    atom_setlong(&a, v);
    return a;
}
atom F(double v)
{
    atom a;
    atom_setfloat(&a, v);
    return a;
}
atom S(const char *v)
{
    atom a;
    atom_setsym(&a, gensym(v));
    return a;
}
atom O(void *v)
{
    atom a;
    atom_setobj(&a, v);
    return a;
}
bool same(const atom &a, const atom &b)
{
    return a.type == b.type && a.value.as_long == b.value.as_long;
}

TEST_F(Attribute, EveryTypeConverts)
{
    const struct {
        const char *name;
        atom given;
        atom stored;
    } rows[] = {
        {"c", L(200), L(200)},
        {"c", L(300), L(44)},
        {"c", L(-1), L(255)},
        {"c", F(7.9), L(7)},
        {"l", L(1L << 40), L(1L << 40)},
        {"l", F(-2.7), L(-2)},
        {"l", S("x"), L(0)},
        {"f", F(0.1), F(static_cast<double>(0.1f))},
        {"f", L(3), F(3)},
        {"d", F(0.1), F(0.1)},
        {"d", L(-9), F(-9)},
        {"s", S("word"), S("word")},
        {"s", L(1), S("")},
        {"o", O(this), O(this)},
        {"o", L(5), O(nullptr)},
        {"p", O(this), O(this)},
        {"a", S("any"), S("any")},
        {"a", L(4), L(4)},
        {"a", F(2.5), F(2.5)},
    };
    for (const auto &row : rows) {
        set(row.name, {row.given, L(99)}); // one value is taken, the rest is not
        const std::vector<atom> value = get(row.name);
        ASSERT_EQ(value.size(), 1u) << row.name;
        EXPECT_TRUE(same(value[0], row.stored)) << row.name << " of type " << row.given.type;
    }
}

TEST_F(Attribute, SizesOfElements)
{
    const struct {
        const char *type;
        long size;
    } rows[] = {{"char", 1},   {"long", 8},    {"float32", 4}, {"float64", 8},
                {"symbol", 8}, {"pointer", 8}, {"object", 8},  {"atom", 16}};
    for (const auto &row : rows)
        EXPECT_EQ(vok_attribute_sizeof(gensym(row.type)), row.size) << row.type;
    report_catcher ear;
    EXPECT_EQ(vok_attribute_sizeof(gensym("float128")), 0);
    EXPECT_EQ(ear.take(zan_report_post), std::vector<std::string>{"vok.attribute: unknown type"});
}

TEST_F(Attribute, TheCallersArrayIsFilledAndTheCountCut)
{
    const std::vector<atom> four = {F(1), F(2), F(3), F(4)};
    set("fixed", four);
    for (long room = 1; room <= 6; ++room) {
        atom own[8];
        std::fill_n(own, 8, L(-7));
        long argc = room;
        atom *argv = own;
        vok_object_method(x, gensym("getfixed"), &argc, &argv);
        EXPECT_EQ(argv, own);
        ASSERT_EQ(argc, std::min(room, 4L));
        for (long i = 0; i < 8; ++i)
            EXPECT_TRUE(same(own[i], i < argc ? four[static_cast<size_t>(i)] : L(-7))) << room << " " << i;
    }
}

TEST_F(Attribute, ArraysWithAFixedCountFillUpWithZeros)
{
    set("fixed", {F(1), F(2), F(3), F(4), F(5), F(6)});
    EXPECT_EQ(x->fixed[3], 4) << "what doesn't fit is dropped";
    EXPECT_EQ(x->words[0], nullptr);
    set("fixed", {F(9)});
    EXPECT_EQ(x->fixed[0], 9);
    for (int i = 1; i < 4; ++i)
        EXPECT_EQ(x->fixed[i], 0) << i;
    EXPECT_EQ(get("fixed").size(), 4u);
}

TEST_F(Attribute, ArraysWithACountKeepTheRest)
{
    set("many", {L(1), L(2), L(3)});
    EXPECT_EQ(x->manycount, 3);
    set("many", {L(8)});
    EXPECT_EQ(x->manycount, 1);
    EXPECT_EQ(x->many[1], 2) << "left alone";
    EXPECT_EQ(get("many").size(), 1u);
    set("many", std::vector<atom>(400, L(5)));
    EXPECT_EQ(x->manycount, 300);
    x->manycount = 1000; // a count beyond the room is no reason to read on
    EXPECT_EQ(get("many").size(), 300u);
    x->manycount = -4;
    EXPECT_EQ(get("many").size(), 0u);
}

TEST_F(Attribute, NullArguments)
{
    atom a = L(1);
    long argc = 0;
    atom *argv = nullptr;
    EXPECT_EQ(vok_attr_offset_set(x, nullptr, 1, &a), VOK_ERR_INVP);
    EXPECT_EQ(vok_attr_offset_set(x, attr("l"), 0, &a), VOK_ERR_INVP);
    EXPECT_EQ(vok_attr_offset_set(x, attr("l"), 1, nullptr), VOK_ERR_INVP);
    EXPECT_EQ(vok_attr_offset_array_set(x, nullptr, 1, &a), VOK_ERR_INVP);
    EXPECT_EQ(vok_attr_filterget_wrap(x, nullptr, &argc, &argv), VOK_ERR_INVP);
    EXPECT_EQ(vok_attr_filterset_wrap(x, nullptr, 1, &a), VOK_ERR_INVP);
    EXPECT_EQ(vok_attr_addfilterset_clip(nullptr, 0, 1, 1, 1), VOK_ERR_EROR);
    EXPECT_EQ(vok_attr_addfilterget_clip(nullptr, 0, 1, 1, 1), VOK_ERR_EROR);
    EXPECT_EQ(vok_attr_addfilter_clip_scale(nullptr, 1, 0, 1, 1, 1), VOK_ERR_EROR);
    EXPECT_EQ(vok_attr_addfilterset_proc(nullptr, nullptr), VOK_ERR_EROR);
}

TEST_F(Attribute, TheTagsOfGetAndSet)
{
    const struct {
        long flags;
        int get, set;
    } rows[] = {
        {0, argtype_gimme, argtype_gimme},
        {vok_attrflag_get_defer, argtype_defer, argtype_gimme},
        {vok_attrflag_get_usurp | vok_attrflag_get_defer_low, argtype_usurp, argtype_gimme},
        {vok_attrflag_get_usurp_low | vok_attrflag_get_usurp, argtype_usurp_low, argtype_gimme},
        {vok_attrflag_set_defer_low | vok_attrflag_set_defer, argtype_gimme, argtype_defer_low},
        {vok_attrflag_set_usurp_low | vok_attrflag_get_defer_low, argtype_defer_low, argtype_usurp_low},
    };
    for (const auto &row : rows) {
        void *a = vok_attribute_new("t", _vok_sym_long, row.flags, nullptr, nullptr);
        EXPECT_EQ(vok_object_method(a, gensym("getmethodtype"), _vok_sym_get), row.get) << row.flags;
        EXPECT_EQ(vok_object_method(a, gensym("getmethodtype"), _vok_sym_set), row.set) << row.flags;
        EXPECT_EQ(vok_object_method(a, gensym("getmethodtype"), _vok_sym_clear), argtype_gimme);
        vok_object_free(a);
    }
    void *closed = vok_attribute_new("t", _vok_sym_long, vok_attrflag_get_opaque | vok_attrflag_set_opaque_user,
                                     nullptr, nullptr);
    const struct {
        const char *question;
        long answer;
    } questions[] = {
        {"canget", 0}, {"canset", 1}, {"usercanget", 1}, {"usercanset", 0}, {"class_vok_attribute", 1}};
    for (const auto &q : questions)
        EXPECT_EQ(vok_object_method(closed, gensym(q.question), 0L), q.answer) << q.question;
    EXPECT_EQ(vok_object_method(closed, _vok_sym_getname), reinterpret_cast<zan_word>(gensym("t")));
    EXPECT_EQ(vok_object_method(closed, _vok_sym_gettype), reinterpret_cast<zan_word>(_vok_sym_long));
    vok_object_free(closed);
}

TEST_F(Attribute, ClippedValues)
{
    const struct {
        atom given;
        long stored;
    } rows[] = {{L(1), 2},    {L(2), 2},     {L(3), 3},      {L(5), 5},   {L(6), 5},
                {F(4.99), 4}, {F(1e300), 5}, {F(-1e300), 2}, {F(NAN), 0}, {L(LONG_MIN), 2}};
    for (const auto &row : rows) {
        std::vector<atom> given = {row.given};
        set("clipped", given);
        EXPECT_EQ(x->clipped, row.stored) << row.stored;
        EXPECT_TRUE(same(given[0], row.given)) << "the caller's atoms stay";
    }
}

TEST_F(Attribute, ClipFilterOrders)
{
    const struct {
        const char *type;
        double scale, min, max;
        long usescale, usemin, usemax;
        atom in, out;
    } rows[] = {
        {"float64", 1, 0, 1, 0, 1, 1, F(0.5), F(0.5)},
        {"float64", 1, 5, 2, 0, 1, 1, F(3), F(2)}, // min above max: max it is
        {"float64", 2, 0, 5, 1, 1, 1, F(3), F(5)}, // scaled, then limited
        {"float32", 2, 0, 5, 1, 0, 0, L(3), F(6)},
        {"long", 1, 0, 1, 0, 0, 0, F(-2.9), L(-2)}, // only converted, toward zero
        {"char", 1, 0, 1, 0, 0, 0, F(300.5), L(300)},
        {"float32", 1, 0, 1, 0, 0, 0, L(7), F(7)},
        {"symbol", 1, 0, 1, 0, 1, 1, L(7), L(7)}, // other types are left alone
        {"long", 1, 0, 1, 0, 0, 0, F(1e30), L(INT64_MAX)},
    };
    for (const auto &row : rows) {
        void *filter = vok_object_new(gensym("vok_attr_filter_clip"), 0);
        vok_attr_setsym(filter, _vok_sym_type, gensym(row.type));
        vok_attr_setfloat(filter, _vok_sym_scale, row.scale);
        vok_attr_setfloat(filter, gensym("min"), row.min);
        vok_attr_setfloat(filter, gensym("max"), row.max);
        vok_attr_setlong(filter, gensym("usescale"), row.usescale);
        vok_attr_setlong(filter, gensym("usemin"), row.usemin);
        vok_attr_setlong(filter, gensym("usemax"), row.usemax);
        atom a = row.in;
        vok_object_method(filter, _vok_sym_filter, _vok_sym_filter, 1L, &a);
        EXPECT_TRUE(same(a, row.out)) << row.type << " " << row.min << " " << row.max;
        vok_object_free(filter);
    }
    void *fresh = vok_object_new(gensym("vok_attr_filter_clip"), 0);
    EXPECT_EQ(vok_attr_getsym(fresh, _vok_sym_type), _vok_sym_float64);
    EXPECT_EQ(vok_attr_getfloat(fresh, _vok_sym_scale), 1);
    EXPECT_EQ(vok_attr_getfloat(fresh, gensym("max")), 1);
    EXPECT_EQ(vok_attr_getlong(fresh, gensym("usescale")), 0);
    EXPECT_EQ(vok_attr_getlong(fresh, gensym("usemin")), 1);
    EXPECT_EQ(vok_attr_getlong(fresh, gensym("usemax")), 1);
    vok_object_free(fresh);
}

TEST_F(Attribute, AScaledFilterReadsBackWhatWasWritten)
{
    void *a = vok_attr_offset_new("scaled", _vok_sym_float64, 0, nullptr, nullptr, offsetof(holder, scaled));
    ASSERT_EQ(vok_attr_addfilter_clip_scale(a, 256, 0, 128, 1, 1), 0);
    atom v = F(0.25);
    long argc = 0;
    atom *argv = nullptr;
    vok_object_method(a, _vok_sym_set, x, 1L, &v);
    EXPECT_EQ(x->scaled, 64);
    vok_object_method(a, _vok_sym_get, x, &argc, &argv);
    ASSERT_EQ(argc, 1);
    EXPECT_EQ(atom_getfloat(argv), 0.25);
    sysmem_freeptr(argv);
    v = F(2);
    vok_object_method(a, gensym("setvalueof"), x, 1L, &v);
    EXPECT_EQ(x->scaled, 128);

    ASSERT_EQ(vok_attr_addfilter_clip_scale(a, 0, 0, 1, 0, 0), 0);
    x->scaled = 3;
    argc = 0;
    argv = nullptr;
    vok_object_method(a, _vok_sym_get, x, &argc, &argv);
    EXPECT_TRUE(std::isinf(atom_getfloat(argv)));
    sysmem_freeptr(argv);
    vok_object_free(a);
}

TEST_F(Attribute, ProcFiltersAndTheMethodsThatWrapThem)
{
    void *a = vok_attr_offset_new("l", _vok_sym_long, 0, nullptr, nullptr, offsetof(holder, l));
    const auto method = [&](symbol *which) {
        return reinterpret_cast<zan_method>(vok_object_method(a, _vok_sym_getmethod, which));
    };
    EXPECT_EQ(method(_vok_sym_get), reinterpret_cast<zan_method>(vok_attr_offset_get));
    EXPECT_EQ(method(_vok_sym_set), reinterpret_cast<zan_method>(vok_attr_offset_set));
    EXPECT_EQ(method(_vok_sym_clear), nullptr);
    ASSERT_EQ(vok_attr_addfilterset_proc(a, reinterpret_cast<zan_method>(double_them)), 0);
    ASSERT_EQ(vok_attr_addfilterget_proc(a, reinterpret_cast<zan_method>(double_them)), 0);
    EXPECT_EQ(method(_vok_sym_get), reinterpret_cast<zan_method>(vok_attr_filterget_wrap));
    EXPECT_EQ(method(_vok_sym_set), reinterpret_cast<zan_method>(vok_attr_filterset_wrap));
    atom v = L(21);
    vok_attr_filterset_wrap(x, a, 1, &v);
    EXPECT_EQ(x->l, 42);
    EXPECT_EQ(v.value.as_long, 21);
    long argc = 1;
    atom *argv = &v;
    vok_attr_filterget_wrap(x, a, &argc, &argv);
    EXPECT_EQ(v.value.as_long, 84);

    void *proc = vok_object_new(gensym("vok_attr_filter_proc"), 0L);
    EXPECT_EQ(vok_object_method(proc, _vok_sym_filter, _vok_sym_filter, 1L, &v, x, a), VOK_ERR_INVP);
    vok_object_method(proc, gensym("setproc"), double_them);
    EXPECT_EQ(vok_object_method(proc, gensym("getproc"), 0L), reinterpret_cast<zan_word>(double_them));
    EXPECT_EQ(vok_object_method(proc, _vok_sym_filter, _vok_sym_filter, 1L, &v, nullptr, a), VOK_ERR_INVP);
    EXPECT_EQ(vok_object_method(proc, _vok_sym_filter, _vok_sym_filter, 1L, &v, x, a), 0);
    EXPECT_EQ(v.value.as_long, 168);
    vok_object_free(proc);
    vok_object_free(a);
}

TEST_F(Attribute, AnythingButAFilterIsRefused)
{
    void *a = attr("clipped");
    const zan_word before = vok_object_method(a, gensym("get_filterset"), 0L);
    ASSERT_NE(before, 0);
    EXPECT_EQ(vok_object_method(a, gensym("filterset"), x), VOK_ERR_EROR);
    EXPECT_EQ(vok_object_method(a, gensym("get_filterset"), 0L), before);
    EXPECT_EQ(vok_object_method(a, gensym("filterget"), x), VOK_ERR_EROR);

    void *b = vok_attribute_new("b", _vok_sym_long, 0, nullptr, nullptr);
    vok_attr_addfilterset_clip(b, 0, 1, 1, 1);
    EXPECT_EQ(vok_object_method(b, gensym("filterset"), nullptr), 0);
    EXPECT_EQ(vok_object_method(b, gensym("get_filterset"), 0L), 0);
    vok_object_free(b);
}

TEST_F(Attribute, AtMost256AtomsReachAFilter)
{
    for (long n : {0L, 1L, 255L, 256L, 257L, 300L}) {
        set("recorded", std::vector<atom>(static_cast<size_t>(n), L(-3)));
        EXPECT_EQ(x->last_count, std::min(n, 256L)) << n;
    }
}

TEST_F(Attribute, AnAttributeMayKeepItsValueItself)
{
    void *a = vok_object_new(gensym("vok_attribute"), "own", _vok_sym_float32, 0L, nullptr, nullptr);
    ASSERT_TRUE(a);
    std::vector<atom> three = {F(1), F(2), F(3)};
    vok_object_method(a, _vok_sym_set, nullptr, 3L, three.data());
    EXPECT_EQ(vok_object_method(a, _vok_sym_getsize, 0L), 3);
    vok_object_method(a, _vok_sym_set, nullptr, 0L, nullptr);
    EXPECT_EQ(vok_object_method(a, _vok_sym_getsize, 0L), 3) << "nothing given, nothing changed";

    void *b = object_clone(a);
    ASSERT_TRUE(b);
    EXPECT_NE(static_cast<vok_attribute *>(a)->data, static_cast<vok_attribute *>(b)->data);
    vok_object_free(a);
    long argc = 0;
    atom *argv = nullptr;
    vok_object_method(b, _vok_sym_get, nullptr, &argc, &argv);
    ASSERT_EQ(argc, 3);
    EXPECT_EQ(atom_getfloat(argv + 2), 3);
    sysmem_freeptr(argv);
    vok_object_free(b);
}

TEST_F(Attribute, AnUnknownTypeIsPostedAndHoldsNothing)
{
    report_catcher ear;
    void *a = vok_attribute_new("odd", gensym("float128"), 0, nullptr, nullptr);
    atom v = L(1);
    vok_object_method(a, _vok_sym_set, nullptr, 1L, &v);
    long argc = 0;
    atom *argv = nullptr;
    vok_object_method(a, _vok_sym_get, nullptr, &argc, &argv);
    EXPECT_EQ(argc, 0);
    EXPECT_EQ(ear.take(zan_report_post).size(), 2u);
    vok_object_free(a);
}

TEST_F(Attribute, ClonesHaveFiltersOfTheirOwn)
{
    void *a = attr("clipped");
    void *b = object_clone(a);
    EXPECT_NE(vok_object_method(a, gensym("get_filterset"), 0L),
              vok_object_method(b, gensym("get_filterset"), 0L));
    atom v = L(50);
    vok_object_method(b, _vok_sym_set, x, 1L, &v);
    EXPECT_EQ(x->clipped, 5);
    vok_object_free(b);
    v = L(-50);
    vok_object_method(a, _vok_sym_set, x, 1L, &v);
    EXPECT_EQ(x->clipped, 2);

    void *array = object_clone(attr("many"));
    EXPECT_EQ(vok_object_method(array, _vok_sym_getsize, 0L), 300);
    EXPECT_EQ(vok_object_method(array, _vok_sym_getoffset, 0L), long{offsetof(holder, many)});
    EXPECT_EQ(vok_object_method(array, _vok_sym_getoffsetcount, 0L), long{offsetof(holder, manycount)});
    vok_object_method(array, gensym("size"), 2L);
    EXPECT_EQ(vok_object_method(array, _vok_sym_getsize, 0L), 2);
    vok_object_free(array);
}

TEST_F(Attribute, MethodsCanBeReplaced)
{
    void *a = vok_attr_offset_new("l", _vok_sym_long, 0, nullptr, nullptr, offsetof(holder, l));
    vok_object_method(a, gensym("setmethod"), _vok_sym_set, record_set);
    vok_object_method(a, gensym("setmethod"), _vok_sym_get, nullptr); // ignored
    std::vector<atom> two = {L(1), L(2)};
    vok_object_method(a, _vok_sym_set, x, 2L, two.data());
    EXPECT_EQ(x->last_count, 2);
    EXPECT_EQ(static_cast<vok_attr_offset *>(a)->get, reinterpret_cast<zan_method>(vok_attr_offset_get));
    vok_object_method(a, gensym("offset"), long{offsetof(holder, clipped)});
    x->clipped = 4;
    long argc = 0;
    atom *argv = nullptr;
    vok_object_method(a, gensym("getvalueof"), x, &argc, &argv);
    EXPECT_EQ(atom_getlong(argv), 4);
    sysmem_freeptr(argv);
    vok_object_free(a);
}

TEST_F(Attribute, FormatsCountTheValues)
{
    set("many", std::vector<atom>(12, L(1)));
    const struct {
        const char *name;
        long count;
    } rows[] = {{"l", 1}, {"words", 3}, {"fixed", 4}, {"many", 9}};
    for (const auto &row : rows) {
        long argc = 0;
        atom *argv = nullptr;
        vok_object_method(attr(row.name), gensym("getformat"), x, &argc, &argv);
        ASSERT_EQ(argc, row.count) << row.name;
        for (long i = 0; i < argc; ++i) {
            EXPECT_EQ(argv[i].type, 12);
            EXPECT_EQ(argv[i].value.as_long, i + 1);
        }
        sysmem_freeptr(argv);
    }
    set("many", {L(1), L(2)}); // room for 300, and two in use
    long argc = 0;
    atom *argv = nullptr;
    vok_object_method(attr("many"), gensym("getformat"), x, &argc, &argv);
    EXPECT_EQ(argc, 2);
    sysmem_freeptr(argv);
}

TEST_F(Attribute, TextsAreShortened)
{
    set("many", {L(1), L(2), L(3)});
    set("words", {S("one"), S("t\xc3\xa4n"), S("tenthousand")});
    set("s", {S("grammar")});
    const struct {
        const char *name;
        long maxelements, maxchars;
        const char *text;
    } rows[] = {
        {"many", 0, 0, "1 2 3"},
        {"many", 3, 5, "1 2 3"},
        {"many", 2, 0, "1 2 ..."},
        {"many", 0, 3, "1 2 ..."},
        {"words", 2, 0, "one t\xc3\xa4n tenthousand"}, // symbols show whole
        {"words", 0, 6, "one t\xc3\xa4 ..."},
        {"s", 1, 4, "gram ..."},
    };
    for (const auto &row : rows) {
        long size = 0;
        char *text = nullptr;
        EXPECT_EQ(vok_object_method(attr(row.name), gensym("gettext"), x, &size, &text, row.maxelements,
                                    row.maxchars, 0L),
                  0);
        ASSERT_TRUE(text) << row.name;
        EXPECT_STREQ(text, row.text);
        EXPECT_EQ(size, static_cast<long>(std::strlen(row.text)) + 1);
        sysmem_freeptr(text);
    }
    char own[6];
    long size = sizeof own;
    char *text = own;
    vok_object_method(attr("many"), gensym("gettext"), x, &size, &text, 2L, 0L, 0L);
    EXPECT_STREQ(own, "1 2 .") << "cut to the caller's buffer";
    EXPECT_EQ(vok_object_method(attr("many"), gensym("gettext"), nullptr, &size, &text, 0L, 0L, 0L), VOK_ERR_EROR);
    EXPECT_EQ(vok_object_method(attr("o"), gensym("gettext"), x, &size, &text, 0L, 0L, 0L), VOK_ERR_EROR);
}

TEST_F(Attribute, TablesDescribe)
{
    void *matrix = vok_object_new(_vok_sym_vok_matrix, 0);
    const struct {
        const char *what;
        std::vector<std::string> words;
    } rows[] = {{"label", {"Type"}}, {"style", {"enum"}}, {"enumvals", {"char", "long", "float32", "float64"}}};
    for (const auto &row : rows) {
        long argc = 0;
        atom *argv = nullptr;
        ASSERT_EQ(object_attr_attr_getvalueof(matrix, _vok_sym_type, gensym(row.what), &argc, &argv), 0)
            << row.what;
        ASSERT_EQ(argc, static_cast<long>(row.words.size())) << row.what;
        for (long i = 0; i < argc; ++i)
            EXPECT_EQ(atom_getsym(argv + i)->name, row.words[static_cast<size_t>(i)]);
        sysmem_freeptr(argv);
    }
    vok_object_free(matrix);
    EXPECT_EQ(vok_object_attr_usercanset(x, gensym("secret")), 0);
    EXPECT_EQ(vok_object_attr_usercanget(x, gensym("secret")), 0);
    EXPECT_NE(vok_object_attr_usercanset(x, gensym("l")), 0);
}

} // namespace
