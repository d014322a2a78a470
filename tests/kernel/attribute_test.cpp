// The attribute classes: every type got and set, the contract of result arrays, filters,
// tags, text, and clones. Then attributes by name: the typed calls, the road by messages for
// objects from before attributes, the limit of 256 values, and what a wrapper is told.
#include "quick_class.h"
#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>

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
    double scaled;
};

long filtered; // values that reached the filter below

vok_err double_them(void *, void *, long argc, atom *argv)
{
    filtered = argc;
    for (long i = 0; i < argc; ++i)
        atom_setlong(argv + i, 2 * atom_getlong(argv + i));
    return VOK_ERR_NONE;
}

const quick_class &holders()
{
    static const quick_class k =
        quick_class("vok_holder", sizeof(holder))
            .value("c", "char", offsetof(holder, c))
            .value("l", "long", offsetof(holder, l))
            .value("f", "float32", offsetof(holder, f))
            .value("d", "float64", offsetof(holder, d))
            .value("s", "symbol", offsetof(holder, s))
            .value("o", "object", offsetof(holder, o))
            .value("p", "pointer", offsetof(holder, p))
            .value("a", "atom", offsetof(holder, a))
            .array("many", "long", offsetof(holder, many), 300, offsetof(holder, manycount))
            .array("fixed", "float64", offsetof(holder, fixed), 4, 0)
            .array("words", "symbol", offsetof(holder, words), 3, 0);
    return k;
}

class Attribute : public testing::Test {
  protected:
    ~Attribute() override { vok_object_free(x); }
    void set(const char *name, std::vector<atom> value)
    {
        send(x, name, static_cast<long>(value.size()), value.data());
    }
    // Sends an attribute values for this object.
    void set(void *attr, const char *message, std::vector<atom> value)
    {
        send(attr, message, x, static_cast<long>(value.size()), value.data());
    }
    static void *attr(const char *name) { return vok_class_attr_get(holders().c, S(name)); }
    holder *x = holders().make<holder>();
};

bool same(const atom &a, const atom &b)
{
    return a.type == b.type && a.value.as_long == b.value.as_long;
}

TEST_F(Attribute, EveryTypeConvertsAndWhatFitsIsTaken)
{
    const struct {
        const char *name;
        std::vector<atom> given;
        const char *stored;
    } rows[] = {
        {"c", {A(300), A(99)}, "44"},
        {"c", {A(-1)}, "255"},
        {"l", {A(1L << 40)}, "1099511627776"},
        {"l", {A("x")}, "0"},
        {"f", {A(16777217)}, "16777216.000000f"},
        {"d", {A(16777217)}, "16777217.000000f"},
        {"s", {A("word")}, "word"},
        {"s", {A(1)}, ""},
        {"a", {A("any")}, "any"},
        {"fixed", {A(1), A(2), A(3), A(4), A(5)}, "1.000000f 2.000000f 3.000000f 4.000000f"},
        {"fixed", {A(9)}, "9.000000f 0.000000f 0.000000f 0.000000f"},
        {"many", {A(1), A(2), A(3)}, "1 2 3"},
        {"many", {A(8)}, "8"},
    };
    for (const auto &row : rows) {
        set(row.name, row.given);
        EXPECT_EQ(answer(x, (std::string("get") + row.name).c_str()), row.stored) << row.name;
    }
    EXPECT_TRUE(x->words[0] == nullptr && x->many[1] == 2) << "what lies behind is left alone";
    set("many", std::vector<atom>(400, A(5)));
    EXPECT_EQ(x->manycount, 300);
    const size_t whole = answer(x, "getmany").size();
    x->manycount = 1000; // a count beyond the room is no reason to read on
    EXPECT_EQ(answer(x, "getmany").size(), whole);
    x->manycount = -4;
    EXPECT_EQ(answer(x, "getmany"), "");
    for (void *given : {static_cast<void *>(this), static_cast<void *>(nullptr)}) {
        set("o", {given ? A(given) : A(5)});
        EXPECT_EQ(x->o, given);
        EXPECT_EQ(answer(x, "geto"), "object");
    }
}

