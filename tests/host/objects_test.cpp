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

long thing_sum(thing *x)
{
    return x->a + x->b;
}
template <zan_word number> zan_word answer(void *)
{
    return number;
}

zan_class *thing_class()
{
    static zan_class *c = [] {
        const auto construct = +[](zan_word a, zan_word b) -> void * {
            thing *x = static_cast<thing *>(object_alloc(thing_class()));
            x->a = a;
            x->b = b;
            return x;
        };
        zan_class *made = class_new("test_thing", M(construct), M(+[](void *) { ++freed; }), sizeof(thing),
                                    nullptr, argtype_cant, 0);
        class_addmethod(made, M(thing_sum), "sum", argtype_cant, 0);
        class_obexoffset_set(made, offsetof(thing, obex));
        class_register(S("test"), made);
        return made;
    }();
    return c;
}

thing *make_thing(long a = 1, long b = 2, const char *name = "test_thing")
{
    thing_class();
    return static_cast<thing *>(object_new_imp(S("test"), S(name), a, b, 0, 0, 0, 0, 0, 0));
}

zan_class *plain_class(const char *name, zan_method free_fn = nullptr)
{
    return class_new(name, nullptr, free_fn, sizeof(object), nullptr, 0);
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
    zan_class *c = plain_class("test_late");
    void *x = object_alloc(c);
    EXPECT_EQ(send(x, "late"), 0);
    class_addmethod(c, M(answer<1>), "late", argtype_cant, 0);
    EXPECT_EQ(send(x, "late"), 1);
    class_addmethod(c, M(answer<2>), "late", argtype_gimme, 0);
    EXPECT_EQ(send(x, "late"), 2); // replaced, not doubled
    EXPECT_EQ(class_mess(c, S("late"))->types[0], argtype_gimme);
    EXPECT_EQ(class_mess(c, S("late"))[1].name, nullptr);
    EXPECT_EQ(hashtab_getsize(class_extra_lookup(c, S("methods"))), 1);
    EXPECT_EQ(object_getmethod_object(x, S("late"))->entry.types[0], argtype_gimme);
    class_free(c); // early: waits for its object
    EXPECT_EQ(send(x, "late"), 2);
    object_free(x);
    EXPECT_EQ(zan_object_count(S("test_late")), 0);
}

TEST(classes, hold_many_methods_at_a_fixed_place_and_refuse_too_many)
{
    zan_class *c = plain_class("test_many");
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
    object_free(x);
    class_free(c);
}

TEST(classes, a_name_belongs_to_the_first_in_its_namespace_and_wrong_set_up_is_refused)
{
    report_catcher reports;
    symbol *name = S("test_same"), *space = S("test"), *other = S("test_other");
    zan_class *first = plain_class("test_same"), *second = plain_class("test_same");
    EXPECT_EQ(class_findbyname(space, name), nullptr);
    EXPECT_EQ(class_register(space, first) + class_register(space, first), 0);
    EXPECT_EQ(class_register(space, second), zan_err_duplicate);
    EXPECT_NE(reports.one_error().find("test_same"), std::string::npos);
    EXPECT_EQ(class_register(other, second), 0);
    EXPECT_TRUE(class_findbyname(space, name) == first && class_findbyname(other, name) == second);
    class_free(first);
    EXPECT_FALSE(class_findbyname(space, name) || class_findbyname(nullptr, name) ||
                 class_new("small", nullptr, nullptr, 8, nullptr, 0) ||
                 class_new(nullptr, nullptr, nullptr, 32, nullptr, 0) || class_method(second, S("absent")) ||
                 class_extra_lookup(second, S("absent")) || class_copy(space, S("absent"), space, S("x")));
    EXPECT_NE(reports.take().at(0).find("small"), std::string::npos);
    EXPECT_TRUE(class_addmethod(nullptr, M(method_false), "a", 0) && class_addattr(second, nullptr) &&
                class_addadornment(second, nullptr) && class_register(nullptr, second) && class_free(nullptr) &&
                class_extra_store(second, S("methods"), nullptr));
    class_free(second);
}

