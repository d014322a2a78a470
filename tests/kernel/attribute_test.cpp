// The attribute classes: every type got and set, the contract of result arrays, filters,
// tags, text, and clones.
#include "quick_class.h"
#include <cmath>
#include <cstring>

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
        EXPECT_EQ(vok_object_method(x, S((std::string("get") + name).c_str()), &argc, &argv), 0) << name;
        std::vector<atom> value(argv, argv + argc);
        sysmem_freeptr(argv);
        return value;
    }
    void set(const char *name, std::vector<atom> value)
    {
        vok_object_method(x, S(name), static_cast<long>(value.size()), value.data());
    }
    void *attr(const char *name) { return vok_class_attr_get(holder_class, S(name)); }
    zan_class *holder_class = nullptr;
    holder *x = nullptr;
};

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
        {"c", A(200), A(200)},
        {"c", A(300), A(44)},
        {"c", A(-1), A(255)},
        {"c", A(7.9), A(7)},
        {"l", A(1L << 40), A(1L << 40)},
        {"l", A(-2.7), A(-2)},
        {"l", A("x"), A(0)},
        {"f", A(0.1), A(static_cast<double>(0.1f))},
        {"f", A(3), A(3.)},
        {"d", A(0.1), A(0.1)},
        {"d", A(-9), A(-9.)},
        {"s", A("word"), A("word")},
        {"s", A(1), A("")},
        {"o", A(static_cast<void *>(this)), A(static_cast<void *>(this))},
        {"o", A(5), A(static_cast<void *>(nullptr))},
        {"p", A(static_cast<void *>(this)), A(static_cast<void *>(this))},
        {"a", A("any"), A("any")},
        {"a", A(4), A(4)},
        {"a", A(2.5), A(2.5)},
    };
    for (const auto &row : rows) {
        set(row.name, {row.given, A(99)}); // one value is taken, the rest is not
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
        EXPECT_EQ(vok_attribute_sizeof(S(row.type)), row.size) << row.type;
    report_catcher ear;
    EXPECT_EQ(vok_attribute_sizeof(S("float128")), 0);
    EXPECT_EQ(ear.take(zan_report_post), std::vector<std::string>{"vok.attribute: unknown type"});
}

TEST_F(Attribute, ArraysWithAFixedCountFillUpWithZerosAndTheCallersArray)
{
    set("fixed", {A(1.), A(2.), A(3.), A(4.), A(5.), A(6.)});
    EXPECT_EQ(x->fixed[3], 4) << "what doesn't fit is dropped";
    EXPECT_EQ(x->words[0], nullptr);
    for (long room = 1; room <= 6; ++room) {
        std::vector<atom> own(8, A(-7));
        long argc = room;
        atom *argv = own.data();
        vok_object_method(x, S("getfixed"), &argc, &argv);
        EXPECT_EQ(argv, own.data());
        ASSERT_EQ(argc, std::min(room, 4L));
        for (long i = 0; i < 8; ++i)
            EXPECT_TRUE(same(own[size_t(i)], i < argc ? A(double(i + 1)) : A(-7))) << room << " " << i;
    }
    set("fixed", {A(9.)});
    EXPECT_EQ(answer(x, S("getfixed")), "9.000000f 0.000000f 0.000000f 0.000000f");
}

TEST_F(Attribute, ArraysWithACountKeepTheRest)
{
    set("many", {A(1), A(2), A(3)});
    EXPECT_EQ(x->manycount, 3);
    set("many", {A(8)});
    EXPECT_EQ(x->manycount, 1);
    EXPECT_EQ(x->many[1], 2) << "left alone";
    EXPECT_EQ(get("many").size(), 1u);
    set("many", std::vector<atom>(400, A(5)));
    EXPECT_EQ(x->manycount, 300);
    x->manycount = 1000; // a count beyond the room is no reason to read on
    EXPECT_EQ(get("many").size(), 300u);
    x->manycount = -4;
    EXPECT_EQ(get("many").size(), 0u);
}

TEST_F(Attribute, NullArguments)
{
    atom a = A(1);
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
        EXPECT_EQ(vok_object_method(a, S("getmethodtype"), _vok_sym_get), row.get) << row.flags;
        EXPECT_EQ(vok_object_method(a, S("getmethodtype"), _vok_sym_set), row.set) << row.flags;
        EXPECT_EQ(vok_object_method(a, S("getmethodtype"), _vok_sym_clear), argtype_gimme);
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
        EXPECT_EQ(vok_object_method(closed, S(q.question), 0L), q.answer) << q.question;
    EXPECT_EQ(vok_object_method(closed, _vok_sym_getname), reinterpret_cast<zan_word>(S("t")));
    EXPECT_EQ(vok_object_method(closed, _vok_sym_gettype), reinterpret_cast<zan_word>(_vok_sym_long));
    vok_object_free(closed);
}