TEST_F(Attribute, GettersFillTheCallersArray)
{
    set("fixed", {A(1), A(2), A(3), A(4)});
    for (long room = 1; room <= 6; ++room) {
        std::vector<atom> own(8, A(-7));
        long argc = room;
        atom *argv = own.data();
        send(x, "getfixed", &argc, &argv);
        EXPECT_EQ(argv, own.data());
        ASSERT_EQ(argc, std::min(room, 4L));
        for (long i = 0; i < 8; ++i)
            EXPECT_TRUE(same(own[size_t(i)], i < argc ? A(double(i + 1)) : A(-7))) << room << " " << i;
    }
}

TEST_F(Attribute, NullArguments)
{
    atom a = A(1);
    long argc = 0;
    atom *argv = nullptr;
    for (const vok_err err :
         {vok_attr_offset_set(x, nullptr, 1, &a), vok_attr_offset_set(x, attr("l"), 0, &a),
          vok_attr_offset_array_set(x, nullptr, 1, &a), vok_attr_filterget_wrap(x, nullptr, &argc, &argv),
          vok_attr_filterset_wrap(x, nullptr, 1, &a)})
        EXPECT_EQ(err, VOK_ERR_INVP);
    for (const vok_err err :
         {vok_attr_addfilterget_clip(nullptr, 0, 1, 1, 1), vok_attr_addfilter_clip_scale(nullptr, 1, 0, 1, 1, 1),
          vok_attr_addfilterset_proc(nullptr, nullptr)})
        EXPECT_EQ(err, VOK_ERR_EROR);
}

TEST_F(Attribute, WhatFlagsSay)
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
        EXPECT_EQ(send(a, "getmethodtype", _vok_sym_get), row.get) << row.flags;
        EXPECT_EQ(send(a, "getmethodtype", _vok_sym_set), row.set) << row.flags;
        vok_object_free(a);
    }
    void *closed = vok_attribute_new("t", _vok_sym_long, vok_attrflag_get_opaque | vok_attrflag_set_opaque_user,
                                     nullptr, nullptr);
    for (const auto &[question, yes] :
         {std::pair("canget", 0), {"canset", 1}, {"usercanget", 1}, {"usercanset", 0}})
        EXPECT_EQ(send(closed, question), yes) << question;
    EXPECT_EQ(send(closed, "getmethodtype", _vok_sym_clear), argtype_gimme);
    vok_object_addattr(x, closed);
    EXPECT_TRUE(vok_object_attr_usercanget(x, S("t")) && !vok_object_attr_usercanset(x, S("t")));
}

TEST_F(Attribute, ClipFilters)
{
    static const char *const names[] = {"scale", "min", "max", "usescale", "usemin", "usemax"};
    const struct {
        const char *type;
        std::vector<double> settings; // by these names
        atom in, out;
    } rows[] = {
        {"float64", {}, A(3.), A(1.)},                 // as made: between 0 and 1
        {"float64", {1, 5, 2, 0, 1, 1}, A(3.), A(2.)}, // min above max: max it is
        {"float64", {2, 0, 5, 1, 1, 1}, A(3.), A(5.)}, // scaled, then limited
        {"float32", {2, 0, 5, 1, 0, 0}, A(3), A(6.)},
        {"long", {1, 0, 1, 0, 0, 0}, A(-2.9), A(-2)}, // only converted, toward zero
        {"char", {1, 0, 1, 0, 0, 0}, A(300.5), A(300)},
        {"symbol", {1, 0, 1, 0, 1, 1}, A(7), A(7)}, // other types are left alone
        {"long", {1, 2, 5, 0, 1, 1}, A(-1e300), A(2)},
        {"long", {1, 2, 5, 0, 1, 1}, A(NAN), A(0)},
        {"long", {1, 0, 1, 0, 0, 0}, A(1e30), A(INT64_MAX)},
        {"long", {1, 0, 1, 0, 0, 0}, A(-1e30), A(INT64_MIN)},
    };
    for (const auto &row : rows) {
        void *filter = vok_object_new(S("vok_attr_filter_clip"), 0);
        vok_attr_setsym(filter, _vok_sym_type, S(row.type));
        for (size_t i = 0; i < row.settings.size(); ++i)
            vok_attr_setfloat(filter, S(names[i]), row.settings[i]);
        atom a = row.in;
        send(filter, "filter", _vok_sym_filter, 1L, &a);
        EXPECT_TRUE(same(a, row.out)) << row.type << " " << &row - rows;
        vok_object_free(filter);
    }
}