TEST(classes, a_copy_makes_objects_of_its_own_name)
{
    zan_class *from = thing_class();
    for (const long word : {98, 99})
        class_extra_store(from, S("word"), reinterpret_cast<void *>(word));
    class_flagsset(from, 0x20000);
    EXPECT_EQ(class_flagsget(from), 0x20000);
    thing *adornment = make_thing(), *y = make_thing();
    class_addadornment(from, adornment);
    class_addtypedwrapper(from, M(answer<3>), "wrapped", argtype_gimme, 0);
    void *method = object_getmethod_object(y, S("sum"));
    EXPECT_EQ(object_refpage_method_is_undocumented(method), 0);
    object_addattr_parse(method, "undocumented", S("long"), 0, "1");
    class_copy(S("test"), S("test_thing"), S("test"), S("test_between"));
    zan_class *copy = class_copy(S("test"), S("test_between"), S("test"), S("test_copy")); // a copy's copy
    ASSERT_NE(copy, nullptr);
    object_deleteattr(method, S("undocumented"));
    report_catcher reports;
    EXPECT_EQ(class_copy(S("test"), S("test_thing"), S("test"), S("test_copy")), nullptr); // taken
    reports.one_error();
    thing *x = make_thing(4, 5, "test_copy"); // the constructor knows only the first class
    EXPECT_EQ(object_refpage_method_is_undocumented(object_getmethod_object(x, S("sum"))), 1);
    EXPECT_EQ(object_refpage_method_is_groupreference(object_getmethod_object(x, S("sum"))), 0);
    EXPECT_EQ(object_classname(x), S("test_copy"));
    EXPECT_EQ(send(x, "sum"), 9);
    EXPECT_EQ(class_extra_lookup(copy, S("word")), reinterpret_cast<void *>(99));
    EXPECT_EQ(class_adornment_get(copy, S("test_thing")), adornment);
    EXPECT_TRUE(class_typedwrapper_get(copy, S("wrapped")) && !class_adornment_get(copy, S("absent")));
    class_addmethod(copy, M(answer<1>), "sum", argtype_cant, 0);
    EXPECT_EQ(send(x, "sum"), 1);
    EXPECT_EQ(send(y, "sum"), 3); // the first class keeps its own
    object_free(x);
    object_free(y);
    class_free(copy);
    class_free(class_findbyname(S("test"), S("test_between")));
    EXPECT_EQ(class_adornment_get(from, S("test_thing")), adornment); // still the first class's
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
    EXPECT_TRUE(freed == 0 && send(x, "sum") == 3);
    freeobject(x);
    EXPECT_TRUE(freed == 1 && zan_object_count(S("test_thing")) == alive);
    EXPECT_EQ(object_free(nullptr), 0);
    object stale{}; // what is left of a freed object has no magic
    EXPECT_EQ(object_free(&stale), zan_err_invalid_ptr);
    zan_class *c = plain_class("test_again", M(+[](void *again) { object_free(again); }));
    EXPECT_EQ(object_free(object_alloc(c)), 0); // frees itself once more
    EXPECT_EQ(zan_object_count(S("test_again")), 0);
    class_free(c);
}

TEST(objects, a_dead_object_answers_nothing)
{
    thing *x = make_thing();
    object dead = x->header; // its table is right, its magic gone
    dead.magic = 0;
    atom rv;
    void *value = nullptr;
    symbol *name = nullptr, *sum = S("sum"), *space = S("test");
    for (void *nobody : {static_cast<void *>(nullptr), static_cast<void *>(&dead)}) {
        EXPECT_TRUE(object_method_typed(nobody, sum, 0, nullptr, &rv) && typedmess(nobody, sum, 0, nullptr) &&
                    object_retain(nobody) && object_unregister(nobody) && object_detach(space, sum, nobody) &&
                    object_findregisteredbyptr(&name, &name, nobody) && object_notify(nobody, sum, nullptr) &&
                    object_obex_lookup(nobody, sum, &value) && object_obex_store(nobody, sum, x) &&
                    object_addmethod(nobody, M(method_false), "a", 0) && object_attr_touch(nobody, sum));
        EXPECT_FALSE(send(nobody, "sum") || zgetfn(nobody, sum) || object_mess(nobody, sum) ||
                     object_getmethod_object(nobody, sum) || object_class(nobody) || object_clone(nobody) ||
                     object_register(space, sum, nobody) || object_attach(space, sum, nobody) ||
                     object_attr_get(nobody, sum));
        EXPECT_EQ(object_getmethod(nobody, sum), M(method_false));
        EXPECT_EQ(object_classname(nobody), S(""));
    }
    EXPECT_EQ(send(x, "sum"), 3);
    EXPECT_EQ(object_method_imp(x, nullptr, 0, 0, 0, 0, 0, 0, 0, 0), 0);
    object_free(x);
}

