// Classes and objects: layout, making and freeing, copies of classes, references,
// the obex, adornments, extra words, clones.
#include "kernel_fixture.h"
#include <cstring>

namespace {

struct thing {
    object header;
    long a, b;
    void *obex;
    char text[8];
};

long freed;

void *thing_new(zan_word a, zan_word b);
void thing_free(thing *)
{
    ++freed;
}
long thing_sum(thing *x)
{
    return x->a + x->b;
}

zan_class *thing_class()
{
    static zan_class *c = [] {
        zan_class *made =
            class_new("test_thing", M(thing_new), M(thing_free), sizeof(thing), nullptr, argtype_cant, 0);
        class_addmethod(made, M(thing_sum), "sum", argtype_cant, 0);
        class_obexoffset_set(made, offsetof(thing, obex));
        class_register(S("test"), made);
        return made;
    }();
    return c;
}

void *thing_new(zan_word a, zan_word b)
{
    thing *x = static_cast<thing *>(object_alloc(thing_class()));
    x->a = a;
    x->b = b;
    return x;
}

thing *make_thing(long a = 1, long b = 2)
{
    thing_class();
    return static_cast<thing *>(object_new_imp(S("test"), S("test_thing"), a, b, 0, 0, 0, 0, 0, 0));
}

TEST(classes, records_are_laid_out_as_others_read_them)
{
    thing *x = make_thing();
    zan_class *c = thing_class();
    void **words = static_cast<void **>(static_cast<void *>(c));
    EXPECT_EQ(words[0], S("test_thing"));
    EXPECT_EQ(words[11], nullptr); // no attribute yet
    EXPECT_EQ(x->header.magic, ZAN_OBJECT_MAGIC);
    EXPECT_EQ(static_cast<zan_class **>(x->header.messlist)[-3], c);
    auto *method = static_cast<char *>(static_cast<void *>(object_getmethod_object(x, S("sum"))));
    ASSERT_NE(method, nullptr);
    auto *entry = static_cast<zan_messlist *>(x->header.messlist);
    EXPECT_EQ(entry[1].name, nullptr);
    for (void *place : {static_cast<void *>(entry), static_cast<void *>(method + 32)}) {
        EXPECT_EQ(*static_cast<symbol **>(place), S("sum"));
        EXPECT_EQ(static_cast<zan_method *>(place)[1], M(thing_sum));
        EXPECT_EQ(static_cast<char *>(place)[16], argtype_cant);
    }
    auto *listed = reinterpret_cast<zan_messlist *>(send(method, "getmesslist"));
    ASSERT_NE(listed, nullptr);
    EXPECT_EQ(listed->function, M(thing_sum));
    object_free(x);
}

TEST(classes, what_is_added_later_is_seen_by_older_objects)
{
    zan_class *c = class_new("test_late", nullptr, nullptr, sizeof(object), nullptr, 0);
    void *x = object_alloc(c);
    void *methods = class_extra_lookup(c, S("methods"));
    EXPECT_EQ(send(x, "late"), 0);
    class_addmethod(c, M(+[](void *) -> zan_word { return 1; }), "late", argtype_cant, 0);
    EXPECT_EQ(send(x, "late"), 1);
    class_addmethod(c, M(+[](void *) -> zan_word { return 2; }), "late", argtype_gimme, 0);
    EXPECT_EQ(send(x, "late"), 2); // replaced, not doubled
    EXPECT_EQ(class_mess(c, S("late"))->types[0], argtype_gimme);
    EXPECT_EQ(class_mess(c, S("late"))[1].name, nullptr);
    EXPECT_EQ(hashtab_getsize(methods), 1);
    EXPECT_EQ(object_getmethod_object(x, S("late"))->entry.types[0], argtype_gimme);
    object_free(x);
    class_free(c);
}

TEST(classes, hold_many_methods_at_a_fixed_place_and_refuse_too_many)
{
    zan_class *c = class_new("test_many", nullptr, nullptr, sizeof(object), nullptr, 0);
    object *x = static_cast<object *>(object_alloc(c));
    void *table = x->messlist;
    const long most = 4095;
    for (long i = 0; i < most; ++i)
        ASSERT_EQ(class_addmethod(c, M(method_false), ("m" + std::to_string(i)).c_str(), argtype_cant, 0), 0) << i;
    report_catcher reports;
    EXPECT_EQ(class_addmethod(c, M(method_false), "one_more", argtype_cant, 0), zan_err_out_of_mem);
    EXPECT_NE(reports.one_error().find("test_many"), std::string::npos);
    EXPECT_EQ(x->messlist, table);
    long walked = 0;
    for (auto *e = static_cast<zan_messlist *>(table); e->name; ++e)
        ++walked;
    EXPECT_EQ(walked, most);
    EXPECT_NE(class_mess(c, S("m4094")), nullptr);
    object_free(x);
    class_free(c);
}

TEST(classes, a_name_belongs_to_the_first_in_its_namespace)
{
    zan_class *first = class_new("test_same", nullptr, nullptr, sizeof(object), nullptr, 0);
    zan_class *second = class_new("test_same", nullptr, nullptr, sizeof(object), nullptr, 0);
    EXPECT_EQ(class_findbyname(S("test"), S("test_same")), nullptr);
    EXPECT_EQ(class_register(S("test"), first), 0);
    EXPECT_EQ(class_register(S("test"), first), 0);
    EXPECT_EQ(class_register(S("test"), second), zan_err_duplicate);
    EXPECT_EQ(class_register(S("test_other"), second), 0);
    EXPECT_EQ(class_findbyname(S("test"), S("test_same")), first);
    EXPECT_EQ(class_findbyname(S("test_other"), S("test_same")), second);
    EXPECT_EQ(class_findbyname(nullptr, S("test_same")), nullptr);
    class_free(first);
    EXPECT_EQ(class_findbyname(S("test"), S("test_same")), nullptr);
    class_free(second);
}

TEST(classes, one_that_is_freed_early_waits_for_its_objects)
{
    zan_class *c = class_new("test_doomed", nullptr, nullptr, sizeof(object), nullptr, 0);
    class_addmethod(c, M(+[](void *) -> zan_word { return 5; }), "five", argtype_cant, 0);
    void *both[] = {object_alloc(c), object_alloc(c)};
    EXPECT_EQ(class_free(c), 0);
    for (void *x : both) {
        EXPECT_EQ(send(x, "five"), 5);
        object_free(x);
    }
    EXPECT_EQ(zan_object_count(S("test_doomed")), 0);
}

TEST(classes, wrong_set_up_is_refused)
{
    report_catcher reports;
    EXPECT_EQ(class_new("small", nullptr, nullptr, 8, nullptr, 0), nullptr);
    EXPECT_NE(reports.one_error().find("small"), std::string::npos);
    EXPECT_EQ(class_new(nullptr, nullptr, nullptr, 32, nullptr, 0), nullptr);
    reports.take();
    EXPECT_NE(class_addmethod(nullptr, M(method_false), "a", 0), 0);
    EXPECT_NE(class_addattr(thing_class(), nullptr), 0);
    EXPECT_NE(class_addadornment(thing_class(), nullptr), 0);
    EXPECT_NE(class_register(nullptr, thing_class()), 0);
    EXPECT_NE(class_extra_store(thing_class(), S("methods"), nullptr), 0);
    EXPECT_EQ(class_free(nullptr), zan_err_invalid_ptr);
    EXPECT_EQ(class_method(thing_class(), S("absent")), nullptr);
}

TEST(classes, a_copy_makes_objects_of_its_own_name)
{
    zan_class *from = thing_class();
    class_extra_store(from, S("word"), reinterpret_cast<void *>(99));
    thing *adornment = make_thing();
    class_addadornment(from, adornment);
    class_addtypedwrapper(from, M(+[](void *) -> zan_word { return 3; }), "wrapped", argtype_gimme, 0);
    void *x = make_thing();
    void *method = object_getmethod_object(x, S("sum"));
    object_free(x);
    object_addattr_parse(method, "undocumented", S("long"), 0, "1");
    class_copy(S("test"), S("test_thing"), S("test"), S("test_between"));
    zan_class *copy = class_copy(S("test"), S("test_between"), S("test"), S("test_copy")); // a copy's copy
    ASSERT_NE(copy, nullptr);
    object_deleteattr(method, S("undocumented"));
    EXPECT_EQ(class_copy(S("test"), S("absent"), S("test"), S("x")), nullptr);
    EXPECT_EQ(class_copy(S("test"), S("test_thing"), S("test"), S("test_copy")), nullptr); // taken
    // the constructor knows only the first class
    x = object_new_imp(S("test"), S("test_copy"), 4, 5, 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(object_refpage_method_is_undocumented(object_getmethod_object(x, S("sum"))), 1);
    EXPECT_EQ(object_classname(x), S("test_copy"));
    EXPECT_EQ(send(x, "sum"), 9);
    void *y = make_thing();
    EXPECT_EQ(object_classname(y), S("test_thing"));
    EXPECT_EQ(class_extra_lookup(copy, S("word")), reinterpret_cast<void *>(99));
    EXPECT_EQ(class_adornment_get(copy, S("test_thing")), adornment);
    EXPECT_EQ(class_adornment_get(copy, S("absent")), nullptr);
    EXPECT_NE(class_typedwrapper_get(copy, S("wrapped")), nullptr);
    class_addmethod(copy, M(+[](void *) -> zan_word { return 1; }), "sum", argtype_cant, 0);
    EXPECT_EQ(send(y, "sum"), 3); // the first class keeps its own
    object_free(x);
    object_free(y);
    class_free(copy);
    class_free(class_findbyname(S("test"), S("test_between")));
    EXPECT_EQ(class_adornment_get(from, S("test_thing")), adornment); // still the first class's
}

TEST(classes, extra_words_flags_and_the_absent_key)
{
    zan_class *c = thing_class();
    EXPECT_EQ(class_extra_lookup(c, S("absent")), nullptr);
    class_extra_store(c, S("k"), c);
    class_extra_store(c, S("k"), S("k"));
    EXPECT_EQ(class_extra_lookup(c, S("k")), S("k"));
    class_flagsset(c, 0x20000);
    EXPECT_EQ(class_flagsget(c), 0x20000);
    class_flagsset(c, 0);
}

TEST(objects, freeing_runs_the_free_function_with_the_last_reference)
{
    const long alive = zan_object_count(S("test_thing"));
    freed = 0;
    thing *x = make_thing();
    EXPECT_EQ(zan_object_count(S("test_thing")), alive + 1);
    object_retain(x);
    object_retain(x);
    object_release(x);
    object_free(x); // takes one reference like any release
    EXPECT_EQ(freed, 0);
    EXPECT_EQ(send(x, "sum"), 3);
    object_release(x);
    EXPECT_EQ(freed, 1);
    EXPECT_EQ(object_free(make_thing()), 0);
    EXPECT_EQ(freed, 2);
    EXPECT_EQ(zan_object_count(S("test_thing")), alive);
    EXPECT_EQ(object_free(nullptr), 0);
    object stale{}; // what is left of a freed object has no magic
    EXPECT_EQ(object_free(&stale), zan_err_invalid_ptr);
    EXPECT_EQ(freed, 2);
}

TEST(objects, a_dead_object_answers_nothing)
{
    thing *x = make_thing();
    object dead = x->header; // its table is right, its magic gone
    dead.magic = 0;
    atom rv;
    void *value = nullptr;
    symbol *name = nullptr;
    for (void *nobody : {static_cast<void *>(nullptr), static_cast<void *>(&dead)}) {
        EXPECT_EQ(send(nobody, "sum"), 0);
        EXPECT_NE(object_method_typed(nobody, S("sum"), 0, nullptr, &rv), 0);
        EXPECT_NE(typedmess(nobody, S("sum"), 0, nullptr), 0);
        EXPECT_EQ(object_getmethod(nobody, S("sum")), M(method_false));
        EXPECT_EQ(zgetfn(nobody, S("sum")), nullptr);
        EXPECT_EQ(object_mess(nobody, S("sum")), nullptr);
        EXPECT_EQ(object_getmethod_object(nobody, S("sum")), nullptr);
        EXPECT_EQ(object_class(nobody), nullptr);
        EXPECT_EQ(object_classname(nobody), S(""));
        EXPECT_NE(object_retain(nobody), 0);
        EXPECT_EQ(object_clone(nobody), nullptr);
        EXPECT_EQ(object_register(S("test"), S("dead"), nobody), nullptr);
        EXPECT_NE(object_unregister(nobody), 0);
        EXPECT_NE(object_findregisteredbyptr(&name, &name, nobody), 0);
        EXPECT_EQ(object_attach(S("test"), S("dead"), nobody), nullptr);
        EXPECT_NE(object_detach(S("test"), S("dead"), nobody), 0);
        EXPECT_NE(object_notify(nobody, S("a"), nullptr), 0);
        EXPECT_NE(object_obex_lookup(nobody, S("a"), &value), 0);
        EXPECT_NE(object_obex_store(nobody, S("a"), x), 0);
        EXPECT_NE(object_addmethod(nobody, M(method_false), "a", 0), 0);
        EXPECT_EQ(object_attr_get(nobody, S("a")), nullptr);
        EXPECT_NE(object_attr_touch(nobody, S("a")), 0);
    }
    EXPECT_EQ(send(x, "sum"), 3);
    EXPECT_EQ(object_method_imp(x, nullptr, 0, 0, 0, 0, 0, 0, 0, 0), 0);
    object_free(x);
}

TEST(objects, a_free_function_that_frees_its_object_again_does_no_harm)
{
    zan_class *c =
        class_new("test_again", nullptr, M(+[](void *x) { object_free(x); }), sizeof(object), nullptr, 0);
    EXPECT_EQ(object_free(object_alloc(c)), 0);
    EXPECT_EQ(zan_object_count(S("test_again")), 0);
    class_free(c);
}

TEST(objects, constructors_get_what_their_tags_say)
{
    static zan_class *c;
    static std::string seen;
    static const auto made = [](std::string text) {
        seen = std::move(text);
        return object_alloc(c);
    };
    const auto define = [](const char *name, zan_method fn, auto... tags) {
        c = class_new(name, fn, nullptr, sizeof(object), nullptr, tags..., 0);
        class_register(S("test"), c);
    };
    atom list[] = {A(7), A(2.5), A("word")};
    report_catcher reports;
    const auto typed = [&](const char *name, long argc) {
        seen = "none";
        object_free(object_new_typed(S("test"), S(name), argc, list));
        return seen;
    };

    define("test_gimme", M(+[](symbol *s, long argc, atom *argv) {
               return made(std::string(s->name) + ": " + text_of(argc, argv));
           }),
           argtype_gimme);
    EXPECT_EQ(typed("test_gimme", 3), "test_gimme: 7 2.500000f word");
    object_free(object_new_imp(S("test"), S("test_gimme"), 2, W(list), 0, 0, 0, 0, 0, 0));
    EXPECT_EQ(seen, "test_gimme: 7 2.500000f");
    class_free(c);

    define("test_typed", M(+[](long n, double d, symbol *s, long missing) {
               return made(text_of(A(n)) + " " + text_of(A(d)) + " " + s->name + " " + text_of(A(missing)));
           }),
           argtype_long, argtype_float, argtype_sym, argtype_deflong);
    EXPECT_EQ(typed("test_typed", 3), "7 2.500000f word 0");
    EXPECT_EQ(typed("test_typed", 2), "none");
    EXPECT_NE(reports.one_error().find("test_typed: argument 3: expected a symbol, found nothing"),
              std::string::npos);
    class_free(c);

    define("test_words",
           M(+[](zan_word a, zan_word b, zan_word d, zan_word e, zan_word f, zan_word g, zan_word h, zan_word i) {
               const atom all[] = {A(a), A(b), A(d), A(e), A(f), A(g), A(h), A(i)};
               return made(text_of(8, all));
           }),
           argtype_cant);
    object_free(object_new_imp(S("test"), S("test_words"), 1, 2, 3, 4, 5, 6, 7, 8));
    EXPECT_EQ(seen, "1 2 3 4 5 6 7 8");
    EXPECT_EQ(typed("test_words", 1), "none");
    EXPECT_NE(reports.one_error().find("test_words"), std::string::npos);
    class_addtypedwrapper(
        c, M(+[](symbol *s, long argc, atom *argv) { return made("wrapped " + text_of(argc, argv)); }), "new",
        argtype_gimme, 0);
    EXPECT_EQ(typed("test_words", 1), "wrapped 7");
    class_free(c);

    EXPECT_EQ(object_new_typed(S("test"), S("test_absent"), 0, nullptr), nullptr);
    EXPECT_EQ(object_new_imp(nullptr, nullptr, 0, 0, 0, 0, 0, 0, 0, 0), nullptr);
}

TEST(objects, the_obex_owns_what_it_is_not_told_to_borrow)
{
    const struct {
        const char *key;
        long flags;
        bool owned;
    } rows[] = {{"mine", 0, true}, {"borrowed", 1, false}, {"#B", 0, false}, {"zanwrapper", 0, false}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.key);
        thing *x = make_thing(), *inner = make_thing();
        EXPECT_EQ(x->obex, nullptr);
        void *value = x;
        EXPECT_EQ(object_obex_lookup(x, S(row.key), &value), zan_err_generic);
        EXPECT_EQ(value, x); // left alone
        EXPECT_EQ(object_obex_storeflags(x, S(row.key), inner, row.flags), 0);
        EXPECT_NE(x->obex, nullptr); // mirrored where the class said
        EXPECT_EQ(object_obex_lookup(x, S(row.key), &value), 0);
        EXPECT_EQ(value, inner);
        freed = 0;
        object_free(x);
        EXPECT_EQ(freed, row.owned ? 2 : 1);
        if (!row.owned)
            object_free(inner);
    }
    thing *x = make_thing(), *first = make_thing(), *second = make_thing();
    object_obex_store(x, S("k"), first);
    object_obex_store(x, S("k"), second); // the first goes back to its owner
    freed = 0;
    object_free(first);
    object_free(x);
    EXPECT_EQ(freed, 3);
}

TEST(objects, a_clone_is_another_instance_with_the_same_bytes)
{
    thing *x = make_thing(3, 4);
    strcpy(x->text, "bytes");
    object_obex_storeflags(x, S("k"), x, 1);
    object_addattr_parse(x, "label", S("symbol"), 0, "two words");
    thing *copy = static_cast<thing *>(object_clone(x));
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, x);
    EXPECT_EQ(send(copy, "sum"), 7);
    EXPECT_STREQ(copy->text, "bytes");
    EXPECT_EQ(copy->header.magic, ZAN_OBJECT_MAGIC);
    void *value = nullptr;
    EXPECT_NE(object_obex_lookup(copy, S("k"), &value), 0);          // not its obex
    EXPECT_EQ(object_attr_getsym(copy, S("label")), S("two words")); // but its own attributes
    EXPECT_NE(object_attr_get(copy, S("label")), object_attr_get(x, S("label")));
    object_free(x);
    EXPECT_EQ(object_attr_getsym(copy, S("label")), S("two words"));
    object_free(copy);
}

TEST(objects, marks_of_method_objects_are_read_from_their_attributes)
{
    thing *x = make_thing();
    void *method = object_getmethod_object(x, S("sum"));
    for (const zan_word marked : {0, 1}) {
        EXPECT_EQ(object_refpage_method_is_undocumented(method), marked);
        EXPECT_EQ(object_refpage_method_is_groupreference(method), 0);
        object_addattr_parse(method, "undocumented", S("long"), 0, "1");
    }
    EXPECT_EQ(object_refpage_method_is_undocumented(nullptr), 0);
    object_deleteattr(method, S("undocumented"));
    object_free(x);
}

} // namespace
