// Dictionaries and atom arrays: what goes in comes out under every reader, keys keep
// their order, and what a dictionary owns goes with it.
#include <gtest/gtest.h>
#include <zan/host.h>

#include <map>
#include <string>
#include <vector>

#include "atom_generator.h"

namespace {

long alive(const char *classname)
{
    return zan_object_count(gensym(classname));
}

std::vector<std::string> keys_of(void *d)
{
    long count = -1;
    symbol **keys = nullptr;
    EXPECT_EQ(dictionary_getkeys(d, &count, &keys), 0);
    std::vector<std::string> names;
    for (long i = 0; i < count; i++)
        names.push_back(keys[i]->name);
    dictionary_freekeys(d, count, keys);
    return names;
}

TEST(Atomarray, HoldsACopyOfItsAtoms)
{
    atom given[] = {long_atom(3), sym_atom("x"), float_atom(2.5)};
    void *x = object_new_imp(gensym("nobox"), gensym("atomarray"), 3, reinterpret_cast<zan_word>(given), 0, 0, 0,
                             0, 0, 0);
    ASSERT_NE(x, nullptr);
    const std::vector<atom> model(given, given + 3);
    given[0] = long_atom(99);
    EXPECT_EQ(atomarray_getsize(x), 3);
    long argc = 0;
    atom *argv = nullptr;
    EXPECT_EQ(atomarray_getatoms(x, &argc, &argv), 0);
    ASSERT_EQ(argc, 3);
    for (int i = 0; i < 3; i++)
        EXPECT_TRUE(same_atom(argv[i], model[size_t(i)]));

    argc = 0;
    argv = nullptr;
    EXPECT_EQ(object_getvalueof(x, &argc, &argv), 0);
    ASSERT_EQ(argc, 3);
    EXPECT_TRUE(same_atom(argv[2], model[2]));
    sysmem_freeptr(argv);
    atom own[2];
    argc = 2;
    argv = own;
    EXPECT_EQ(object_getvalueof(x, &argc, &argv), 0);
    EXPECT_EQ(argc, 2);
    EXPECT_EQ(argv, own);
    EXPECT_TRUE(same_atom(own[1], model[1]));

    void *copy = object_clone(x);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(object_free(x), 0);
    EXPECT_EQ(atomarray_getatoms(copy, &argc, &argv), 0);
    EXPECT_TRUE(argc == 3 && same_atom(argv[0], model[0]));
    object_free(copy);
}

TEST(Atomarray, MayBeEmptyOrMissing)
{
    void *x = object_new_imp(gensym("nobox"), gensym("atomarray"), -4, 0, 0, 0, 0, 0, 0, 0);
    long argc = 9;
    atom *argv = nullptr;
    EXPECT_EQ(atomarray_getsize(x), 0);
    EXPECT_EQ(object_getvalueof(x, &argc, &argv), 0);
    EXPECT_EQ(argc, 0);
    object_free(x);
    argc = 9;
    EXPECT_NE(atomarray_getatoms(nullptr, &argc, &argv), 0);
    EXPECT_EQ(argc, 0);
    atom typed = long_atom(8);
    x = object_new_typed(gensym("nobox"), gensym("atomarray"), 1, &typed);
    EXPECT_EQ(atomarray_getsize(x), 1);
    object_free(x);
}

TEST(Dictionary, EveryReaderSeesTheSameValue)
{
    void *d = dictionary_new(), *inner = dictionary_new();
    const std::vector<atom> atoms = {sym_atom("a"), long_atom(1)};
    EXPECT_EQ(dictionary_appendlong(d, gensym("long"), 42), 0);
    EXPECT_EQ(dictionary_appendfloat(d, gensym("float"), 2.75), 0);
    EXPECT_EQ(dictionary_appendsym(d, gensym("sym"), gensym("word")), 0);
    EXPECT_EQ(dictionary_appendatoms(d, gensym("atoms"), 2, atoms.data()), 0);
    EXPECT_EQ(dictionary_appendatoms(d, gensym("empty"), 0, nullptr), 0);
    for (int time = 0; time < 2; time++) // what is there already isn't replaced by itself
        EXPECT_EQ(dictionary_appenddictionary(d, gensym("inner"), inner), 0);
    EXPECT_EQ(keys_of(d), (std::vector<std::string>{"long", "float", "sym", "atoms", "empty", "inner"}));

    zan_word value = -1;
    EXPECT_EQ(dictionary_getlong(d, gensym("long"), &value), 0);
    EXPECT_EQ(value, 42);
    EXPECT_EQ(dictionary_getlong(d, gensym("float"), &value), 0);
    EXPECT_EQ(value, 2);
    for (const char *key : {"sym", "atoms", "empty", "inner", "absent"}) {
        EXPECT_NE(dictionary_getlong(d, gensym(key), &value), 0) << key;
        EXPECT_EQ(value, 2) << key;
    }
    void *found = nullptr;
    EXPECT_EQ(dictionary_getdictionary(d, gensym("inner"), &found), 0);
    EXPECT_EQ(found, inner);
    EXPECT_NE(dictionary_getdictionary(d, gensym("long"), &found), 0);
    EXPECT_EQ(found, inner);
    EXPECT_EQ(dictionary_getatomarray(d, gensym("atoms"), &found), 0);
    EXPECT_EQ(atomarray_getsize(found), 2);
    long argc = 0;
    atom *argv = nullptr;
    EXPECT_EQ(dictionary_getatoms(d, gensym("atoms"), &argc, &argv), 0);
    ASSERT_EQ(argc, 2);
    EXPECT_TRUE(same_atom(argv[0], atoms[0]) && same_atom(argv[1], atoms[1]));
    EXPECT_EQ(dictionary_hasentry(d, gensym("absent")), 0);
    EXPECT_NE(dictionary_hasentry(d, gensym("empty")), 0);
    void *entry = dictionary_getentry(d, gensym("sym"));
    EXPECT_EQ(dictionary_entry_getkey(entry), gensym("sym"));
    dictionary_entry_getvalues(entry, &argc, &argv);
    EXPECT_TRUE(argc == 1 && same_atom(argv[0], sym_atom("word")));
    EXPECT_NE(dictionary_appenddictionary(d, gensym("self"), d), 0)
        << "a dictionary within itself could never be freed";
    object_free(d);
}

TEST(Dictionary, OwnsWhatItHolds)
{
    const long dictionaries = alive("dictionary"), arrays = alive("atomarray"),
               entries = alive("dictionary_entry"), lists = alive("linklist"), tables = alive("hashtab");
    void *d = dictionary_new();
    void *level = d;
    for (int i = 0; i < 5; i++) {
        void *inner = dictionary_new();
        dictionary_appendlong(inner, gensym("depth"), i);
        dictionary_appenddictionary(level, gensym("inner"), inner);
        level = inner;
    }
    EXPECT_EQ(alive("dictionary"), dictionaries + 6);
    dictionary_appenddictionary(d, gensym("other"), dictionary_new());
    dictionary_appendlong(d, gensym("other"), 1); // the dictionary that stood there goes
    EXPECT_EQ(alive("dictionary"), dictionaries + 6);
    EXPECT_EQ(object_method_imp(d, gensym("deleteentry"), reinterpret_cast<zan_word>(gensym("inner")), 0, 0, 0, 0,
                                0, 0, 0),
              0);
    EXPECT_EQ(alive("dictionary"), dictionaries + 1);
    object_method_imp(d, gensym("clear"), 0, 0, 0, 0, 0, 0, 0, 0);
    EXPECT_TRUE(keys_of(d).empty());
    EXPECT_EQ(alive("dictionary_entry"), entries);
    dictionary_appendlong(d, gensym("again"), 2);
    object_free(d);
    EXPECT_EQ(alive("dictionary"), dictionaries);
    EXPECT_EQ(alive("atomarray"), arrays);
    EXPECT_EQ(alive("dictionary_entry"), entries);
    EXPECT_EQ(alive("linklist"), lists);
    EXPECT_EQ(alive("hashtab"), tables);
}

TEST(Dictionary, ARandomWalkAgreesWithAMap)
{
    atom_generator generate(4);
    void *d = dictionary_new();
    std::map<std::string, std::vector<atom>> model;
    std::vector<std::string> order;
    for (int step = 0; step < 3000; step++) {
        const std::string key = "k" + std::to_string(generate.random() % 200);
        if (generate.random() % 4) {
            const std::vector<atom> value = generate.list(5);
            ASSERT_EQ(dictionary_appendatoms(d, gensym(key.c_str()), long(value.size()), value.data()), 0);
            if (!model.count(key))
                order.push_back(key);
            model[key] = value;
        } else {
            const zan_word error = object_method_imp(
                d, gensym("deleteentry"), reinterpret_cast<zan_word>(gensym(key.c_str())), 0, 0, 0, 0, 0, 0, 0);
            ASSERT_EQ(error == 0, model.erase(key) == 1);
            std::erase(order, key);
        }
    }
    EXPECT_EQ(keys_of(d), order);
    for (const auto &[key, value] : model) {
        long argc = 0;
        atom *argv = nullptr;
        ASSERT_EQ(dictionary_getatoms(d, gensym(key.c_str()), &argc, &argv), 0);
        ASSERT_EQ(argc, long(value.size()));
        for (long i = 0; i < argc; i++)
            EXPECT_TRUE(same_atom(argv[i], value[size_t(i)]));
    }
    object_free(d);
}

TEST(Dictionary, NothingIsNoDictionary)
{
    long count = 5;
    symbol **keys = nullptr;
    EXPECT_NE(dictionary_getkeys(nullptr, &count, &keys), 0);
    EXPECT_EQ(count, 0);
    EXPECT_NE(dictionary_appendlong(nullptr, gensym("a"), 1), 0);
    EXPECT_EQ(dictionary_hasentry(nullptr, gensym("a")), 0);
    EXPECT_EQ(dictionary_entry_getkey(nullptr), nullptr);
    void *d = dictionary_new();
    EXPECT_NE(dictionary_appendlong(d, nullptr, 1), 0);
    EXPECT_EQ(dictionary_hasentry(d, nullptr), 0);
    EXPECT_NE(dictionary_appenddictionary(d, gensym("a"), nullptr), 0);
    object_free(d);
}

} // namespace