TEST(objects, constructors_get_what_their_tags_say)
{
    static zan_class *c;
    static std::string seen;
    static const auto made = [](symbol *name, std::vector<atom> atoms) {
        seen = (name ? std::string(name->name) + ": " : "") + text_of(long(atoms.size()), atoms.data());
        return object_alloc(c);
    };
    const auto define = [](const char *name, zan_method fn, auto... tags) {
        c = class_new(name, fn, nullptr, sizeof(object), nullptr, tags..., 0);
        class_register(S("test"), c);
    };
    const auto gimme = M(+[](symbol *s, long argc, atom *argv) { return made(s, {argv, argv + argc}); });
    atom list[] = {A(7), A(2.5), A("word")};
    report_catcher reports;
    const auto typed = [&](const char *name, long argc) { // or the error
        seen = "";
        object_free(object_new_typed(S("test"), S(name), argc, list));
        return seen.empty() ? reports.one_error() : seen;
    };

    define("test_gimme", gimme, argtype_gimme);
    EXPECT_EQ(typed("test_gimme", 3), "test_gimme: 7 2.500000f word");
    object_free(object_new_imp(S("test"), S("test_gimme"), 2, W(list), 0, 0, 0, 0, 0, 0));
    EXPECT_EQ(seen, "test_gimme: 7 2.500000f");
    class_free(c);

    define("test_typed", M(+[](long n, double d, symbol *s, long missing) {
               return made(nullptr, {A(n), A(d), A(s->name), A(missing)});
           }),
           argtype_long, argtype_float, argtype_sym, argtype_deflong);
    EXPECT_EQ(typed("test_typed", 3), "7 2.500000f word 0");
    EXPECT_NE(typed("test_typed", 2).find("test_typed: argument 3: expected a symbol, found nothing"),
              std::string::npos);
    class_free(c);

    define("test_words", M(+[](long a, long b, long d, long e, long f, long g, long h, long i) {
               return made(nullptr, {A(a), A(b), A(d), A(e), A(f), A(g), A(h), A(i)});
           }),
           argtype_cant);
    object_free(object_new_imp(S("test"), S("test_words"), 1, 2, 3, 4, 5, 6, 7, 8));
    EXPECT_EQ(seen, "1 2 3 4 5 6 7 8");
    EXPECT_NE(typed("test_words", 1).find("test_words: new: "), std::string::npos);
    EXPECT_EQ(typed("test_words", 0), "0 0 0 0 0 0 0 0");
    class_addtypedwrapper(c, gimme, "new", argtype_gimme, 0);
    EXPECT_EQ(typed("test_words", 1), "test_words: 7");
    class_free(c);
    EXPECT_EQ(object_new_typed(S("test"), S("test_absent"), 0, nullptr), nullptr);
}

TEST(objects, the_obex_owns_what_it_is_not_told_to_borrow)
{
    for (const auto &[key, flags, owned] :
         {std::tuple("mine", 0, true), {"borrowed", 1, false}, {"#B", 0, false}, {"zanwrapper", 0, false}}) {
        SCOPED_TRACE(key);
        thing *x = make_thing(), *old = make_thing(), *inner = make_thing();
        EXPECT_EQ(x->obex, nullptr);
        void *value = x;
        EXPECT_EQ(object_obex_lookup(x, S(key), &value), zan_err_generic);
        EXPECT_EQ(value, x);                                                   // left alone
        for (thing *stored : {old, static_cast<thing *>(nullptr), old, inner}) // the old one is its owner's again
            EXPECT_EQ(object_obex_storeflags(x, S(key), stored, flags), 0);
        EXPECT_NE(x->obex, nullptr); // mirrored where the class said
        EXPECT_EQ(object_obex_lookup(x, S(key), &value), 0);
        EXPECT_EQ(value, inner);
        object_free(old);
        freed = 0;
        object_free(x);
        EXPECT_EQ(freed, 1 + owned);
        if (!owned)
            object_free(inner);
    }
}

TEST(objects, a_clone_is_another_instance_with_the_same_bytes)
{
    thing *x = make_thing(3, 4);
    strcpy(x->text, "bytes");
    object_obex_storeflags(x, S("k"), x, 1);
    object_addattr_parse(x, "label", S("symbol"), 0, "two words");
    thing *copy = static_cast<thing *>(object_clone(x));
    ASSERT_TRUE(copy && copy != x);
    EXPECT_EQ(send(copy, "sum"), 7);
    EXPECT_STREQ(copy->text, "bytes");
    void *value = nullptr;
    EXPECT_NE(object_obex_lookup(copy, S("k"), &value), 0); // not its obex, but its own attributes
    EXPECT_NE(object_attr_get(copy, S("label")), object_attr_get(x, S("label")));
    object_free(x);
    EXPECT_EQ(object_attr_getsym(copy, S("label")), S("two words"));
    object_free(copy);
}

} // namespace
