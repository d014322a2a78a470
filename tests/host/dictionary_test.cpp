// Dictionaries and atom arrays: what goes in comes out under every reader, keys keep
// their order, and what a dictionary owns goes with it.
#include "atom_generator.h"
#include <map>

namespace {

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
    atom given[] = {A(3), A("x"), A(2.5)}, own[2];
    void *x = object_new_imp(S("nobox"), S("atomarray"), 3, W(given), 0, 0, 0, 0, 0, 0);
    given[0] = A(99);
    EXPECT_EQ(atomarray_getsize(x), 3);
    long argc = 0, room = 2;
    atom *argv = nullptr, *place = own;
    EXPECT_EQ(object_getvalueof(x, &argc, &argv), 0);
    EXPECT_EQ(text_of(argc, argv), "3 x 2.500000f");
    sysmem_freeptr(argv);
    EXPECT_EQ(object_getvalueof(x, &room, &place), 0);
    EXPECT_EQ(place, own);
    EXPECT_EQ(text_of(room, own), "3 x");

    void *copy = object_clone(x);
    EXPECT_EQ(object_free(x), 0);
    EXPECT_EQ(atomarray_getatoms(copy, &argc, &argv), 0);
    EXPECT_EQ(text_of(argc, argv), "3 x 2.500000f");
    send(copy, "setvalueof", 2, argv); // its own
    EXPECT_EQ(atomarray_getsize(copy), 2);
    send(copy, "clear");
    EXPECT_EQ(object_getvalueof(copy, &argc, &argv), 0);
    EXPECT_EQ(argc, 0);
    object_free(copy);
    x = object_new_imp(S("nobox"), S("atomarray"), -4, 0, 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(atomarray_getsize(x), 0);
    object_free(x);
    argc = 9;
    EXPECT_NE(atomarray_getatoms(nullptr, &argc, &argv), 0);
    EXPECT_EQ(argc, 0);
    x = object_new_typed(S("nobox"), S("atomarray"), 1, given);
    EXPECT_EQ(atomarray_getsize(x), 1);
    object_free(x);
}

TEST(Dictionary, EveryReaderSeesTheSameValue)
{
    void *d = dictionary_new(), *inner = dictionary_new();
    const atom atoms[] = {A("a"), A(1)};
    EXPECT_EQ(dictionary_appendlong(d, S("long"), 42), 0);
    EXPECT_EQ(dictionary_appendfloat(d, S("float"), 2.75), 0);
    EXPECT_EQ(dictionary_appendsym(d, S("sym"), S("word")), 0);
    EXPECT_EQ(dictionary_appendatoms(d, S("atoms"), 2, atoms), 0);
    EXPECT_EQ(dictionary_appendatoms(d, S("empty"), 0, nullptr), 0);
    for (int time = 0; time < 2; time++) // what is there already isn't replaced by itself
        EXPECT_EQ(dictionary_appenddictionary(d, S("inner"), inner), 0);
    EXPECT_EQ(keys_of(d), (std::vector<std::string>{"long", "float", "sym", "atoms", "empty", "inner"}));

    const struct {
        const char *key, *text;
        zan_word number; // what stays is -1
        void *dictionary;
    } rows[] = {{"long", "42", 42, nullptr},   {"float", "2.750000f", 2, nullptr}, {"sym", "word", -1, nullptr},
                {"atoms", "a 1", -1, nullptr}, {"empty", "", -1, nullptr},         {"absent", "", -1, nullptr},
                {"inner", "object", -1, inner}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.key);
        symbol *const key = S(row.key);
        const bool there = key != S("absent");
        zan_word number = -1;
        EXPECT_EQ(dictionary_getlong(d, key, &number) == 0, row.number >= 0);
        EXPECT_EQ(number, row.number);
        void *found = nullptr, *array = nullptr;
        EXPECT_EQ(dictionary_getdictionary(d, key, &found) == 0, row.dictionary != nullptr);
        EXPECT_EQ(found, row.dictionary);
        long argc = 0;
        atom *argv = nullptr;
        EXPECT_EQ(dictionary_getatoms(d, key, &argc, &argv) == 0, there);
        EXPECT_EQ(text_of(argc, argv), row.text);
        EXPECT_EQ(dictionary_getatomarray(d, key, &array) == 0, there);
        EXPECT_EQ(atomarray_getsize(array), argc);
        EXPECT_EQ(dictionary_hasentry(d, key) != 0, there);
        void *entry = dictionary_getentry(d, key);
        EXPECT_EQ(dictionary_entry_getkey(entry), there ? key : nullptr);
        dictionary_entry_getvalues(entry, &argc, &argv);
        EXPECT_EQ(text_of(argc, argv), row.text);
    }
    EXPECT_NE(dictionary_appenddictionary(d, S("self"), d), 0)
        << "a dictionary within itself could never be freed";
    EXPECT_NE(dictionary_appendlong(d, nullptr, 1), 0);
    EXPECT_NE(dictionary_getkeys(nullptr, nullptr, nullptr), 0);
    EXPECT_NE(dictionary_appendlong(nullptr, S("a"), 1), 0);
    object_free(d);
}

TEST(Dictionary, OwnsWhatItHolds)
{
    const auto alive = [] {
        std::vector<long> counts;
        for (const char *name : {"dictionary", "atomarray", "dictionary_entry", "linklist", "hashtab"})
            counts.push_back(zan_object_count(S(name)));
        return counts;
    };
    const std::vector<long> before = alive();
    const auto dictionaries = [&] { return alive()[0] - before[0]; };
    void *d = dictionary_new(), *level = d;
    for (int i = 0; i < 5; i++) {
        void *inner = dictionary_new();
        dictionary_appenddictionary(level, S("inner"), inner);
        level = inner;
    }
    EXPECT_EQ(dictionaries(), 6);
    dictionary_appenddictionary(d, S("other"), dictionary_new());
    dictionary_appendlong(d, S("other"), 1); // the dictionary that stood there goes
    EXPECT_EQ(dictionaries(), 6);
    EXPECT_EQ(send(d, "deleteentry", S("inner")), 0);
    EXPECT_EQ(dictionaries(), 1);
    send(d, "clear");
    EXPECT_TRUE(keys_of(d).empty());
    EXPECT_EQ(alive()[2], before[2]);
    dictionary_appendlong(d, S("again"), 2);
    object_free(d);
    EXPECT_EQ(alive(), before);
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
            ASSERT_EQ(dictionary_appendatoms(d, S(key.c_str()), long(value.size()), value.data()), 0);
            if (!model.count(key))
                order.push_back(key);
            model[key] = value;
        } else {
            ASSERT_EQ(send(d, "deleteentry", S(key.c_str())) == 0, model.erase(key) == 1);
            std::erase(order, key);
        }
    }
    EXPECT_EQ(keys_of(d), order);
    for (const auto &[key, value] : model) {
        long argc = 0;
        atom *argv = nullptr;
        ASSERT_EQ(dictionary_getatoms(d, S(key.c_str()), &argc, &argv), 0);
        EXPECT_TRUE(std::equal(argv, argv + argc, value.begin(), value.end(), same_atom)) << key;
    }
    object_free(d);
}

} // namespace