TEST_F(Attribute, ClippedValues)
{
    const struct {
        atom given;
        long stored;
    } rows[] = {{A(1), 2},    {A(2), 2},     {A(3), 3},      {A(5), 5},   {A(6), 5},
                {A(4.99), 4}, {A(1e300), 5}, {A(-1e300), 2}, {A(NAN), 0}, {A(LONG_MIN), 2}};
    for (const auto &row : rows) {
        std::vector<atom> given = {row.given};
        set("clipped", given);
        EXPECT_EQ(x->clipped, row.stored) << row.stored;
        EXPECT_TRUE(same(given[0], row.given)) << "the caller's atoms stay";
    }
}

TEST_F(Attribute, ClipFilterOrders)
{
    static const char *const names[] = {"scale", "min", "max", "usescale", "usemin", "usemax"};
    const struct {
        const char *type;
        double settings[6]; // by their names, below
        atom in, out;
    } rows[] = {

        {"float64", {1, 5, 2, 0, 1, 1}, A(3.), A(2.)}, // min above max: max it is
        {"float64", {2, 0, 5, 1, 1, 1}, A(3.), A(5.)}, // scaled, then limited
        {"float32", {2, 0, 5, 1, 0, 0}, A(3), A(6.)},
        {"long", {1, 0, 1, 0, 0, 0}, A(-2.9), A(-2)}, // only converted, toward zero
        {"char", {1, 0, 1, 0, 0, 0}, A(300.5), A(300)},
        {"float32", {1, 0, 1, 0, 0, 0}, A(7), A(7.)},
        {"symbol", {1, 0, 1, 0, 1, 1}, A(7), A(7)}, // other types are left alone
        {"long", {1, 0, 1, 0, 0, 0}, A(1e30), A(INT64_MAX)},
    };
    for (const auto &row : rows) {
        void *filter = vok_object_new(S("vok_attr_filter_clip"), 0);
        vok_attr_setsym(filter, _vok_sym_type, S(row.type));
        for (size_t i = 0; i < std::size(names); ++i)
            vok_attr_setfloat(filter, S(names[i]), row.settings[i]);
        atom a = row.in;
        vok_object_method(filter, _vok_sym_filter, _vok_sym_filter, 1L, &a);
        EXPECT_TRUE(same(a, row.out)) << row.type << " " << &row - rows;
        vok_object_free(filter);
    }
    void *fresh = vok_object_new(S("vok_attr_filter_clip"), 0);
    EXPECT_EQ(vok_attr_getsym(fresh, _vok_sym_type), _vok_sym_float64);
    const double defaults[] = {1, 0, 1, 0, 1, 1};
    for (size_t i = 0; i < std::size(names); ++i)
        EXPECT_EQ(vok_attr_getfloat(fresh, S(names[i])), defaults[i]) << names[i];
    vok_object_free(fresh);
}

TEST_F(Attribute, AScaledFilterReadsBackWhatWasWritten)
{
    void *a = vok_attr_offset_new("scaled", _vok_sym_float64, 0, nullptr, nullptr, offsetof(holder, scaled));
    ASSERT_EQ(vok_attr_addfilter_clip_scale(a, 256, 0, 128, 1, 1), 0);
    atom v = A(0.25);
    vok_object_method(a, _vok_sym_set, x, 1L, &v);
    EXPECT_EQ(x->scaled, 64);
    EXPECT_EQ(answer(a, _vok_sym_get, x), "0.250000f");
    v = A(2.);
    vok_object_method(a, S("setvalueof"), x, 1L, &v);
    EXPECT_EQ(x->scaled, 128);
    ASSERT_EQ(vok_attr_addfilter_clip_scale(a, 0, 0, 1, 0, 0), 0);
    EXPECT_EQ(answer(a, _vok_sym_get, x), "inff");
    vok_object_free(a);
}