TEST_F(Attribute, AScaledFilterReadsBackWhatWasWritten)
{
    void *a = vok_attr_offset_new("scaled", _vok_sym_float64, 0, nullptr, nullptr, offsetof(holder, scaled));
    ASSERT_EQ(vok_attr_addfilter_clip_scale(a, 256, 0, 128, 1, 1), 0);
    set(a, "set", {A(0.25)});
    EXPECT_EQ(x->scaled, 64);
    EXPECT_EQ(answer(a, "get", x), "0.250000f");
    set(a, "setvalueof", {A(2.)});
    EXPECT_EQ(x->scaled, 128);
    ASSERT_EQ(vok_attr_addfilter_clip_scale(a, 0, 0, 1, 0, 0), 0);
    EXPECT_EQ(answer(a, "get", x), "inff");
    vok_object_free(a);
}

TEST_F(Attribute, ProcFiltersAndTheMethodsThatWrapThem)
{
    void *a = vok_attr_offset_new("l", _vok_sym_long, 0, nullptr, nullptr, offsetof(holder, l));
    EXPECT_EQ(send(a, "getmethod", _vok_sym_get), W(vok_attr_offset_get));
    EXPECT_EQ(send(a, "getmethod", _vok_sym_set), W(vok_attr_offset_set));
    EXPECT_EQ(send(a, "getmethod", _vok_sym_clear), 0);
    ASSERT_EQ(vok_attr_addfilterset_proc(a, M(double_them)), 0);
    ASSERT_EQ(vok_attr_addfilterget_proc(a, M(double_them)), 0);
    EXPECT_EQ(send(a, "getmethod", _vok_sym_get), W(vok_attr_filterget_wrap));
    EXPECT_EQ(send(a, "getmethod", _vok_sym_set), W(vok_attr_filterset_wrap));
    atom v = A(21);
    vok_attr_filterset_wrap(x, a, 1, &v);
    EXPECT_EQ(x->l, 42);
    EXPECT_EQ(v.value.as_long, 21) << "the caller's atoms stay";
    long argc = 1;
    atom *argv = &v;
    vok_attr_filterget_wrap(x, a, &argc, &argv);
    EXPECT_EQ(v.value.as_long, 84);
    for (long n : {0L, 1L, 255L, 256L, 257L, 300L}) {
        set(a, "set", std::vector<atom>(static_cast<size_t>(n)));
        EXPECT_EQ(filtered, std::min(n, 256L)) << "at most that many";
    }

    void *proc = vok_object_new(S("vok_attr_filter_proc"), 0L);
    EXPECT_EQ(send(proc, "filter", _vok_sym_filter, 1L, &v, x, a), VOK_ERR_INVP) << "nothing to call";
    send(proc, "setproc", double_them);
    EXPECT_EQ(send(proc, "getproc"), W(double_them));
    vok_object_free(proc);
    vok_object_free(a);
}

TEST_F(Attribute, AnAttributeMayKeepItsValueItself)
{
    void *a = vok_object_new(S("vok_attribute"), "own", _vok_sym_float32, 0L, nullptr, nullptr);
    set(a, "set", {A(1.), A(2.), A(3.)});
    set(a, "set", {});
    EXPECT_EQ(send(a, "getsize"), 3) << "nothing given, nothing changed";
    void *b = object_clone(a);
    vok_object_free(a);
    EXPECT_EQ(answer(b, "get", 0L), "1.000000f 2.000000f 3.000000f");
    vok_object_free(b);
}

