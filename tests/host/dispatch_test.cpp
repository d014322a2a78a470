// Messages by name: words as they come, atoms by every tag, decorators, methods of one
// object, and what is said when a message can't be answered.
#include "kernel_fixture.h"
#include <thread>

namespace {

struct receiver {
    object header;
    receiver *next;      // what `decorator` gives
    long value;          // an attribute
    double numbers[4];   // an attribute
    long locked, hidden; // attributes that can't be set at all; not by users
};

std::string seen;

// Notes the arguments that a list of tags gives it.
template <class... T> zan_word r_typed(receiver *, T... values)
{
    [[maybe_unused]] const auto text = [](auto x) {
        if constexpr (std::is_pointer_v<decltype(x)>)
            return text_of(A(x->name));
        else
            return text_of(A(x));
    };
    seen.clear();
    ((seen += (seen.empty() ? "" : " ") + text(values)), ...);
    return 1;
}
zan_word r_gimme(receiver *, symbol *s, long argc, atom *argv)
{
    seen = s->name + ("(" + text_of(argc, argv) + ")");
    return 40 + argc;
}
zan_word r_gimmeback(receiver *x, symbol *s, long argc, atom *argv, atom *rv)
{
    atom_setfloat(rv, 0.25);
    return r_gimme(x, s, argc, argv);
}
zan_word r_giveobject(receiver *, symbol *, long argc, atom *argv, atom *rv)
{
    atom_setobj(rv, object_new_typed(S("nobox"), S("atomarray"), argc, argv));
    return 0;
}

zan_class *receiver_class()
{
    static zan_class *c = [] {
        zan_class *made = class_new("test_receiver", nullptr, nullptr, sizeof(receiver), nullptr, 0);
        const auto add = [made](const char *name, zan_method fn, auto... tags) {
            class_addmethod(made, fn, name, tags..., 0);
        };
        constexpr auto words = r_typed<long, long, long, long, long, long, long, long>;
        add("words", M(words), argtype_cant);
        add("gimmeback", M(r_gimmeback), argtype_gimmeback);
        add("giveobject", M(r_giveobject), argtype_gimmeback);
        add("gimme", M(r_gimme), argtype_gimme);
        add("defer", M(r_gimme), argtype_defer);
        add("usurp", M(r_gimme), argtype_usurp);
        add("defer_low", M(r_gimme), argtype_defer_low);
        add("usurp_low", M(r_gimme), argtype_usurp_low);
        add("none", M(r_typed<>));
        add("float", M(r_typed<double>), argtype_float);
        add("defaults", M(r_typed<long, double, symbol *>), argtype_deflong, argtype_deffloat, argtype_defsym);
        add("mixed", M(r_typed<long, double, long, double, symbol *, long, double>), argtype_long, argtype_float,
            argtype_long, argtype_float, argtype_sym, argtype_obj, argtype_float);
        add("nine", M(words), 1, 1, 1, 1, 1, 1, 1, 1, 1);
        add("decorator", M(+[](receiver *x, symbol *) { return x->next; }), argtype_cant);
        class_addtypedwrapper(made, M(r_gimmeback), "words", argtype_gimmeback, 0);
        class_addattr(made, attr_offset_array_new("numbers", S("float64"), 4, 0, nullptr, nullptr, 0,
                                                  offsetof(receiver, numbers)));
        for (const auto &[name, flags, offset] : {std::tuple("value", 0L, offsetof(receiver, value)),
                                                  {"locked", 2L, offsetof(receiver, locked)},
                                                  {"hidden", 0x300L, offsetof(receiver, hidden)}})
            class_addattr(made, attr_offset_new(name, S("long"), flags, nullptr, nullptr, long(offset)));
        class_register(S("test"), made);
        return made;
    }();
    return c;
}

class dispatch : public testing::Test {
  protected:
    receiver *x = static_cast<receiver *>(object_alloc(receiver_class()));
    report_catcher reports;
    void SetUp() override { seen.clear(); }
    void TearDown() override { object_free(x); }
};

TEST_F(dispatch, atoms_are_converted_by_the_tags)
{
    void *seven = reinterpret_cast<void *>(7);
    const std::vector<atom> mixed = {A(1.9), A(2.5),   A(3),   A(4),
                                     A("e"), A(seven), A(8.5), A("more than it takes")};
    const struct {
        const char *message;
        std::vector<atom> atoms;
        zan_word answer;
        const char *seen, *rv;
    } rows[] = {
        {"usurp_low", {A(1), A(2.5), A("w")}, 43, "usurp_low(1 2.500000f w)", "nothing"},
        {"gimmeback", {A("w")}, 41, "gimmeback(w)", "0.250000f"},
        {"giveobject", {A("w"), A(1)}, 0, "", "[w 1]"},
        {"words", {A(5)}, 41, "words(5)", "0.250000f"}, // the typed wrapper of a private method
        {"none", {A(1)}, 1, "", "nothing"},
        {"float", {A(3)}, 1, "3.000000f", "nothing"},
        {"defaults", {}, 1, "0 0.000000f ", "nothing"},
        {"defaults", {A(4), A(5), A("six")}, 1, "4 5.000000f six", "nothing"},
        {"mixed", mixed, 1, "1 2.500000f 3 4.000000f e 7 8.500000f", "nothing"},
        {"value", {A(17)}, 0, "", "nothing"},
        {"getvalue", {}, 0, "", "17"},
        {"numbers", {A(1), A(2)}, 0, "", "nothing"},
        {"getnumbers", {}, 0, "", "[1.000000f 2.000000f 0.000000f 0.000000f]"},
        {"gethidden", {}, 0, "", "0"},
        {"locked", {A(6)}, zan_err_generic, "", "nothing"},
        {"absent", {}, zan_err_generic, "", "nothing"}, // a program that asks is only told
    };
    const long arrays = zan_object_count(S("atomarray"));
    for (auto row : rows) {
        SCOPED_TRACE(row.message);
        const long argc = static_cast<long>(row.atoms.size());
        atom rv = A("before");
        for (atom *place : {static_cast<atom *>(nullptr), &rv}) { // an answer that no one takes is freed
            seen.clear();
            EXPECT_EQ(object_method_typed(x, S(row.message), argc, row.atoms.data(), place), row.answer);
            EXPECT_EQ(seen, row.seen);
        }
        long count = 0;
        atom *argv = nullptr;
        if (atomarray_getatoms(atom_getobj(&rv), &count, &argv) == 0) {
            EXPECT_EQ("[" + text_of(count, argv) + "]", row.rv);
        } else {
            EXPECT_EQ(text_of(rv), row.rv);
        }
        object_free(atom_getobj(&rv));
    }
    EXPECT_EQ(zan_object_count(S("atomarray")), arrays);
    EXPECT_TRUE(reports.take().empty());
}

TEST_F(dispatch, what_does_not_fit_is_one_error_that_names_it)
{
    const struct {
        bool by_patcher;
        const char *message;
        std::vector<atom> atoms;
        const char *says;
    } rows[] = {
        {false, "mixed", {}, "test_receiver: mixed: argument 1: expected an integer, found nothing"},
        {false, "mixed", {A("a")}, "test_receiver: mixed: argument 1: expected an integer, found a symbol"},
        {false, "mixed", {A(1), A("b")}, "mixed: argument 2: expected a number, found a symbol"},
        {false, "mixed", {A(1), A(2), A(3), A(4), A(5)}, "argument 5: expected a symbol, found an integer"},
        {false,
         "mixed",
         {A(1), A(2), A(3), A(4), A("e"), A(6.5)},
         "argument 6: expected an object, found a number"},
        {false, "defaults", {A(1), A("b")}, "defaults: argument 2: expected a number, found a symbol"},
        {false, "nine", std::vector<atom>(9, A(1)), "test_receiver: nine: takes more than 8 arguments"},
        {false, "decorator", {}, "test_receiver: decorator: is private"},
        {true, "words", {}, "doesn't understand \"words\""}, // private: the wrapper is for languages
        {true, "number", {}, "doesn't understand \"number\": did you mean \"numbers\"?"},
        {true, "zzzzzzzz", {}, "test_receiver: doesn't understand \"zzzzzzzz\""},
        {true, "hidden", {A(3)}, "test_receiver: the attribute \"hidden\" can't be set"},
        {true, "gethidden", {}, "the attribute \"hidden\" can't be read"},
        {true, "locked", {A(3)}, "the attribute \"locked\" can't be set"},
    };
    for (auto row : rows) {
        symbol *const message = S(row.message);
        const long argc = static_cast<long>(row.atoms.size());
        EXPECT_EQ(row.by_patcher ? typedmess(x, message, argc, row.atoms.data())
                                 : object_method_typed(x, message, argc, row.atoms.data(), nullptr),
                  zan_err_generic);
        EXPECT_NE(reports.one_error().find(row.says), std::string::npos) << row.says;
        EXPECT_EQ(seen, "");
    }
    atom three = A(3);
    EXPECT_EQ(typedmess(x, S("value"), 1, &three), 0);
    EXPECT_EQ(x->value, 3);
    EXPECT_EQ(typedmess(x, S("getvalue"), 0, nullptr), 0);
    EXPECT_EQ(typedmess(x, S("int"), 1, &three), 1); // taken by `float`
    EXPECT_EQ(seen, "3.000000f");
    object_addmethod(x, M(r_gimme), "anything", argtype_gimme, 0);
    EXPECT_EQ(typedmess(x, S("zzzzzzzz"), 1, &three), 41);
    EXPECT_EQ(seen, "zzzzzzzz(3)");
    EXPECT_TRUE(reports.take().empty());
}

TEST_F(dispatch, unknown_messages_go_to_what_is_decorated)
{
    receiver *middle = static_cast<receiver *>(object_alloc(receiver_class()));
    receiver *inner = static_cast<receiver *>(object_alloc(receiver_class()));
    object_addmethod(inner, M(+[](receiver *r, zan_word w) { return r->value + w; }), "inner", argtype_cant, 0);
    object_addmethod(inner, M(r_gimmeback), "back", argtype_gimmeback, 0);
    object_addattr(inner, attr_offset_new("depth", S("long"), 0, nullptr, nullptr, offsetof(receiver, value)));
    x->next = middle;
    middle->next = inner;
    inner->value = 100;
    EXPECT_EQ(send(x, "inner", 5), 105);
    EXPECT_EQ(send(x, "words", 1, -2, 3, -4, 5, -6, 7, -8), 1); // its own, with words as they come
    EXPECT_EQ(seen, "1 -2 3 -4 5 -6 7 -8");
    atom rv, three = A(3);
    EXPECT_EQ(object_method_typed(x, S("back"), 1, &three, &rv), 41);
    EXPECT_EQ(typedmess(x, S("depth"), 1, &three), 0);
    EXPECT_EQ(inner->value, 3);
    EXPECT_EQ(send(x, "value", 1, &three), 0);
    EXPECT_TRUE(x->value == 3 && middle->value == 0);
    // circles end, as does what is no object
    three.value.as_long = 0;
    for (void *next : {static_cast<void *>(x), static_cast<void *>(middle), static_cast<void *>(&three)}) {
        middle->next = static_cast<receiver *>(next);
        EXPECT_EQ(send(x, "inner", 5), 0);
        EXPECT_EQ(object_method_typed(x, S("inner"), 0, nullptr, nullptr), zan_err_generic);
    }
    object_free(middle);
    object_free(inner);
}

TEST_F(dispatch, methods_of_one_object_win_over_its_class)
{
    receiver *other = static_cast<receiver *>(object_alloc(receiver_class()));
    EXPECT_EQ(object_addmethod(x, M(+[](void *) -> zan_word { return 500; }), "none", argtype_cant, 0), 0);
    EXPECT_EQ(object_addmethod(x, M(r_typed<double>), "only_here", argtype_float, 0), 0);
    EXPECT_EQ(send(x, "none"), 500);
    EXPECT_EQ(send(other, "none"), 1);
    EXPECT_EQ(object_getmethod(other, S("only_here")), M(method_false));
    EXPECT_EQ(send(other, "only_here"), method_false());
    EXPECT_EQ(object_getmethod_object(x, S("none"))->entry.types[0], argtype_cant);
    EXPECT_EQ(object_getmethod_object(x, S("float"))->entry.function, M(r_typed<double>)); // the class's
    class_addmethod(receiver_class(), M(r_typed<>), "later", 0);
    EXPECT_EQ(object_getmethod_object(x, S("later"))->entry.function, M(r_typed<>));
    object_addmethod(x, M(r_typed<>), "none", 0);
    EXPECT_EQ(send(x, "none"), 1);
    object_free(other);
    // a symbol or a found entry serve as well
    EXPECT_EQ(object_method_sym(x, S("gimme"), S("word"), nullptr), 41);
    EXPECT_EQ(seen, "gimme(word)");
    atom three = A(3), rv;
    EXPECT_EQ(object_method_typedfun(x, object_mess(x, S("gimmeback")), S("other"), 1, &three, &rv), 41);
    EXPECT_EQ(seen, "other(3)");
    EXPECT_EQ(object_method_typedfun(x, object_mess(x, S("gimme")), nullptr, -1, nullptr, &rv), 40);
    EXPECT_EQ(seen, "gimme()");
    EXPECT_NE(object_method_typedfun(x, nullptr, S("a"), 0, nullptr, &rv), 0);
}

TEST_F(dispatch, deferring_tags_run_on_the_main_thread)
{
    for (const std::string name : {"defer", "usurp", "defer_low", "usurp_low"}) {
        atom list[] = {A(3), A("b")};
        seen.clear();
        std::thread([&] { EXPECT_EQ(typedmess(x, S(name.c_str()), 2, list), 0); }).join();
        EXPECT_EQ(seen, "");
        list[0] = list[1] = A(4); // the queue has its own copy
        zan_service();
        EXPECT_EQ(seen, name + "(3 b)");
    }
}

using ThreadsDispatch = dispatch;

TEST_F(ThreadsDispatch, methods_may_be_added_while_others_send)
{
    zan_class *c = class_new("test_racing", nullptr, nullptr, sizeof(object), nullptr, 0);
    void *y = object_alloc(c);
    class_addmethod(c, M(+[](void *, zan_word w) -> zan_word { return w + 1; }), "plus", argtype_cant, 0);
    std::vector<std::thread> senders;
    for (int t = 0; t < 3; ++t)
        senders.emplace_back([y] {
            for (long i = 0; i < 20000; ++i)
                ASSERT_EQ(send(y, "plus", i), i + 1);
        });
    for (long i = 0; i < 1000; ++i)
        class_addmethod(c, M(r_typed<>), ("racing" + std::to_string(i)).c_str(), argtype_cant, 0);
    for (std::thread &t : senders)
        t.join();
    object_free(y);
    class_free(c);
}

} // namespace