TEST_F(Attribute, ProcFiltersAndTheMethodsThatWrapThem)
{
    void *a = vok_attr_offset_new("l", _vok_sym_long, 0, nullptr, nullptr, offsetof(holder, l));
    const auto method = [&](symbol *which) {
        return reinterpret_cast<zan_method>(vok_object_method(a, _vok_sym_getmethod, which));
    };
    EXPECT_EQ(method(_vok_sym_get), M(vok_attr_offset_get));
    EXPECT_EQ(method(_vok_sym_set), M(vok_attr_offset_set));
    EXPECT_EQ(method(_vok_sym_clear), nullptr);
    ASSERT_EQ(vok_attr_addfilterset_proc(a, M(double_them)), 0);
    ASSERT_EQ(vok_attr_addfilterget_proc(a, M(double_them)), 0);
    EXPECT_EQ(method(_vok_sym_get), M(vok_attr_filterget_wrap));
    EXPECT_EQ(method(_vok_sym_set), M(vok_attr_filterset_wrap));
    atom v = A(21);
    vok_attr_filterset_wrap(x, a, 1, &v);
    EXPECT_EQ(x->l, 42);
    EXPECT_EQ(v.value.as_long, 21);
    long argc = 1;
    atom *argv = &v;
    vok_attr_filterget_wrap(x, a, &argc, &argv);
    EXPECT_EQ(v.value.as_long, 84);

    void *proc = vok_object_new(S("vok_attr_filter_proc"), 0L);
    EXPECT_EQ(vok_object_method(proc, _vok_sym_filter, _vok_sym_filter, 1L, &v, x, a), VOK_ERR_INVP);
    vok_object_method(proc, S("setproc"), double_them);
    EXPECT_EQ(vok_object_method(proc, S("getproc"), 0L), reinterpret_cast<zan_word>(double_them));
    EXPECT_EQ(vok_object_method(proc, _vok_sym_filter, _vok_sym_filter, 1L, &v, nullptr, a), VOK_ERR_INVP);
    EXPECT_EQ(vok_object_method(proc, _vok_sym_filter, _vok_sym_filter, 1L, &v, x, a), 0);
    EXPECT_EQ(v.value.as_long, 168);
    vok_object_free(proc);
    vok_object_free(a);
}

TEST_F(Attribute, AnythingButAFilterIsRefused)
{
    void *a = attr("clipped");
    const zan_word before = vok_object_method(a, S("get_filterset"), 0L);
    ASSERT_NE(before, 0);
    EXPECT_EQ(vok_object_method(a, S("filterset"), x), VOK_ERR_EROR);
    EXPECT_EQ(vok_object_method(a, S("filterget"), x), VOK_ERR_EROR);
    EXPECT_EQ(vok_object_method(a, S("get_filterset"), 0L), before);

    void *b = vok_attribute_new("b", _vok_sym_long, 0, nullptr, nullptr);
    vok_attr_addfilterset_clip(b, 0, 1, 1, 1);
    EXPECT_EQ(vok_object_method(b, S("filterset"), nullptr), 0);
    EXPECT_EQ(vok_object_method(b, S("get_filterset"), 0L), 0);
    vok_object_free(b);
}

TEST_F(Attribute, AtMost256AtomsReachAFilter)
{
    for (long n : {0L, 1L, 255L, 256L, 257L, 300L}) {
        set("recorded", std::vector<atom>(static_cast<size_t>(n), A(-3)));
        EXPECT_EQ(x->last_count, std::min(n, 256L)) << n;
    }
}

TEST_F(Attribute, AnAttributeMayKeepItsValueItself)
{
    void *a = vok_object_new(S("vok_attribute"), "own", _vok_sym_float32, 0L, nullptr, nullptr);
    ASSERT_TRUE(a);
    atom three[] = {A(1.), A(2.), A(3.)};
    vok_object_method(a, _vok_sym_set, nullptr, 3L, three);
    EXPECT_EQ(vok_object_method(a, _vok_sym_getsize, 0L), 3);
    vok_object_method(a, _vok_sym_set, nullptr, 0L, nullptr);
    EXPECT_EQ(vok_object_method(a, _vok_sym_getsize, 0L), 3) << "nothing given, nothing changed";

    void *b = object_clone(a);
    ASSERT_TRUE(b);
    EXPECT_NE(static_cast<vok_attribute *>(a)->data, static_cast<vok_attribute *>(b)->data);
    vok_object_free(a);
    EXPECT_EQ(answer(b, _vok_sym_get, nullptr), "1.000000f 2.000000f 3.000000f");
    vok_object_free(b);
}

TEST_F(Attribute, AnUnknownTypeIsPostedAndHoldsNothing)
{
    report_catcher ear;
    void *a = vok_attribute_new("odd", S("float128"), 0, nullptr, nullptr);
    atom v = A(1);
    vok_object_method(a, _vok_sym_set, nullptr, 1L, &v);
    EXPECT_EQ(answer(a, _vok_sym_get, nullptr), "");
    EXPECT_EQ(ear.take(zan_report_post).size(), 2u);
    vok_object_free(a);
}