TEST_F(Attribute, AnUnknownTypeIsPostedAndHoldsNothing)
{
    report_catcher ear;
    void *a = vok_attribute_new("odd", S("float128"), 0, nullptr, nullptr);
    set(a, "set", {A(1)});
    EXPECT_EQ(answer(a, "get", 0L), "");
    EXPECT_EQ(vok_attribute_sizeof(S("float128")), 0);
    EXPECT_EQ(ear.take(zan_report_post), std::vector<std::string>(3, "vok.attribute: unknown type"));
    EXPECT_EQ(vok_attribute_sizeof(_vok_sym_atom), 16);
    vok_object_free(a);
}

TEST_F(Attribute, ClonesHaveFiltersOfTheirOwn)
{
    void *a = object_clone(attr("l"));
    vok_attr_addfilter_clip(a, 2, 5, 1, 1);
    void *b = object_clone(a);
    const zan_word filter = send(b, "get_filterset");
    EXPECT_NE(filter, send(a, "get_filterset"));
    set(b, "set", {A(50)});
    EXPECT_EQ(x->l, 5);
    EXPECT_EQ(send(b, "filterset", x), VOK_ERR_EROR) << "that is no filter";
    EXPECT_EQ(send(b, "filterget", x), VOK_ERR_EROR);
    EXPECT_EQ(send(b, "get_filterset"), filter);
    EXPECT_EQ(send(b, "filterset", 0L), 0);
    EXPECT_EQ(send(b, "get_filterset"), 0);
    send(b, "offset", long{offsetof(holder, manycount)});
    send(b, "setmethod", _vok_sym_set, 0L); // ignored
    set(b, "set", {A(50)});
    EXPECT_EQ(x->manycount, 50);
    vok_object_free(b);
    set(a, "set", {A(-50)});
    EXPECT_EQ(x->l, 2);
    vok_object_free(a);

    void *array = object_clone(attr("many"));
    EXPECT_EQ(send(array, "getsize"), 300);
    EXPECT_EQ(send(array, "getoffset"), long{offsetof(holder, many)});
    EXPECT_EQ(send(array, "getoffsetcount"), long{offsetof(holder, manycount)});
    send(array, "size", 2L);
    EXPECT_EQ(send(array, "getsize"), 2);
    vok_object_free(array);
}

TEST_F(Attribute, FormatsCountTheValues)
{
    const struct {
        const char *name;
        size_t used; // of many
        long count;
    } rows[] = {{"l", 12, 1}, {"words", 12, 3}, {"fixed", 12, 4}, {"many", 12, 9}, {"many", 2, 2}};
    for (const auto &row : rows) {
        set("many", std::vector<atom>(row.used, A(1)));
        long argc = 0;
        atom *argv = nullptr;
        send(attr(row.name), "getformat", x, &argc, &argv);
        ASSERT_EQ(argc, row.count) << row.name;
        for (long i = 0; i < argc; ++i)
            EXPECT_TRUE(argv[i].type == 12 && argv[i].value.as_long == i + 1);
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
        {"many", 2, 0, "1 2 ..."},
        {"many", 0, 3, "1 2 ..."},
        {"words", 2, 0, "one t\xc3\xa4n tenthousand"}, // symbols show whole
        {"words", 0, 6, "one t\xc3\xa4 ..."},
        {"s", 1, 4, "gram ..."},
    };
    for (const auto &row : rows) {
        long size = 0;
        char *text = nullptr;
        EXPECT_EQ(send(attr(row.name), "gettext", x, &size, &text, row.maxelements, row.maxchars, 0L), 0);
        ASSERT_TRUE(text) << row.name;
        EXPECT_STREQ(text, row.text);
        EXPECT_EQ(size, static_cast<long>(std::strlen(row.text)) + 1);
        sysmem_freeptr(text);
    }
    char own[6];
    long size = sizeof own;
    char *text = own;
    send(attr("many"), "gettext", x, &size, &text, 2L, 0L, 0L);
    EXPECT_STREQ(own, "1 2 .") << "cut to the caller's buffer";
    EXPECT_EQ(send(attr("many"), "gettext", 0L, &size, &text, 0L, 0L, 0L), VOK_ERR_EROR);
    EXPECT_EQ(send(attr("o"), "gettext", x, &size, &text, 0L, 0L, 0L), VOK_ERR_EROR);
}

