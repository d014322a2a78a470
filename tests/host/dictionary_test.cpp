// Dictionaries and atom arrays: what goes in comes out under every reader, keys keep
// their order, and what a dictionary owns goes with it.
#include "atom_generator.h"
#include <map>

namespace {

TEST(Atomarray, HoldsACopyOfItsAtoms)
{
    atom given[] = {A(3), A("x"), A(2.5)}, own[2], *argv = nullptr, *place = own;
    void *x = object_new_typed(S("nobox"), S("atomarray"), 3, given);
    given[0] = A(99);
    long argc = 0, room = 2;
    EXPECT_EQ(object_getvalueof(x, &room, &place), 0);
    EXPECT_EQ(place, own);
    EXPECT_EQ(text_of(room, own), "3 x");
    void *copy = object_clone(x);
    EXPECT_EQ(object_free(x), 0);
    EXPECT_EQ(object_getvalueof(copy, &argc, &argv), 0);
    EXPECT_EQ(text_of(argc, argv), "3 x 2.500000f");
    sysmem_freeptr(argv);
    EXPECT_EQ(atomarray_getatoms(copy, &argc, &argv), 0);
    send(copy, "setvalueof", 2, argv); // its own
    EXPECT_EQ(atomarray_getsize(copy), 2);
    object_free(copy);
    x = object_new_imp(S("nobox"), S("atomarray"), -4, W(given), 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(atomarray_getsize(x), 0);
    object_free(x);
    EXPECT_NE(atomarray_getatoms(nullptr, &argc, &argv), 0);
    EXPECT_EQ(argc, 0);
}

TEST(Dictionary, ARandomWalkAgreesWithAMapUnderEveryReader)
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
    std::vector<symbol *> order;
    for (int step = 0; step < 3000; step++) {
        const std::string name = "k" + std::to_string(generate.random() % 200);
        symbol *const key = S(name.c_str());
        const unsigned kind = generate.random() % 8;
        if (kind < 2) {
            ASSERT_EQ(send(d, "deleteentry", key) == 0, model.erase(name) == 1);
            std::erase(order, key);
            continue;
        }
        if (!model.count(name))
            order.push_back(key);
        std::vector<atom> &value = model[name] = generate.list(5);
        if (kind == 2) {
            value = {A(step)};
            ASSERT_EQ(dictionary_appendlong(d, key, step), 0);
        } else if (kind == 3) {
            value = {A(step / 4.)};
            ASSERT_EQ(dictionary_appendfloat(d, key, step / 4.), 0);
        } else if (kind == 4) {
            value = {A("word")};
            ASSERT_EQ(dictionary_appendsym(d, key, S("word")), 0);
        } else if (kind == 5) {
            void *inner = dictionary_new();
            value = {A(inner)};
            dictionary_appenddictionary(inner, key, dictionary_new());
            for (int time = 0; time < 2; time++) // what is there already isn't replaced by itself
                ASSERT_EQ(dictionary_appenddictionary(d, key, inner), 0);
        } else {
            ASSERT_EQ(dictionary_appendatoms(d, key, long(value.size()), value.data()), 0);
        }
    }
    long inner = 0, count = 0;
    symbol **keys = nullptr;
    EXPECT_EQ(dictionary_getkeys(d, &count, &keys), 0);
    EXPECT_EQ(std::vector(keys, keys + count), order);
    dictionary_freekeys(d, count, keys);
    model["absent"] = {};
    for (const auto &[name, value] : model) {
        SCOPED_TRACE(name);
        symbol *const key = S(name.c_str());
        const atom first = value.empty() ? atom{} : value[0];
        const bool there = name != "absent", number = first.type == argtype_long || first.type == argtype_float;
        inner += first.type == argtype_obj;
        zan_word found = -1;
        EXPECT_EQ(dictionary_getlong(d, key, &found) == 0, number);
        EXPECT_EQ(found, number ? atom_getlong(&first) : -1);
        void *held = nullptr, *array = nullptr, *entry = dictionary_getentry(d, key);
        EXPECT_EQ(dictionary_getdictionary(d, key, &held) == 0, first.type == argtype_obj);
        EXPECT_EQ(held, atom_getobj(&first));
        EXPECT_EQ(dictionary_hasentry(d, key) != 0, there);
        EXPECT_EQ(dictionary_entry_getkey(entry), there ? key : nullptr);
        EXPECT_EQ(dictionary_getatomarray(d, key, &array) == 0, there);
        long argc[3] = {};
        atom *argv[3] = {};
        EXPECT_EQ(dictionary_getatoms(d, key, &argc[0], &argv[0]) == 0, there);
        EXPECT_EQ(atomarray_getatoms(array, &argc[1], &argv[1]) == 0, there);
        dictionary_entry_getvalues(entry, &argc[2], &argv[2]);
        for (int i = 0; i < 3; i++)
            EXPECT_TRUE(std::equal(argv[i], argv[i] + argc[i], value.begin(), value.end(), same_atom)) << i;
    }
    EXPECT_EQ(alive()[0], before[0] + 1 + 2 * inner);
    EXPECT_NE(dictionary_appenddictionary(d, S("self"), d), 0)
        << "a dictionary within itself could never be freed";
    EXPECT_NE(dictionary_getkeys(nullptr, nullptr, nullptr), 0);
    EXPECT_NE(dictionary_appendlong(nullptr, S("a"), 1), 0);
    send(d, "clear");
    EXPECT_EQ(dictionary_getkeys(d, &count, &keys), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(alive()[0], before[0] + 1);
    dictionary_appendlong(d, S("again"), 2);
    object_free(d);
    EXPECT_EQ(alive(), before);
}

} // namespace