TEST_F(Attribute, ClonesHaveFiltersOfTheirOwn)
{
    void *a = attr("clipped");
    void *b = object_clone(a);
    EXPECT_NE(vok_object_method(a, S("get_filterset"), 0L), vok_object_method(b, S("get_filterset"), 0L));
    atom v = A(50);
    vok_object_method(b, _vok_sym_set, x, 1L, &v);
    EXPECT_EQ(x->clipped, 5);
    vok_object_free(b);
    v = A(-50);
    vok_object_method(a, _vok_sym_set, x, 1L, &v);
    EXPECT_EQ(x->clipped, 2);

    void *array = object_clone(attr("many"));
    EXPECT_EQ(vok_object_method(array, _vok_sym_getsize, 0L), 300);
    EXPECT_EQ(vok_object_method(array, _vok_sym_getoffset, 0L), long{offsetof(holder, many)});
    EXPECT_EQ(vok_object_method(array, _vok_sym_getoffsetcount, 0L), long{offsetof(holder, manycount)});
    vok_object_method(array, S("size"), 2L);
    EXPECT_EQ(vok_object_method(array, _vok_sym_getsize, 0L), 2);
    vok_object_free(array);
}

TEST_F(Attribute, MethodsCanBeReplaced)
{
    void *a = vok_attr_offset_new("l", _vok_sym_long, 0, nullptr, nullptr, offsetof(holder, l));
    vok_object_method(a, S("setmethod"), _vok_sym_set, record_set);
    vok_object_method(a, S("setmethod"), _vok_sym_get, nullptr); // ignored
    atom two[] = {A(1), A(2)};
    vok_object_method(a, _vok_sym_set, x, 2L, two);
    EXPECT_EQ(x->last_count, 2);
    EXPECT_EQ(static_cast<vok_attr_offset *>(a)->get, M(vok_attr_offset_get));
    vok_object_method(a, S("offset"), long{offsetof(holder, clipped)});
    x->clipped = 4;
    EXPECT_EQ(answer(a, S("getvalueof"), x), "4");
    vok_object_free(a);
}

TEST_F(Attribute, FormatsCountTheValues)
{
    set("many", std::vector<atom>(12, A(1)));
    const struct {
        const char *name;
        long count;
    } rows[] = {{"l", 1}, {"words", 3}, {"fixed", 4}, {"many", 9}, {"many", 2}};
    for (const auto &row : rows) {
        if (row.count == 2)
            set("many", {A(1), A(2)}); // room for 300, and two in use
        long argc = 0;
        atom *argv = nullptr;
        vok_object_method(attr(row.name), S("getformat"), x, &argc, &argv);
        ASSERT_EQ(argc, row.count) << row.name;
        for (long i = 0; i < argc; ++i) {
            EXPECT_EQ(argv[i].type, 12);
            EXPECT_EQ(argv[i].value.as_long, i + 1);
        }
        sysmem_freeptr(argv);
    }
}

TEST_F(Attribute, TextsAreShortened)
{
    set("many", {A(1), A(2), A(3)});
    set("words", {A("one"), A("t\xc3\xa4n"), A("tenthousand")});
    set("s", {A("grammar")});
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
        EXPECT_EQ(
            vok_object_method(attr(row.name), S("gettext"), x, &size, &text, row.maxelements, row.maxchars, 0L),
            0);
        ASSERT_TRUE(text) << row.name;
        EXPECT_STREQ(text, row.text);
        EXPECT_EQ(size, static_cast<long>(std::strlen(row.text)) + 1);
        sysmem_freeptr(text);
    }
    char own[6];
    long size = sizeof own;
    char *text = own;
    vok_object_method(attr("many"), S("gettext"), x, &size, &text, 2L, 0L, 0L);
    EXPECT_STREQ(own, "1 2 .") << "cut to the caller's buffer";
    EXPECT_EQ(vok_object_method(attr("many"), S("gettext"), nullptr, &size, &text, 0L, 0L, 0L), VOK_ERR_EROR);
    EXPECT_EQ(vok_object_method(attr("o"), S("gettext"), x, &size, &text, 0L, 0L, 0L), VOK_ERR_EROR);
}

TEST_F(Attribute, TablesDescribe)
{
    void *matrix = vok_object_new(_vok_sym_vok_matrix, 0);
    const struct {
        const char *what, *words;
    } rows[] = {{"label", "Type"}, {"style", "enum"}, {"enumvals", "char long float32 float64"}};
    for (const auto &row : rows) {
        void *described = object_attr_get(vok_object_attr_get(matrix, _vok_sym_type), S(row.what));
        ASSERT_TRUE(described) << row.what;
        EXPECT_EQ(answer(described, _vok_sym_get, nullptr), row.words);
    }
    vok_object_free(matrix);
    for (const char *name : {"secret", "l"}) {
        EXPECT_EQ(vok_object_attr_usercanset(x, S(name)) != 0, *name == 'l');
        EXPECT_EQ(vok_object_attr_usercanget(x, S(name)) != 0, *name == 'l');
    }
}

} // namespace