TEST_F(Attribute, TablesDescribe)
{
    void *matrix = vok_object_new(_vok_sym_vok_matrix, 0);
    for (const auto &[what, words] :
         {std::pair("label", "Type"), {"style", "enum"}, {"enumvals", "char long float32 float64"}})
        EXPECT_EQ(answer(object_attr_get(vok_object_attr_get(matrix, _vok_sym_type), S(what)), "get", 0L), words);
    vok_object_free(matrix);
}

// The same values, with a pair of messages each and no attribute.
std::vector<atom> ancient_value;

void *new_ancient()
{
    const auto set = [](void *, long argc, atom *argv) -> vok_err {
        ancient_value.assign(argv, argv + argc);
        return VOK_ERR_NONE;
    };
    const auto get = [](void *, long *argc, atom **argv) -> vok_err {
        *argc = static_cast<long>(ancient_value.size());
        *argv = static_cast<atom *>(sysmem_newptr(std::max(*argc, 1L) * long{sizeof(atom)}));
        std::copy(ancient_value.begin(), ancient_value.end(), *argv);
        return VOK_ERR_NONE;
    };
    const auto fail = [](void *, long *, atom **) -> vok_err { return VOK_ERR_DUVL; };
    static const quick_class k = quick_class("vok_ancient", sizeof(object))
                                     .message("d", set)
                                     .message("getd", get)
                                     .message("s", set)
                                     .message("gets", get)
                                     .message("many", set)
                                     .message("getmany", get)
                                     .message("getbroken", fail);
    return k.make<void>();
}

template <typename T> void round_trip(void *x, auto set, auto get)
{
    for (long n : {1L, 256L})
        for (long max : {0L, 1L, n - 1, n, n + 3}) {
            std::vector<T> given(static_cast<size_t>(n)), got(given.size() + 3, T(77)), expected = got;
            std::iota(given.begin(), given.end(), T(1));
            std::copy_n(given.begin(), std::min(max, n), expected.begin());
            EXPECT_EQ(set(x, S("many"), n, given.data()), 0);
            EXPECT_EQ(get(x, S("many"), max, got.data()), std::min(max, n));
            EXPECT_EQ(got, expected) << n << " " << max;
        }
}

TEST(Access, GoesByAttributesAndElseByMessages)
{
    for (void *x : {holders().make<void>(), new_ancient()}) {
        EXPECT_EQ(vok_attr_setlong(x, S("d"), -12), 0);
        EXPECT_EQ(vok_attr_getfloat(x, S("d")), -12.0);
        EXPECT_EQ(vok_attr_setfloat(x, S("d"), 2.75), 0);
        EXPECT_EQ(vok_attr_getfloat(x, S("d")), 2.75);
        EXPECT_EQ(vok_attr_getlong(x, S("d")), 2);
        EXPECT_EQ(vok_attr_setsym(x, S("s"), S("word")), 0);
        EXPECT_EQ(vok_attr_getsym(x, S("s")), S("word"));
        round_trip<zan_word>(x, vok_attr_setlong_array, vok_attr_getlong_array);
        round_trip<unsigned char>(x, vok_attr_setchar_array, vok_attr_getchar_array);
        round_trip<float>(x, vok_attr_setfloat_array, vok_attr_getfloat_array);
        round_trip<double>(x, vok_attr_setdouble_array, vok_attr_getdouble_array);

        symbol *none = S("no_such_attribute");
        for (auto [object, name] : {std::pair(x, none), {nullptr, none}, {x, nullptr}}) {
            EXPECT_EQ(vok_attr_getlong(object, name), 0);
            EXPECT_EQ(vok_attr_getsym(object, name), _vok_sym_nothing);
        }
        EXPECT_EQ(vok_attr_setlong(x, none, 5), 0) << "what the dispatch gives for a message that nobody has";
        EXPECT_EQ(vok_attr_setlong(nullptr, none, 5), VOK_ERR_EROR);
        EXPECT_EQ(vok_attr_setfloat(x, nullptr, 5), VOK_ERR_EROR);
        double d = 0;
        EXPECT_EQ(vok_attr_getdouble_array(x, none, 1, &d), 0);
        EXPECT_EQ(vok_attr_setdouble_array_old(x, none, 1, nullptr), VOK_ERR_EROR);
        vok_object_free(x);
    }
}

