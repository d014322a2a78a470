// Attributes by name: the typed calls, the road by messages for objects from before
// attributes, the limit of 256 values, and what a wrapper is told.
#include "quick_class.h"
#include <algorithm>
#include <cstddef>
#include <numeric>

namespace {

constexpr long room = 300;

struct modern {
    object header;
    double v;
    symbol *s;
    double many[room];
    long count;
};

// The same values, with a pair of messages each and no attribute.
struct ancient {
    object header;
    std::vector<atom> *value;
    long calls;
};

vok_err ancient_get(ancient *x, long *argc, atom **argv)
{
    *argc = static_cast<long>(x->value->size());
    *argv = static_cast<atom *>(sysmem_newptr(std::max(*argc, 1L) * long{sizeof(atom)}));
    std::copy(x->value->begin(), x->value->end(), *argv);
    return VOK_ERR_NONE;
}
vok_err ancient_set(ancient *x, long argc, atom *argv)
{
    ++x->calls;
    x->value->assign(argv, argv + argc);
    return VOK_ERR_NONE;
}
vok_err ancient_fail(ancient *, long *argc, atom **argv)
{
    *argc = 0;
    *argv = nullptr;
    return VOK_ERR_DUVL;
}
void ancient_free(ancient *x)
{
    delete x->value;
}

zan_class *make_modern_class(const char *name)
{
    quick_class k(name, sizeof(modern));
    k.value("v", "float64", offsetof(modern, v));
    k.value("s", "symbol", offsetof(modern, s));
    k.array("many", "float64", offsetof(modern, many), room, offsetof(modern, count));
    return k.c;
}

zan_class *make_ancient_class()
{
    quick_class k("vok_ancient", sizeof(ancient), erase(ancient_free));
    for (const char *name : {"v", "s", "many"}) {
        k.message(name, ancient_set);
        k.message((std::string("get") + name).c_str(), ancient_get);
    }
    k.message("getbroken", ancient_fail);
    return k.c;
}

struct client {
    object header;
    symbol *message;
    void *data;
    long times;
};
zan_word hear(client *x, symbol *, symbol *message, void *, void *data)
{
    x->message = message;
    x->data = data;
    ++x->times;
    return 0;
}

void *new_modern(const char *name)
{
    static zan_class *const object_class_ = make_modern_class("vok_modern");
    static zan_class *const wrapper_class = make_modern_class("vok.wrapped");
    return vok_object_alloc(std::string(name) == "vok_modern" ? object_class_ : wrapper_class);
}
ancient *new_ancient()
{
    static zan_class *const c = make_ancient_class();
    auto *x = static_cast<ancient *>(vok_object_alloc(c));
    x->value = new std::vector<atom>;
    return x;
}

class Access : public testing::TestWithParam<const char *> {
  protected:
    void SetUp() override { initialize(); }
    static void *make()
    {
        if (std::string(GetParam()) == "vok_ancient")
            return new_ancient();
        return new_modern("vok_modern");
    }
};

template <typename T> std::vector<T> ramp(long n)
{
    std::vector<T> v(static_cast<size_t>(n));
    std::iota(v.begin(), v.end(), T(1));
    return v;
}

TEST_P(Access, SingleValues)
{
    void *x = make();
    symbol *v = S("v");
    EXPECT_EQ(vok_attr_setlong(x, v, -12), 0);
    EXPECT_EQ(vok_attr_getlong(x, v), -12);
    EXPECT_EQ(vok_attr_getfloat(x, v), -12.0);
    EXPECT_EQ(vok_attr_setfloat(x, v, 2.75), 0);
    EXPECT_EQ(vok_attr_getfloat(x, v), 2.75);
    EXPECT_EQ(vok_attr_getlong(x, v), 2);
    EXPECT_EQ(vok_attr_setsym(x, S("s"), S("word")), 0);
    EXPECT_EQ(vok_attr_getsym(x, S("s")), S("word"));
    vok_object_free(x);
}

template <typename T, typename Set, typename Get> void round_trip(void *x, Set set, Get get)
{
    symbol *many = S("many");
    for (long n : {1L, 2L, 100L, 256L}) {
        const std::vector<T> given = ramp<T>(n);
        ASSERT_EQ(set(x, many, n, given.data()), 0) << n;
        for (long max : {0L, 1L, n - 1, n, n + 3}) {
            std::vector<T> got(static_cast<size_t>(n + 3), T(77));
            ASSERT_EQ(get(x, many, max, got.data()), std::min(max, n)) << n << " " << max;
            for (long i = 0; i < n + 3; ++i)
                EXPECT_EQ(got[static_cast<size_t>(i)],
                          i < std::min(max, n) ? given[static_cast<size_t>(i)] : T(77));
        }
    }
}

TEST_P(Access, Arrays)
{
    void *x = make();
    round_trip<zan_word>(x, vok_attr_setlong_array, vok_attr_getlong_array);
    round_trip<unsigned char>(x, vok_attr_setchar_array, vok_attr_getchar_array);
    round_trip<float>(x, vok_attr_setfloat_array, vok_attr_getfloat_array);
    round_trip<double>(x, vok_attr_setdouble_array, vok_attr_getdouble_array);
    vok_object_free(x);
}

TEST_P(Access, NothingToAsk)
{
    void *x = make();
    symbol *none = S("no_such_attribute");
    EXPECT_EQ(vok_attr_getlong(x, none), 0);
    EXPECT_EQ(vok_attr_getsym(x, none), _vok_sym_nothing);
    EXPECT_EQ(vok_attr_setlong(x, none, 5), 0) << "what the dispatch gives for a message that nobody has";
    EXPECT_EQ(vok_attr_getlong(nullptr, none), 0);
    EXPECT_EQ(vok_attr_getsym(nullptr, none), _vok_sym_nothing);
    EXPECT_EQ(vok_attr_getsym(x, nullptr), _vok_sym_nothing);
    EXPECT_EQ(vok_attr_setlong(nullptr, none, 5), VOK_ERR_EROR);
    EXPECT_EQ(vok_attr_setfloat(x, nullptr, 5), VOK_ERR_EROR);
    double d = 0;
    EXPECT_EQ(vok_attr_getdouble_array(x, none, 1, &d), 0);
    EXPECT_EQ(vok_attr_setdouble_array_old(x, none, 1, nullptr), VOK_ERR_EROR);
    vok_object_free(x);
}

INSTANTIATE_TEST_SUITE_P(BothRoads, Access, testing::Values("vok_modern", "vok_ancient"));

class AccessOld : public testing::Test {
  protected:
    void SetUp() override { initialize(); }
};

TEST_F(AccessOld, TheTwinsGoByMessageAtOnce)
{
    ancient *x = new_ancient();
    EXPECT_EQ(vok_attr_setlong_old(x, S("v"), 4), 0);
    EXPECT_EQ(vok_attr_getfloat_old(x, S("v")), 4.0);
    EXPECT_EQ(vok_attr_getlong_old(x, S("broken")), 0);
    EXPECT_EQ(vok_attr_getsym_old(x, S("broken")), _vok_sym_nothing);
    symbol *const words[] = {S("a"), S("b")};
    symbol *got[2] = {};
    EXPECT_EQ(vok_attr_setsym_array(x, S("many"), 2, words), 0);
    EXPECT_EQ(vok_attr_getsym_array(x, S("many"), 2, got), 2);
    EXPECT_EQ(got[1], words[1]);
    const std::vector<double> far(257, 1.0);
    x->calls = 0;
    EXPECT_NE(vok_attr_setdouble_array_old(x, S("many"), 257, far.data()), 0) << "more than there is room for";
    EXPECT_EQ(x->calls, 0);
    vok_object_free(x);
}

TEST_F(AccessOld, AWrapperIsTold)
{
    void *x = new_modern("vok_modern");
    void *wrapper = new_modern("vok.wrapped");
    static zan_class *const hearers = quick_class("vok_hearer", sizeof(client)).message("notify", hear).c;
    auto *ear = static_cast<client *>(vok_object_alloc(hearers));
    symbol *name = vok_symbol_unique();
    vok_object_register(wrapper, name);
    vok_object_attach(name, ear);

    EXPECT_EQ(vok_object_gettopmost(x), x);
    EXPECT_EQ(vok_attr_user_touch(x, S("v")), 0);
    vok_attr_setlong(x, S("v"), 1);
    EXPECT_EQ(ear->times, 0);

    object_obex_storeflags(x, S("zanwrapper"), wrapper, 1);
    EXPECT_EQ(vok_object_gettopmost(x), wrapper);
    vok_attr_setlong(x, S("v"), 2);
    EXPECT_EQ(ear->times, 1);
    EXPECT_EQ(ear->message, S("attr_modified"));
    const double two[] = {1, 2};
    vok_attr_setdouble_array(x, S("many"), 2, two);
    vok_attr_setlong_old(x, S("v"), 3);
    EXPECT_EQ(ear->times, 2) << "the twins don't touch";

    auto *touched = static_cast<vok_attribute *>(object_attr_get(wrapper, S("v")));
    EXPECT_TRUE(touched->flags & vok_attrflag_dirty);
    vok_attr_clean(wrapper, S("v"));
    EXPECT_FALSE(touched->flags & vok_attrflag_dirty);
    auto *many = static_cast<vok_attribute *>(object_attr_get(wrapper, S("many")));
    EXPECT_TRUE(many->flags & vok_attrflag_dirty);
    vok_attr_cleanall(wrapper);
    EXPECT_FALSE(many->flags & vok_attrflag_dirty);

    atom a = A(8.5);
    vok_attr_user_setvalueof(x, S("v"), 1, &a);
    EXPECT_EQ(vok_attr_getfloat(wrapper, S("v")), 8.5);

    void *extra = vok_attribute_new("extra", _vok_sym_long, 0, nullptr, nullptr);
    EXPECT_EQ(vok_object_addattr(x, extra), 0);
    EXPECT_EQ(ear->message, S("attr_added"));
    EXPECT_EQ(ear->data, extra);
    EXPECT_EQ(vok_attr_setlong(x, S("extra"), 6), 0);
    EXPECT_EQ(vok_attr_getlong(x, S("extra")), 6);
    EXPECT_EQ(vok_object_deleteattr(x, S("extra")), 0);
    EXPECT_EQ(ear->message, S("attr_deleted"));
    EXPECT_EQ(ear->data, extra);
    EXPECT_EQ(object_attr_get(x, S("extra")), nullptr);

    vok_object_free(x);
    vok_object_free(ear);
    vok_object_free(wrapper);
}

TEST_F(AccessOld, AtomHelpers)
{
    atom a;
    vok_atom_setfloat(&a, 2.5);
    EXPECT_EQ(vok_atom_getlong(&a), 2);
    EXPECT_EQ(vok_atom_getsym(&a), _vok_sym_nothing) << "the host gives null here";
    EXPECT_EQ(vok_atom_getobj(&a), nullptr);
    vok_atom_setsym(&a, S("w"));
    EXPECT_EQ(vok_atom_getsym(&a), S("w"));
    zan_word v = 5;
    vok_atom_setlong(&a, 9);
    for (long index : {1, 0}) {
        vok_atom_arg_getlong(&v, index, 1, &a);
        EXPECT_EQ(v, index ? 5 : 9) << "no argument 1";
    }
}

} // namespace
