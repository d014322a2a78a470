// Attributes: every type there and back, arrays, flags, filters, attributes of
// attributes and of single objects.
#include "kernel_fixture.h"
#include <algorithm>

namespace {

struct holder {
    object header;
    alignas(atom) char room[4 * sizeof(atom)]; // of all attributes but plain
    long count, plain;
};

// What comes back of the atoms 3.75, 300, "word", x in each type.
const std::pair<std::string, std::string> types[] = {
    {"char", "3 44 0 0"},
    {"long", "3 300 0 0"},
    {"atom_long", "3 300 0 0"},
    {"symbol", "  word "},
    {"float32", "3.750000f 300.000000f 0.000000f 0.000000f"},
    {"float64", "3.750000f 300.000000f 0.000000f 0.000000f"},
    {"object", "object object object object"},
    {"pointer", "object object object object"},
    {"atom", "3.750000f 300 word object"},
};

void *four_in_room(const std::string &name, const std::string &type, long offsetcount)
{
    return attr_offset_array_new(name.c_str(), S(type.c_str()), 4, 0, nullptr, nullptr, offsetcount,
                                 offsetof(holder, room));
}

zan_class *holder_class()
{
    static zan_class *c = [] {
        zan_class *made = class_new("test_holder", nullptr, nullptr, sizeof(holder), nullptr, 0);
        for (const auto &[type, back] : types) {
            class_addattr(made, attr_offset_new(("one_" + type).c_str(), S(type.c_str()), 0, nullptr, nullptr,
                                                offsetof(holder, room)));
            class_addattr(made, four_in_room("fixed_" + type, type, 0));
            class_addattr(made, four_in_room("counted_" + type, type, offsetof(holder, count)));
        }
        class_addattr(made, attr_offset_new("plain", S("long"), 0, nullptr, nullptr, offsetof(holder, plain)));
        return made;
    }();
    return c;
}

class attributes : public testing::Test {
  protected:
    holder *x = static_cast<holder *>(object_alloc(holder_class()));
    report_catcher reports;
    void TearDown() override { object_free(x); }