TEST(Access, ByMessageAtMost256ValuesAndWhatFailedIsNothing)
{
    void *x = new_ancient();
    EXPECT_EQ(vok_attr_getlong_old(x, S("broken")), 0);
    EXPECT_EQ(vok_attr_getsym_old(x, S("broken")), _vok_sym_nothing);
    symbol *const words[] = {S("a"), S("b")};
    symbol *got[2] = {};
    EXPECT_EQ(vok_attr_setsym_array(x, S("many"), 2, words), 0);
    EXPECT_EQ(vok_attr_getsym_array(x, S("many"), 2, got), 2);
    EXPECT_EQ(got[1], words[1]);
    const double far[257] = {};
    EXPECT_NE(vok_attr_setdouble_array_old(x, S("many"), 257, far), 0);
    EXPECT_EQ(ancient_value.size(), 2u);
    vok_object_free(x);
}

TEST(Access, AWrapperIsTold)
{
    std::vector<std::string> heard;
    void *x = holders().make<void>(), *wrapper = holders().make<void>();
    diary *client = new_diary(heard);
    symbol *name = vok_symbol_unique();
    vok_object_register(wrapper, name);
    vok_object_attach(name, client);
    EXPECT_EQ(vok_object_gettopmost(x), x);
    EXPECT_EQ(vok_attr_user_touch(x, S("d")), 0);
    vok_attr_setlong(x, S("d"), 1);

    object_obex_storeflags(x, S("zanwrapper"), wrapper, 1);
    EXPECT_EQ(vok_object_gettopmost(x), wrapper);
    const double two[] = {1, 2};
    vok_attr_setdouble_array(x, S("many"), 2, two);
    vok_attr_setlong(x, S("d"), 2);
    vok_attr_setlong_old(x, S("d"), 3);
    EXPECT_EQ(heard, (std::vector<std::string>{"attr_modified many", "attr_modified d"})) << "twins don't touch";

    const auto touched = [&](const char *attribute) {
        const auto *attr = static_cast<vok_attribute *>(object_attr_get(wrapper, S(attribute)));
        return (attr->flags & vok_attrflag_dirty) != 0;
    };
    vok_attr_clean(wrapper, S("d"));
    EXPECT_TRUE(!touched("d") && touched("many"));
    vok_attr_cleanall(wrapper);
    EXPECT_FALSE(touched("many"));

    atom a;
    vok_atom_setfloat(&a, 8.5);
    EXPECT_EQ(vok_atom_getobj(&a), nullptr);
    vok_attr_user_setvalueof(x, S("d"), 1, &a);
    EXPECT_EQ(vok_attr_getfloat(wrapper, S("d")), 8.5);
    heard.clear();
    EXPECT_EQ(vok_object_addattr(x, vok_attribute_new("extra", _vok_sym_long, 0, nullptr, nullptr)), 0);
    EXPECT_EQ(vok_attr_setlong(x, S("extra"), 6), 0);
    EXPECT_EQ(vok_attr_getlong(x, S("extra")), 6);
    EXPECT_EQ(vok_object_deleteattr(x, S("extra")), 0);
    EXPECT_EQ(heard, (std::vector<std::string>{"attr_added extra", "attr_deleted extra"}));
    EXPECT_EQ(object_attr_get(x, S("extra")), nullptr);
    for (void *each : {x, static_cast<void *>(client), wrapper})
        vok_object_free(each);
}

} // namespace
