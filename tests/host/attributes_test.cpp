// Attributes: every type there and back, arrays, flags, filters, attributes of
// attributes and of single objects, shells, and attributes of a foreign class.
#include "kernel_fixture.h"
#include <cmath>

namespace {

struct holder {
    object header;
    unsigned char as_char[4];
    float as_float32[4];
    double as_float64[4];
    long as_long[4];
    symbol *as_symbol[4];
    void *as_object[4];
    atom as_atom[4];
    long count;
    long plain;
    void *inner; // for the shell
};

// What comes back of the atoms 3.75, 300, "word", x in each type.
const struct type_row {
    const char *type;
    long offset;
    const char *back;
} types[] = {
    {"char", offsetof(holder, as_char), "3 44 0 0"},
    {"long", offsetof(holder, as_long), "3 300 0 0"},
    {"atom_long", offsetof(holder, as_long), "3 300 0 0"},
    {"float32", offsetof(holder, as_float32), "3.750000f 300.000000f 0.000000f 0.000000f"},
    {"float64", offsetof(holder, as_float64), "3.750000f 300.000000f 0.000000f 0.000000f"},
    {"symbol", offsetof(holder, as_symbol), "  word "},
    {"object", offsetof(holder, as_object), "object object object object"},
    {"pointer", offsetof(holder, as_object), "object object object object"},
    {"atom", offsetof(holder, as_atom), "3.750000f 300 word object"},
};
zan_class *holder_class()
{
    static zan_class *c = [] {
        zan_class *made = class_new("test_holder", nullptr, nullptr, sizeof(holder), nullptr, 0);
        for (const type_row &row : types) {
            const std::string one = std::string("one_") + row.type, fixed = std::string("fixed_") + row.type,
                              counted = std::string("counted_") + row.type;
            class_addattr(made, attr_offset_new(one.c_str(), S(row.type), 0, nullptr, nullptr, row.offset));
            class_addattr(
                made, attr_offset_array_new(fixed.c_str(), S(row.type), 4, 0, nullptr, nullptr, 0, row.offset));
            class_addattr(made, attr_offset_array_new(counted.c_str(), S(row.type), 4, 0, nullptr, nullptr,
                                                      offsetof(holder, count), row.offset));
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

    static std::vector<std::string> names_of(void *object)
    {
        long count = 0;
        symbol **names = nullptr;
        EXPECT_EQ(object_attr_getnames(object, &count, &names), 0);
        EXPECT_EQ(names == nullptr, count == 0);
        std::vector<std::string> all;
        for (long i = 0; i < count; ++i)
            all.push_back(names[i]->name);
        sysmem_freeptr(names);
        return all;
    }
    std::string value(void *object, const char *name)
    {
        long argc = 0;
        atom *argv = nullptr;
        const long err = object_attr_getvalueof(object, S(name), &argc, &argv);
        const std::string text = err ? "error " + std::to_string(err) : text_of(argc, argv);
        if (argv)
            sysmem_freeptr(argv);
        return text;
    }
};

TEST_F(attributes, every_type_converts_both_ways)
{
    for (const type_row &row : types) {
        SCOPED_TRACE(row.type);
        atom list[] = {A(3.75), A(300), A("word"), A(static_cast<void *>(x)), A(5)};
        void *own = attribute_new("own", S(row.type), 0, nullptr, nullptr);
        object_addattr(x, own);
        EXPECT_EQ(value(x, "own"), ""); // empty until it is set
        for (const char *kind : {"fixed_", "counted_"}) {
            const std::string name = std::string(kind) + row.type;
            EXPECT_EQ(object_attr_setvalueof(x, S(name.c_str()), 5, list), 0); // more than it holds
            EXPECT_EQ(value(x, name.c_str()), row.back);
        }
        EXPECT_EQ(object_attr_setvalueof(x, S("own"), 4, list), 0);
        EXPECT_EQ(value(x, "own"), row.back);
        EXPECT_EQ(send(own, "getsize"), 4);
        EXPECT_EQ(object_attr_setvalueof(x, S("own"), 0, nullptr), 0); // nothing to set
        EXPECT_EQ(send(own, "getsize"), 4);
        const std::string one = std::string("one_") + row.type, first = row.back;
        EXPECT_EQ(object_attr_setvalueof(x, S(one.c_str()), 4, list), 0); // takes the first
        const std::string whole = value(x, one.c_str());
        EXPECT_EQ(whole, *row.back == ' ' ? "" : first.substr(0, first.find(' ')));
        if (*row.type == 'o' || *row.type == 'p') {
            EXPECT_EQ(x->as_object[3], x);
        }
    }
}

TEST_F(attributes, too_few_values_zero_a_fixed_array_and_shorten_a_counted_one)
{
    const zan_word four[] = {1, 2, 3, 4}, two[] = {8, 9};
    EXPECT_EQ(object_attr_setlong_array(x, S("fixed_long"), 4, four), 0);
    EXPECT_EQ(object_attr_setlong_array(x, S("fixed_long"), 2, two), 0);
    EXPECT_EQ(value(x, "fixed_long"), "8 9 0 0");
    EXPECT_EQ(object_attr_setlong_array(x, S("counted_long"), 4, four), 0);
    EXPECT_EQ(object_attr_setlong_array(x, S("counted_long"), 2, two), 0);
    EXPECT_EQ(value(x, "counted_long"), "8 9");
    EXPECT_EQ(x->as_long[2], 3);
    EXPECT_EQ(object_attr_setlong_array(x, S("counted_long"), 0, nullptr), 0);
    EXPECT_EQ(value(x, "counted_long"), "");
    EXPECT_NE(object_attr_setvalueof(x, S("one_long"), 0, nullptr), 0);
    EXPECT_NE(object_attr_setvalueof(x, S("one_long"), 1, nullptr), 0);
}

TEST_F(attributes, convenience_calls_convert_and_count)
{
    zan_word longs[4] = {7, 7, 7, 7};
    float floats[4];
    double doubles[4];
    unsigned char chars[4];
    symbol *symbols[4];
    EXPECT_EQ(object_attr_setfloat(x, S("one_float64"), 2.5), 0);
    EXPECT_EQ(object_attr_getfloat(x, S("one_float64")), 2.5);
    EXPECT_EQ(object_attr_getlong(x, S("one_float64")), 2);
    EXPECT_EQ(object_attr_setlong(x, S("one_char"), 200), 0);
    EXPECT_EQ(object_attr_getchar(x, S("one_char")), 200);
    EXPECT_EQ(object_attr_setsym(x, S("one_symbol"), S("word")), 0);
    EXPECT_EQ(object_attr_getsym(x, S("one_symbol")), S("word"));
    x->as_object[0] = x;
    EXPECT_EQ(object_attr_getobj(x, S("one_object")), x);
    EXPECT_EQ(object_attr_getobj(x, S("one_symbol")), nullptr);

    const double set[] = {1.5, 2.5, 3.5};
    symbol *const name = S("counted_float32");
    EXPECT_EQ(object_attr_setdouble_array(x, name, 3, set), 0);
    EXPECT_EQ(object_attr_getlong_array(x, name, 4, longs), 3);
    EXPECT_EQ(longs[2], 3);
    EXPECT_EQ(longs[3], 7); // beyond the count nothing is written
    EXPECT_EQ(object_attr_getfloat_array(x, name, 2, floats), 2);
    EXPECT_EQ(object_attr_getdouble_array(x, name, 4, doubles), 3);
    EXPECT_EQ(object_attr_getchar_array(x, name, 4, chars), 3);
    EXPECT_EQ(object_attr_getsym_array(x, name, 4, symbols), 3);
    EXPECT_TRUE(floats[1] == 2.5f && doubles[0] == 1.5 && chars[1] == 2 && symbols[0] == S(""));
    EXPECT_EQ(object_attr_getlong_array(x, name, 0, longs), 0);
    EXPECT_EQ(object_attr_getlong_array(x, name, 1, nullptr), 0);
    const float back[] = {4.5f};
    const unsigned char bytes[] = {1, 255};
    symbol *const words[] = {S("a"), S("b")};
    EXPECT_EQ(object_attr_setfloat_array(x, name, 1, back), 0);
    EXPECT_EQ(value(x, "counted_float32"), "4.500000f");
    EXPECT_EQ(object_attr_setchar_array(x, S("counted_char"), 2, bytes), 0);
    EXPECT_EQ(value(x, "counted_char"), "1 255");
    EXPECT_EQ(object_attr_setsym_array(x, S("counted_symbol"), 2, words), 0);
    EXPECT_EQ(value(x, "counted_symbol"), "a b");
    EXPECT_NE(object_attr_setlong_array(x, S("counted_long"), -1, longs), 0);
    EXPECT_NE(object_attr_setlong_array(x, S("counted_long"), 2, nullptr), 0);

    // more than is kept on the stack
    const std::vector<zan_word> many(1000, 5);
    object_addattr(x, attribute_new("many", S("long"), 0, nullptr, nullptr));
    EXPECT_EQ(object_attr_setlong_array(x, S("many"), 1000, many.data()), 0);
    std::vector<zan_word> got(2000);
    EXPECT_EQ(object_attr_getlong_array(x, S("many"), 2000, got.data()), 1000);
    EXPECT_EQ(got[999], 5);
    atom room[6] = {}; // a getter keeps to the array it is given
    for (long size : {1l, 3l, 6l}) {
        long argc = size;
        atom *argv = room;
        EXPECT_EQ(object_attr_getvalueof(x, S("fixed_long"), &argc, &argv), 0);
        EXPECT_EQ(argv, room);
        EXPECT_EQ(argc, std::min(size, 4l));
        EXPECT_EQ(room[argc - 1].type, argtype_long);
        EXPECT_EQ(room[argc].type, argtype_nothing);
    }
}

TEST_F(attributes, a_missing_attribute_gives_nothing)
{
    symbol *absent = S("absent");
    zan_word values[2] = {7, 7};
    for (void *object : {static_cast<void *>(x), static_cast<void *>(nullptr)}) {
        EXPECT_EQ(object_attr_get(object, absent), nullptr);
        EXPECT_EQ(object_attr_getlong(object, absent), 0);
        EXPECT_EQ(object_attr_getfloat(object, absent), 0);
        EXPECT_EQ(object_attr_getsym(object, absent), S(""));
        EXPECT_EQ(object_attr_getobj(object, absent), nullptr);
        EXPECT_EQ(object_attr_getlong_array(object, absent, 2, values), 0);
        EXPECT_EQ(object_attr_setlong(object, absent, 1), zan_err_generic);
        EXPECT_EQ(object_attr_setsym(object, absent, absent), zan_err_generic);
        EXPECT_EQ(object_attr_usercanget(object, absent), 0);
        EXPECT_EQ(object_attr_usercanset(object, absent), 0);
        EXPECT_EQ(object_attr_touch(object, absent), zan_err_generic);
        EXPECT_NE(object_deleteattr(object, absent), 0);
        EXPECT_NE(object_attr_addattr_parse(object, "absent", "label", S("symbol"), 0, "a"), 0);
    }
    EXPECT_EQ(values[0], 7);
    long argc = 0;
    atom *argv = nullptr;
    EXPECT_NE(object_getvalueof(x, &argc, &argv), 0);
}

TEST_F(attributes, flags_close_what_they_name)
{
    const struct {
        long flags;
        bool canget, canset, usercanget, usercanset;
    } rows[] = {
        {0, true, true, true, true},         {1, false, true, false, true},    {2, true, false, true, false},
        {0x100, true, true, false, true},    {0x200, true, true, true, false}, {3, false, false, false, false},
        {0x303, false, false, false, false},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.flags);
        void *attr = attr_offset_new("guarded", S("long"), row.flags, nullptr, nullptr, offsetof(holder, plain));
        object_addattr(x, attr);
        x->plain = 1;
        EXPECT_EQ(send(attr, "canget") != 0, row.canget);
        EXPECT_EQ(send(attr, "canset") != 0, row.canset);
        EXPECT_EQ(object_attr_usercanget(x, S("guarded")) != 0, row.usercanget);
        EXPECT_EQ(object_attr_usercanset(x, S("guarded")) != 0, row.usercanset);
        EXPECT_EQ(object_attr_setlong(x, S("guarded"), 2) == 0, row.canset);
        EXPECT_EQ(x->plain, row.canset ? 2 : 1);
        EXPECT_EQ(value(x, "guarded") == std::to_string(x->plain), row.canget);
    }
    const struct {
        long flags;
        const char *which;
        long tag;
    } deferring[] = {{0, "get", argtype_gimme},
                     {0x10000, "get", argtype_defer},
                     {0x20000, "get", argtype_usurp},
                     {0x50000, "get", argtype_defer_low},
                     {0x70000, "get", argtype_usurp},
                     {0xf0000, "get", argtype_usurp_low},
                     {0xf0000, "set", argtype_gimme},
                     {0x1000000, "set", argtype_defer},
                     {0x2000000, "set", argtype_usurp},
                     {0x4000000, "set", argtype_defer_low},
                     {0x8000000, "set", argtype_usurp_low},
                     {0x8000000, "other", argtype_gimme}};
    for (const auto &row : deferring) {
        void *attr = attribute_new("d", S("long"), row.flags, nullptr, nullptr);
        EXPECT_EQ(send(attr, "getmethodtype", S(row.which)), row.tag) << std::hex << row.flags << row.which;
        object_free(attr);
    }
}

TEST_F(attributes, own_ones_come_first_and_names_keep_their_order)
{
    const size_t class_count = 3 * std::size(types) + 1;
    std::vector<std::string> names = names_of(x);
    ASSERT_EQ(names.size(), class_count);
    EXPECT_EQ(names.front(), "one_char");
    EXPECT_EQ(names.back(), "plain");
    object_addattr(x, attribute_new("z", S("long"), 0, nullptr, nullptr));
    object_addattr(x, attribute_new("plain", S("symbol"), 0, nullptr, nullptr)); // hides the class's
    object_addattr(x, attribute_new("a", S("long"), 0, nullptr, nullptr));
    names = names_of(x);
    ASSERT_EQ(names.size(), class_count + 2);
    names.resize(4);
    EXPECT_EQ(names, (std::vector<std::string>{"z", "plain", "a", "one_char"}));
    x->plain = 4;
    EXPECT_EQ(object_attr_setsym(x, S("plain"), S("word")), 0);
    EXPECT_EQ(value(x, "plain"), "word");
    EXPECT_EQ(object_deleteattr(x, S("plain")), 0);
    EXPECT_EQ(value(x, "plain"), "4");              // the class's shows again
    EXPECT_NE(object_deleteattr(x, S("plain")), 0); // and can't be deleted from one object
    atom list[] = {A(5)};
    send(x, "z", 1, list); // an own attribute answers messages too
    long argc = 0;
    atom *argv = nullptr;
    EXPECT_EQ(send(x, "getz", &argc, &argv), 0);
    EXPECT_EQ(text_of(argc, argv), "5");
    sysmem_freeptr(argv);
    void *bare = linklist_new();
    EXPECT_TRUE(names_of(bare).empty());
    object_free(bare);
}

TEST_F(attributes, text_is_parsed_by_the_type)
{
    const struct {
        const char *type;
        const char *text;
        const char *value;
    } rows[] = {
        {"long", "1", "1"},
        {"long", " 1 2 3", "1 2 3"},
        {"long", "2.9", "2"},
        {"char", "255", "255"},
        {"float64", "1 2.5", "1.000000f 2.500000f"},
        {"symbol", "word", "word"},
        {"symbol", "Two Words", "Two Words"},
        {"symbol", "\"Two Words\"", "Two Words"},
        {"symbol", "\"one\" \"and two\"", "one and two"},
        {"symbol", "1", "1"},
        {"atom", "a 1 2.5", "a 1 2.500000f"},
        {"long", "", ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(object_addattr_parse(x, "parsed", S(row.type), 0, row.text), 0);
        EXPECT_EQ(value(x, "parsed"), row.value);
    }
    EXPECT_EQ(object_addattr_parse(x, "closed", S("long"), 2, "7"), 0); // filled, then closed
    EXPECT_EQ(value(x, "closed"), "7");
    EXPECT_NE(object_attr_setlong(x, S("closed"), 8), 0);
    EXPECT_NE(object_addattr_parse(x, "odd", S("int"), 0, "7"), 0);
    EXPECT_NE(reports.one_error().find("attribute odd: unknown type \"int\""), std::string::npos);
    EXPECT_EQ(attribute_new("odd", nullptr, 0, nullptr, nullptr), nullptr);
    EXPECT_EQ(attribute_new(nullptr, S("long"), 0, nullptr, nullptr), nullptr);
}

TEST_F(attributes, attributes_have_attributes)
{
    EXPECT_EQ(class_attr_addattr_parse(holder_class(), "plain", "label", S("symbol"), 0, "\"Plain Number\""), 0);
    EXPECT_NE(class_attr_addattr_parse(holder_class(), "absent", "label", S("symbol"), 0, "a"), 0);
    long argc = 0;
    atom *argv = nullptr;
    EXPECT_EQ(object_attr_attr_getvalueof(x, S("plain"), S("label"), &argc, &argv), 0);
    EXPECT_EQ(text_of(argc, argv), "Plain Number");
    sysmem_freeptr(argv);
    argv = nullptr;
    EXPECT_NE(object_attr_attr_getvalueof(x, S("plain"), S("absent"), &argc, &argv), 0);
    EXPECT_NE(object_attr_attr_getvalueof(x, S("absent"), S("label"), &argc, &argv), 0);
    EXPECT_EQ(object_attr_addattr_parse(x, "plain", "invisible", S("long"), 0, "1"), 0);
    void *copy = object_clone(object_attr_get(x, S("plain")));
    EXPECT_EQ(object_attr_getsym(copy, S("label")), S("Plain Number"));
    EXPECT_EQ(object_attr_getlong(copy, S("invisible")), 1);
    object_free(copy);
}

TEST_F(attributes, of_a_method_are_applied_to_another)
{
    zan_class *c = class_new("test_methods", nullptr, nullptr, sizeof(object), nullptr, 0);
    class_addmethod(c, M(method_false), "from", argtype_cant, 0);
    class_addmethod(c, M(method_false), "to", argtype_cant, 0);
    void *methods = class_extra_lookup(c, S("methods")), *from = nullptr, *to = nullptr, *table = nullptr;
    ASSERT_EQ(hashtab_lookup(methods, S("from"), &from), 0);
    ASSERT_EQ(hashtab_lookup(methods, S("to"), &to), 0);
    object_addattr(from, attribute_new("info", S("long"), 0, nullptr, nullptr));
    object_attr_setlong(from, S("info"), W(c));
    object_addattr_parse(from, "digest", S("symbol"), 0, "does things");
    object_addattr_parse(to, "digest", S("symbol"), 0, "its own");
    ASSERT_EQ(object_obex_lookup(from, S("attributes"), &table), 0);
    EXPECT_EQ(object_attrhash_apply(to, table), 0);
    EXPECT_NE(object_attrhash_apply(to, nullptr), 0);
    EXPECT_EQ(object_attr_getlong(to, S("info")), W(c));
    EXPECT_EQ(object_attr_getsym(to, S("digest")), S("its own"));
    object_attr_setlong(to, S("info"), 1);
    EXPECT_EQ(object_attr_getlong(from, S("info")), W(c)); // a copy, not the same
    class_free(c);
}

TEST_F(attributes, functions_of_ones_own_replace_the_default)
{
    static long calls;
    calls = 0;
    const auto get = +[](holder *h, void *attr, long *argc, atom **argv) -> zan_word {
        ++calls;
        EXPECT_EQ(object_classname(attr), S("attr_offset"));
        char allocated;
        atom_alloc_array(2, argc, argv, &allocated);
        for (long i = 0; i < *argc; ++i)
            atom_setlong(*argv + i, h->plain + i);
        return 0;
    };
    const auto set = +[](holder *h, void *, long argc, atom *argv) -> zan_word {
        ++calls;
        h->plain = argc ? 10 * atom_getlong(argv) : -1;
        return 17; // the setter's own code comes back
    };
    void *attr = attr_offset_new("mine", S("long"), 0, M(get), nullptr, 0);
    EXPECT_EQ(send(attr, "setmethod", S("set"), M(set)), 0);
    send(attr, "setmethod", S("get"), 0); // null is ignored
    EXPECT_EQ(send(attr, "getmethod", S("get")), W(get));
    EXPECT_EQ(send(attr, "getmethod", S("other")), 0);
    object_addattr(x, attr);
    EXPECT_EQ(object_attr_setlong(x, S("mine"), 4), 17);
    EXPECT_EQ(value(x, "mine"), "40 41");
    EXPECT_EQ(object_attr_getlong(x, S("mine")), 40);
    EXPECT_EQ(object_attr_setvalueof(x, S("mine"), 0, nullptr), 17);
    EXPECT_EQ(x->plain, -1);
    EXPECT_EQ(calls, 4);
    // a getter that gives an array of its own whatever it is given
    send(attr, "setmethod", S("get"), M(+[](holder *, void *, long *argc, atom **argv) -> zan_word {
             *argc = 3;
             *argv = static_cast<atom *>(sysmem_newptr(3 * sizeof(atom)));
             for (long i = 0; i < 3; ++i)
                 atom_setlong(*argv + i, i + 1);
             return 0;
         }));
    zan_word two[2];
    EXPECT_EQ(object_attr_getlong(x, S("mine")), 1);
    EXPECT_EQ(object_attr_getlong_array(x, S("mine"), 2, two), 2);
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
    const long alive = zan_object_count(S("test_filter"));
    void *attr = attr_offset_new("filtered", S("long"), 0, nullptr, nullptr, offsetof(holder, plain));
    object_addattr(x, attr);
    EXPECT_EQ(send(attr, "filterset", object_alloc(filters)), 0);
    atom list[] = {A(500)};
    EXPECT_EQ(object_attr_setvalueof(x, S("filtered"), 1, list), 0);
    EXPECT_EQ(x->plain, 100);
    EXPECT_EQ(list[0].value.as_long, 500); // the caller's atoms stay
    EXPECT_EQ(send(attr, "set", x, 1, list), 0);
    EXPECT_EQ(x->plain, 100);
    void *unfit = linklist_new();
    EXPECT_NE(send(attr, "filterset", unfit), 0); // the earlier one stays
    EXPECT_NE(send(attr, "get_filterset"), 0);
    object_free(unfit);
    x->plain = 700;
    EXPECT_EQ(value(x, "filtered"), "700");
    EXPECT_EQ(send(attr, "filterget", object_alloc(filters)), 0);
    EXPECT_EQ(value(x, "filtered"), "100");
    void *copy = object_clone(attr);
    EXPECT_EQ(zan_object_count(S("test_filter")), alive + 4);
    object_free(copy);
    EXPECT_EQ(zan_object_count(S("test_filter")), alive + 2);
    EXPECT_EQ(send(attr, "filterset", 0), 0); // null takes it away
    object_attr_setvalueof(x, S("filtered"), 1, list);
    EXPECT_EQ(x->plain, 500);
    object_deleteattr(x, S("filtered"));
    EXPECT_EQ(zan_object_count(S("test_filter")), alive);
    class_free(filters);
}

// The record of a foreign attribute need not be the host's: only its messages count,
// and the flags are marked when they stand where the host's stand.
struct foreign {
    object header;
    symbol *name, *type;
    long flags;
    long value;
};
zan_word foreign_get(void *, foreign *a, long *argc, atom **argv)
{
    char allocated;
    atom_alloc_array(1, argc, argv, &allocated);
    return atom_setlong(*argv, a->value);
}
zan_word foreign_set(void *, foreign *a, long argc, atom *argv)
{
    a->value = argc ? atom_getlong(argv) : 0;
    return 0;
}

TEST_F(attributes, a_foreign_class_serves_through_its_messages)
{
    zan_class *c = class_new("test_foreign", nullptr, nullptr, sizeof(foreign), nullptr, 0);
    const auto answers = [c](const char *name, auto fn) { class_addmethod(c, M(+fn), name, argtype_cant, 0); };
    answers("getname", [](foreign *a) { return a->name; });
    answers("gettype", [](foreign *a) { return a->type; });
    answers("getmethod", [](foreign *, symbol *s) { return s == S("get") ? M(foreign_get) : M(foreign_set); });
    foreign *attr = static_cast<foreign *>(object_alloc(c));
    attr->name = S("strange");
    attr->type = S("long");
    EXPECT_EQ(object_addattr(x, attr), 0);
    EXPECT_NE(object_attr_setlong(x, S("strange"), 5), 0); // doesn't say that it can be set
    for (const char *question : {"canget", "canset", "usercanget", "usercanset"})
        answers(question, [](foreign *) -> zan_word { return 1; });
    EXPECT_EQ(object_attr_setlong(x, S("strange"), 5), 0);
    EXPECT_EQ(value(x, "strange"), "5");
    EXPECT_EQ(object_attr_touch(x, S("strange")), 0);
    EXPECT_EQ(attr->flags, 0x20000000);
    attr->flags = 0;
    attr->name = nullptr; // laid out otherwise: getname doesn't agree with the record
    answers("getname", [](foreign *) { return S("strange"); });
    EXPECT_EQ(object_attr_touch(x, S("strange")), 0);
    EXPECT_EQ(attr->flags, 0);
    object_deleteattr(x, S("strange"));
    class_free(c);
}

TEST_F(attributes, touching_marks_and_tells)
{
    static std::vector<void *> told;
    told.clear();
    zan_class *c = class_new("test_listener", nullptr, nullptr, sizeof(object), nullptr, 0);
    class_addmethod(c, M(+[](void *, symbol *, symbol *message, void *, void *data) {
                        if (message == S("attr_modified"))
                            told.push_back(data);
                    }),
                    "notify", argtype_cant, 0);
    void *listener = object_alloc(c);
    object_attach(S("test"), S("touched"), listener);
    object_register(S("test"), S("touched"), x);
    void *plain = object_attr_get(x, S("plain")), *one = object_attr_get(x, S("one_long"));
    EXPECT_EQ(object_attr_touch(x, S("plain")), 0);
    EXPECT_EQ(told, std::vector<void *>{plain});
    EXPECT_EQ(*reinterpret_cast<long *>(static_cast<char *>(plain) + 48), 0x20000000);
    EXPECT_EQ(object_attr_touch_parse(x, "  one_long plain "), 0);
    EXPECT_EQ(told, (std::vector<void *>{plain, one, plain}));
    EXPECT_NE(object_attr_touch_parse(x, "absent plain"), 0); // and goes on
    EXPECT_EQ(told.size(), 4u);
    object_free(listener);
    class_free(c);
}

TEST_F(attributes, a_shell_shows_those_of_what_it_holds)
{
    zan_class *c = class_new("test_shell", nullptr, nullptr, sizeof(holder), nullptr, 0);
    class_addmethod(c, M(+[](holder *h, symbol *name) { return object_attr_get(h->inner, name); }), "attr_get",
                    argtype_cant, 0);
    class_addmethod(c, M(+[](holder *h, symbol *) { return h->inner; }), "attr_gettarget", argtype_cant, 0);
    class_addmethod(c, M(+[](holder *h, long *count, symbol ***names) {
                        return object_attr_getnames(h->inner, count, names);
                    }),
                    "attr_getnames", argtype_cant, 0);
    class_addattr(c, attr_offset_new("shell", S("long"), 0, nullptr, nullptr, offsetof(holder, plain)));
    holder *shell = static_cast<holder *>(object_alloc(c));
    EXPECT_EQ(object_attr_get(shell, S("plain")), nullptr); // holds nothing yet
    shell->inner = x;
    EXPECT_EQ(object_attr_setlong(shell, S("plain"), 6), 0);
    EXPECT_EQ(x->plain, 6);
    EXPECT_EQ(shell->plain, 0);
    EXPECT_EQ(value(shell, "plain"), "6");
    EXPECT_EQ(object_attr_setlong(shell, S("shell"), 3), 0);
    EXPECT_EQ(shell->plain, 3);
    const std::vector<std::string> names = names_of(shell);
    EXPECT_EQ(names.size(), 1 + 3 * std::size(types) + 1);
    EXPECT_EQ(names[0], "shell");
    object_free(shell);
    class_free(c);
}

TEST_F(attributes, a_message_name_tells_its_attribute)
{
    void *attr = nullptr;
    zan_word get = 7;
    EXPECT_NE(class_attr_method(holder_class(), S("plain"), &attr, &get), nullptr);
    EXPECT_EQ(attr, class_attr_get(holder_class(), S("plain")));
    EXPECT_EQ(get, 0);
    EXPECT_NE(class_attr_method(holder_class(), S("getplain"), &attr, &get), nullptr);
    EXPECT_EQ(attr, class_attr_get(holder_class(), S("plain")));
    EXPECT_EQ(get, 1);
    EXPECT_EQ(class_attr_method(holder_class(), S("absent"), &attr, &get), nullptr);
    EXPECT_EQ(attr, nullptr);
    void *table = static_cast<void **>(static_cast<void *>(holder_class()))[11];
    EXPECT_EQ(object_classname(table), S("hashtab"));
    void *found = nullptr;
    EXPECT_EQ(hashtab_lookup(table, S("plain"), &found), 0);
    EXPECT_EQ(found, class_attr_get(holder_class(), S("plain")));
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
    object_free(y);
    class_free(c);
}

} // namespace