    std::string value(const std::string &name)
    {
        long argc = 0;
        atom *argv = nullptr;
        const long err = object_attr_getvalueof(x, S(name.c_str()), &argc, &argv);
        const std::string text = err ? "error " + std::to_string(err) : text_of(argc, argv);
        sysmem_freeptr(argv);
        return text;
    }
};

TEST_F(attributes, every_type_converts_both_ways)
{
    for (const auto &row : types) {
        const std::string type = row.first, whole = row.second;
        SCOPED_TRACE(type);
        atom list[] = {A(3.75), A(300), A("word"), A(static_cast<void *>(x)), A(5)};
        const auto set = [&](const std::string &kind, long argc) {
            return object_attr_setvalueof(x, S((kind + type).c_str()), argc, list);
        };
        const auto got = [&](const std::string &kind) { return value(kind + type); };
        void *own = attribute_new(("own_" + type).c_str(), S(type.c_str()), 0, nullptr, nullptr);
        object_addattr(x, own);
        EXPECT_EQ(got("own_"), ""); // empty until it is set
        EXPECT_EQ(set("own_", 4), 0);
        EXPECT_EQ(set("own_", 0), 0); // nothing to set
        EXPECT_EQ(send(own, "getsize"), 4);
        EXPECT_EQ(got("own_"), whole);
        for (const char *kind : {"fixed_", "counted_"}) {
            EXPECT_EQ(set(kind, 5), 0); // more than it holds
            EXPECT_EQ(got(kind), whole) << kind;
        }
        EXPECT_EQ(set("one_", 4), 0); // takes the first
        EXPECT_EQ(got("one_"), whole.substr(0, whole.find(' ')));
        EXPECT_EQ(set("counted_", 0), 0);
        EXPECT_EQ(got("counted_"), "");
        EXPECT_NE(set("one_", 0), 0);
    }
    atom list[] = {A(1), A(2), A(3), A(4)};
    for (const auto &[name, left] : {std::pair("fixed_long", "1 2 0 0"), {"counted_long", "1 2"}}) {
        for (const long count : {4, 2})
            EXPECT_EQ(object_attr_setvalueof(x, S(name), count, list), 0);
        EXPECT_EQ(value(name), left);
    }
    EXPECT_NE(object_attr_setvalueof(x, S("one_long"), 1, nullptr), 0);
}

// Sets an array by a call and gets it back, also into less room and into more.
template <class T>
void there_and_back(void *x, const char *name, long (*set)(void *, symbol *, long, const T *),
                    long (*get)(void *, symbol *, long, T *), const std::vector<T> &values)
{
    SCOPED_TRACE(name);
    const long count = long(values.size());
    EXPECT_EQ(set(x, S(name), count, values.data()), 0);
    for (const long room : {0L, 1L, count, count + 3}) {
        std::vector<T> got(values.size() + 3, T{}), expected = got; // beyond the count nothing is written
        std::copy_n(values.begin(), std::min(room, count), expected.begin());
        EXPECT_EQ(get(x, S(name), room, got.data()), std::min(room, count));
        EXPECT_EQ(got, expected) << room;
    }
}

TEST_F(attributes, convenience_calls_convert_and_count)
{
    for (const auto &[size, text] : {std::pair(1l, "0 nothing"), {3l, "0 0 0 nothing"}, {6l, "0 0 0 0 nothing"}}) {
        atom room[6] = {}, *argv = room; // a getter keeps to the array it is given
        long argc = size;
        EXPECT_EQ(object_attr_getvalueof(x, S("fixed_long"), &argc, &argv), 0);
        EXPECT_EQ(argv, room);
        EXPECT_EQ(text_of(argc + 1, room), text);
    }
    object_addattr(x, attribute_new("many", S("long"), 0, nullptr, nullptr));
    there_and_back<zan_word>(x, "many", object_attr_setlong_array, object_attr_getlong_array,
                             std::vector<zan_word>(1000, 5)); // more than is kept on the stack
    there_and_back<float>(x, "counted_float32", object_attr_setfloat_array, object_attr_getfloat_array, {1.5, -2});
    there_and_back<double>(x, "counted_float64", object_attr_setdouble_array, object_attr_getdouble_array, {2.75});
    there_and_back<unsigned char>(x, "counted_char", object_attr_setchar_array, object_attr_getchar_array,
                                  {1, 255});
    there_and_back<symbol *>(x, "counted_symbol", object_attr_setsym_array, object_attr_getsym_array,
                             {S("a"), S("b")});
    EXPECT_EQ(object_attr_setfloat(x, S("one_float64"), 2.5), 0);
    EXPECT_EQ(object_attr_getfloat(x, S("one_float64")), 2.5);
    EXPECT_EQ(object_attr_getlong(x, S("one_float64")), 2);
    EXPECT_EQ(object_attr_setlong(x, S("one_char"), 200), 0);
    EXPECT_EQ(object_attr_getchar(x, S("one_char")), 200);
    EXPECT_EQ(object_attr_setsym(x, S("one_symbol"), S("word")), 0);
    EXPECT_EQ(object_attr_getsym(x, S("one_symbol")), S("word"));
    EXPECT_EQ(object_attr_getobj(x, S("one_symbol")), nullptr);
    atom self = A(static_cast<void *>(x));
    EXPECT_EQ(object_attr_setvalueof(x, S("one_object"), 1, &self), 0);
    EXPECT_EQ(object_attr_getobj(x, S("one_object")), x);
    EXPECT_NE(object_attr_setlong_array(x, S("counted_long"), -1, nullptr), 0);
    EXPECT_NE(object_attr_setlong_array(x, S("counted_long"), 2, nullptr), 0);
}

TEST_F(attributes, flags_close_what_they_name)
{
    for (const long flags : {0, 1, 2, 0x100, 0x200, 3, 0x303}) {
        SCOPED_TRACE(flags);
        const bool canget = !(flags & 1), canset = !(flags & 2);
        void *attr = attr_offset_new("guarded", S("long"), flags, nullptr, nullptr, offsetof(holder, plain));
        object_addattr(x, attr);
        x->plain = 1;
        EXPECT_EQ(send(attr, "canget") != 0, canget);
        EXPECT_EQ(send(attr, "canset") != 0, canset);
        EXPECT_EQ(object_attr_usercanget(x, S("guarded")) != 0, canget && !(flags & 0x100));
        EXPECT_EQ(object_attr_usercanset(x, S("guarded")) != 0, canset && !(flags & 0x200));
        EXPECT_EQ(object_attr_setlong(x, S("guarded"), 2) == 0, canset);
        EXPECT_EQ(x->plain, canset ? 2 : 1);
        EXPECT_EQ(value("guarded") == std::to_string(x->plain), canget);
    }
    const std::pair<long, long> deferring[] = {
        {0, argtype_gimme},     {1, argtype_defer}, {2, argtype_usurp},
        {5, argtype_defer_low}, {7, argtype_usurp}, {15, argtype_usurp_low},
    };
    for (const auto &[bits, tag] : deferring) {
        void *attr = attribute_new("d", S("long"), bits << 16 | 1 << 24, nullptr, nullptr);
        for (const auto &[asked, answer] :
             {std::pair("get", tag), {"set", argtype_defer}, {"other", argtype_gimme}})
            EXPECT_EQ(send(attr, "getmethodtype", S(asked)), answer);
        object_free(attr);
    }
}

TEST_F(attributes, own_ones_come_first_and_names_keep_their_order)
{
    for (const auto &[name, type] : {std::pair("z", "long"), {"plain", "symbol"}, {"a", "long"}})
        object_addattr(x, attribute_new(name, S(type), 0, nullptr, nullptr));
    long count = 0;
    symbol **names = nullptr;
    EXPECT_EQ(object_attr_getnames(x, &count, &names), 0);
    ASSERT_EQ(count, long(3 * std::size(types) + 3)); // one hides the class's
    EXPECT_EQ(std::vector(names, names + 4), (std::vector{S("z"), S("plain"), S("a"), S("one_char")}));
    EXPECT_EQ(names[count - 1], S("counted_atom"));
    sysmem_freeptr(names);
    x->plain = 4;
    EXPECT_EQ(object_attr_setsym(x, S("plain"), S("word")), 0);
    EXPECT_EQ(value("plain"), "word");
    EXPECT_EQ(object_deleteattr(x, S("plain")), 0);
    EXPECT_EQ(value("plain"), "4");                 // the class's shows again
    EXPECT_NE(object_deleteattr(x, S("plain")), 0); // and can't be deleted from one object
    atom five = A(5), answer;
    send(x, "z", 1, &five); // an own attribute answers messages too
    EXPECT_EQ(object_method_typed(x, S("getz"), 0, nullptr, &answer), 0);
    EXPECT_EQ(text_of(answer), "5");
    EXPECT_EQ(object_attr_setlong(x, S("absent"), 1), zan_err_generic);
    EXPECT_EQ(object_attr_getsym(nullptr, S("absent")), S(""));
    EXPECT_NE(object_getvalueof(x, &count, nullptr), 0);
}

TEST_F(attributes, text_is_parsed_by_the_type)
{
    const struct {
        const char *type, *text, *value;
    } rows[] = {
        {"long", " 1 2.9 3", "1 2 3"},
        {"long", "", ""},
        {"symbol", "\"one\" \"and two\"", "one and two"},
        {"symbol", "Two Words", "Two Words"},
        {"symbol", "1", "1"},
        {"float64", "1 2.5", "1.000000f 2.500000f"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(object_addattr_parse(x, "parsed", S(row.type), 0, row.text), 0);
        EXPECT_EQ(value("parsed"), row.value);
    }
    EXPECT_EQ(object_addattr_parse(x, "closed", S("long"), 2, "7"), 0); // filled, then closed
    EXPECT_EQ(value("closed"), "7");
    EXPECT_NE(object_attr_setlong(x, S("closed"), 8), 0);
    EXPECT_NE(object_addattr_parse(x, "odd", S("int"), 0, "7"), 0);
    EXPECT_NE(reports.one_error().find("attribute odd: unknown type \"int\""), std::string::npos);
    EXPECT_EQ(attribute_new(nullptr, S("long"), 0, nullptr, nullptr), nullptr);
}

TEST_F(attributes, functions_of_ones_own_replace_the_default)
{
    const auto get = +[](holder *h, void *attr, long *argc, atom **argv) -> zan_word {
        EXPECT_EQ(object_classname(attr), S("attr_offset"));
        *argc = 0; // an array of its own, whatever it is given
        return object_attr_getvalueof(h, S("plain"), argc, argv);
    };
    const auto set = +[](holder *h, void *, long argc, atom *argv) -> zan_word {
        h->plain = argc ? 10 * atom_getlong(argv) : -1;
        return 17; // the setter's own code comes back
    };
    void *attr = attr_offset_new("mine", S("long"), 0, nullptr, nullptr, 0);
    for (const zan_method fn : {M(get), zan_method()}) // null is ignored
        EXPECT_EQ(send(attr, "setmethod", S("get"), fn), 0);
    EXPECT_EQ(send(attr, "setmethod", S("set"), M(set)), 0);
    EXPECT_EQ(send(attr, "getmethod", S("get")), W(get));
    EXPECT_EQ(send(attr, "getmethod", S("other")), 0);
    object_addattr(x, attr);
    EXPECT_EQ(object_attr_setlong(x, S("mine"), 4), 17);
    EXPECT_EQ(object_attr_getlong(x, S("mine")), 40);
    zan_word two[2];
    EXPECT_EQ(object_attr_getlong_array(x, S("mine"), 2, two), 1);
    EXPECT_EQ(object_attr_setvalueof(x, S("mine"), 0, nullptr), 17);
    EXPECT_EQ(x->plain, -1);
}

TEST_F(attributes, filters_stand_between_the_user_and_the_value)
{
    zan_class *filters = class_new("test_filter", nullptr, nullptr, sizeof(object), nullptr, 0);
    class_addmethod(filters, M(+[](void *, symbol *s, long argc, atom *argv, void *, void *) -> zan_word {
                        EXPECT_EQ(s, S("filter"));
                        for (long i = 0; i < argc; ++i)
                            atom_setlong(argv + i, std::min<zan_word>(atom_getlong(argv + i), 100));
                        return 0;
                    }),
                    "filter", argtype_cant, 0);
    const auto alive = [] { return zan_object_count(S("test_filter")); };
    void *attr = attr_offset_new("filtered", S("long"), 0, nullptr, nullptr, offsetof(holder, plain));
    object_addattr(x, attr);
    EXPECT_EQ(send(attr, "filterset", object_alloc(filters)), 0);
    atom list[] = {A(500)};
    EXPECT_EQ(object_attr_setvalueof(x, S("filtered"), 1, list), 0);
    EXPECT_EQ(x->plain, 100);
    EXPECT_EQ(list[0].value.as_long, 500); // the caller's atoms stay
    EXPECT_EQ(send(attr, "set", x, 1, list), 0);
    EXPECT_NE(send(attr, "filterset", x), 0); // no filter: the earlier one stays
    EXPECT_NE(send(attr, "get_filterset"), 0);
    x->plain = 700;
    EXPECT_EQ(send(attr, "filterget", object_alloc(filters)), 0);
    EXPECT_EQ(value("filtered"), "100");
    EXPECT_EQ(object_attr_addattr_parse(x, "filtered", "label", S("symbol"), 0, "Plain Number"), 0);
    void *copy = object_clone(attr); // with all that it has
    EXPECT_EQ(alive(), 4);
    EXPECT_EQ(object_attr_getsym(copy, S("label")), S("Plain Number"));
    object_free(copy);
    EXPECT_EQ(alive(), 2);
    EXPECT_EQ(send(attr, "filterset", 0), 0); // null takes it away
    EXPECT_EQ(alive(), 1);
    object_deleteattr(x, S("filtered"));
    EXPECT_EQ(alive(), 0);
    class_free(filters);
}

TEST_F(attributes, of_a_class_are_described_and_touched)
{
    EXPECT_EQ(class_attr_addattr_parse(holder_class(), "plain", "label", S("symbol"), 0, "\"Plain Number\""), 0);
    EXPECT_NE(class_attr_addattr_parse(holder_class(), "absent", "label", S("symbol"), 0, "a"), 0);
    EXPECT_NE(object_attr_addattr_parse(x, "absent", "label", S("symbol"), 0, "a"), 0);
    long argc = 0;
    atom *argv = nullptr;
    EXPECT_EQ(object_attr_attr_getvalueof(x, S("plain"), S("label"), &argc, &argv), 0);
    EXPECT_EQ(text_of(argc, argv), "Plain Number");
    sysmem_freeptr(argv);
    EXPECT_NE(object_attrhash_apply(x, nullptr), 0);
    EXPECT_NE(object_attr_touch_parse(x, "absent  plain "), 0); // and goes on
    const char *plain = static_cast<char *>(object_attr_get(x, S("plain")));
    EXPECT_EQ(*reinterpret_cast<const long *>(plain + 48), 0x20000000);
    EXPECT_EQ(object_attr_touch_parse(x, " one_long"), 0);
}

TEST_F(attributes, a_shell_shows_those_of_what_it_holds)
{
    static void *inner;
    inner = x;
    void *shell = linklist_new();
    object_addmethod(shell, M(+[](void *, symbol *name) { return object_attr_get(inner, name); }), "attr_get",
                     argtype_cant, 0);
    object_addmethod(shell, M(+[](void *, symbol *) { return inner; }), "attr_gettarget", argtype_cant, 0);
    EXPECT_EQ(object_attr_setlong(shell, S("plain"), 6), 0);
    EXPECT_EQ(x->plain, 6);
    EXPECT_NE(object_attr_setlong(shell, S("absent"), 6), 0);
    object_free(shell);
}

TEST_F(attributes, a_newer_one_of_the_same_name_takes_over)
{
    zan_class *c = class_new("test_newer", nullptr, nullptr, sizeof(holder), nullptr, 0);
    void *older = attr_offset_new("a", S("long"), 0, nullptr, nullptr, offsetof(holder, plain));
    class_addattr(c, older);
    class_addattr(c, attr_offset_new("a", S("long"), 0, nullptr, nullptr, offsetof(holder, count)));
    holder *y = static_cast<holder *>(object_alloc(c));
    atom five = A(5);
    send(y, "a", 1, &five);
    EXPECT_TRUE(y->count == 5 && y->plain == 0 && object_attr_getlong(y, S("a")) == 5);
    EXPECT_EQ(send(older, "getname"), W(S("a"))); // alive for whoever was in it
    void *attr = nullptr;
    zan_word get = 7;
    EXPECT_NE(class_attr_method(c, S("geta"), &attr, &get), nullptr); // a message's name tells its attribute
    EXPECT_EQ(attr, class_attr_get(c, S("a")));
    EXPECT_EQ(get, 1);
    EXPECT_EQ(class_attr_method(c, S("absent"), &attr, &get), nullptr);
    object_free(y);
    class_free(c);
}

} // namespace
