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
    atom given[] = {A(3), A("x"), A(2.5)}, own[2], *argv = nullptr, *place = own;
    void *x = object_new_imp(S("nobox"), S("atomarray"), 3, W(given), 0, 0, 0, 0, 0, 0);
    given[0] = A(99);
    long argc = 0, room = 2;
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
    object_free(copy);
    for (const long count : {-4, 0, 1}) {
        x = object_new_typed(S("nobox"), S("atomarray"), count, given);
        EXPECT_EQ(atomarray_getsize(x), std::max(count, 0L));
        object_free(x);
    }
    EXPECT_NE(atomarray_getatoms(nullptr, &argc, &argv), 0);
    EXPECT_EQ(argc, 0);
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
        zan_word number; // -1: no number
    } rows[] = {{"long", "42", 42}, {"float", "2.750000f", 2}, {"sym", "word", -1}, {"atoms", "a 1", -1},
                {"empty", "", -1},  {"inner", "object", -1},   {"absent", "", -1}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.key);
        symbol *const key = S(row.key);
        const bool there = key != S("absent"), is_inner = key == S("inner");
        zan_word number = -1;
        EXPECT_EQ(dictionary_getlong(d, key, &number) == 0, row.number >= 0);
        EXPECT_EQ(number, row.number);
        void *found = nullptr, *array = nullptr, *entry = dictionary_getentry(d, key);
        EXPECT_EQ(dictionary_getdictionary(d, key, &found) == 0, is_inner);
        EXPECT_EQ(found, is_inner ? inner : nullptr);
        long argc = 0;
        atom *argv = nullptr;
        EXPECT_EQ(dictionary_getatoms(d, key, &argc, &argv) == 0, there);
        EXPECT_EQ(text_of(argc, argv), row.text);
        EXPECT_EQ(dictionary_getatomarray(d, key, &array) == 0, there);
        EXPECT_EQ(atomarray_getsize(array), argc);
        EXPECT_EQ(dictionary_hasentry(d, key) != 0, there);
        EXPECT_EQ(dictionary_entry_getkey(entry), there ? key : nullptr);
        dictionary_entry_getvalues(entry, &argc, &argv);
        EXPECT_EQ(text_of(argc, argv), row.text);
    }
    EXPECT_NE(dictionary_appenddictionary(d, S("self"), d), 0)
        << "a dictionary within itself could never be freed";
    EXPECT_NE(dictionary_getkeys(nullptr, nullptr, nullptr), 0);
    EXPECT_NE(dictionary_appendlong(nullptr, S("a"), 1), 0);
    object_free(d);
}

TEST(Dictionary, ARandomWalkAgreesWithAMapAndOwnsWhatItHolds)
{
    const auto alive = [] {
        std::vector<long> counts;
        for (const char *name : {"dictionary", "atomarray", "dictionary_entry", "linklist", "hashtab"})
            counts.push_back(zan_object_count(S(name)));
        return counts;
    };
    const std::vector<long> before = alive();
    atom_generator generate(4);
    void *d = dictionary_new();
    std::map<std::string, std::vector<atom>> model;
    std::vector<std::string> order;
    for (int step = 0; step < 3000; step++) {
        const std::string name = "k" + std::to_string(generate.random() % 200);
        symbol *const key = S(name.c_str());
        if (const unsigned kind = generate.random() % 4) {
            if (!model.count(name))
                order.push_back(name);
            std::vector<atom> &value = model[name] = generate.list(5);
            if (kind == 1) {
                void *inner = dictionary_new();
                value = {A(inner)};
                dictionary_appenddictionary(inner, key, dictionary_new());
                ASSERT_EQ(dictionary_appenddictionary(d, key, inner), 0);
            } else {
                ASSERT_EQ(dictionary_appendatoms(d, key, long(value.size()), value.data()), 0);
            }
        } else {
            ASSERT_EQ(send(d, "deleteentry", key) == 0, model.erase(name) == 1);
            std::erase(order, name);
        }
    }
    EXPECT_EQ(keys_of(d), order);
    long inner = 0;
    for (const auto &[key, value] : model) {
        long argc = 0;
        atom *argv = nullptr;
        ASSERT_EQ(dictionary_getatoms(d, S(key.c_str()), &argc, &argv), 0);
        EXPECT_TRUE(std::equal(argv, argv + argc, value.begin(), value.end(), same_atom)) << key;
        inner += argc && argv->type == argtype_obj;
    }
    EXPECT_EQ(alive()[0], before[0] + 1 + 2 * inner);
    send(d, "clear");
    EXPECT_TRUE(keys_of(d).empty());
    EXPECT_EQ(alive()[0], before[0] + 1);
    dictionary_appendlong(d, S("again"), 2);
    object_free(d);
    EXPECT_EQ(alive(), before);
}

} // namespace
