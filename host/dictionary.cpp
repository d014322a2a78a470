// Values of several kinds under symbol keys: class "dictionary" in namespace "nobox". A
// value is an atom array object, so that every road out (a long, atoms, an inner
// dictionary) reads the same thing; keys keep the order of their storing. Reached
// through include/zan/collections.h, and by messages of the same names.
#include "kernel.h"

namespace {

// What the list of entries holds, and what dictionary_getentry gives.
struct entry {
    object header;
    symbol *key;
    void *value;     // the atom array, the entry's own
    bool owns_inner; // its one atom is a dictionary that goes with the entry
};

struct dictionary {
    object header;
    void *entries; // linklist of entries, in order of storing, owned
    void *table;   // hashtab of the same entries by key, none of them its own
};

zan_class *dictionary_class, *entry_class;
symbol *name_atomarray;

dictionary *dictionary_of(void *x)
{
    return zan::instance_of<dictionary>(x, dictionary_class);
}

void entry_destroy(entry *e)
{
    if (e->owns_inner) {
        long argc = 0;
        atom *argv = nullptr;
        atomarray_getatoms(e->value, &argc, &argv);
        if (argc == 1)
            object_free(atom_getobj(argv));
    }
    object_free(e->value);
}

void destroy(dictionary *d)
{
    hashtab_chuck(d->table);
    object_free(d->entries);
}

entry *entry_of(void *x, symbol *key)
{
    const dictionary *d = dictionary_of(x);
    void *found = nullptr;
    if (d && key)
        hashtab_lookup(d->table, key, &found);
    return static_cast<entry *>(found);
}

long store(void *x, symbol *key, long argc, const atom *argv, bool owns_inner)
{
    dictionary *d = dictionary_of(x);
    if (!d || !key)
        return zan_err_invalid_ptr;
    void *value =
        object_new_imp(zan::nobox(), name_atomarray, argc, reinterpret_cast<zan_word>(argv), 0, 0, 0, 0, 0, 0);
    if (!value)
        return zan_err_out_of_mem;
    if (entry *present = entry_of(d, key)) { // the key keeps its place
        entry_destroy(present);
        present->value = value;
        present->owns_inner = owns_inner;
        return zan_err_none;
    }
    entry *e = static_cast<entry *>(object_alloc(entry_class));
    if (!e) {
        object_free(value);
        return zan_err_out_of_mem;
    }
    e->key = key;
    e->value = value;
    const long index = linklist_append(d->entries, e);
    if (index >= 0 && hashtab_store(d->table, key, e) == zan_err_none) {
        e->owns_inner = owns_inner;
        return zan_err_none;
    }
    linklist_chuckindex(d->entries, index);
    object_free(e);
    return zan_err_out_of_mem;
}

long store_one(void *x, symbol *key, const atom &value)
{
    return store(x, key, 1, &value, false);
}

long clear(dictionary *d)
{
    long count = 0;
    symbol **keys = nullptr;
    hashtab_getkeys(d->table, &count, &keys);
    for (long i = 0; i < count; i++)
        hashtab_chuckkey(d->table, keys[i]);
    sysmem_freeptr(keys);
    linklist_clear(d->entries);
    return zan_err_none;
}

long deleteentry(dictionary *d, symbol *key)
{
    entry *e = entry_of(d, key);
    if (!e)
        return zan_err_generic;
    hashtab_chuckkey(d->table, key);
    return linklist_deleteindex(d->entries, linklist_objptr2index(d->entries, e));
}

} // namespace

void zan::init_dictionary_class()
{
    name_atomarray = gensym("atomarray");
    entry_class = class_new("dictionary_entry", nullptr, zan::erase(&entry_destroy), sizeof(entry), nullptr,
                            argtype_cant, 0);
    class_register(nobox(), entry_class);

    zan_class *c = class_new("dictionary", zan::erase(&dictionary_new), zan::erase(&destroy), sizeof(dictionary),
                             nullptr, argtype_cant, 0);
    const struct {
        const char *name;
        zan_method function;
    } rows[] = {
        {"appendlong", zan::erase(&dictionary_appendlong)},
        {"appendsym", zan::erase(&dictionary_appendsym)},
        {"appendatoms", zan::erase(&dictionary_appendatoms)},
        {"appenddictionary", zan::erase(&dictionary_appenddictionary)},
        {"getlong", zan::erase(&dictionary_getlong)},
        {"getatoms", zan::erase(&dictionary_getatoms)},
        {"getatomarray", zan::erase(&dictionary_getatomarray)},
        {"getdictionary", zan::erase(&dictionary_getdictionary)},
        {"getkeys", zan::erase(&dictionary_getkeys)},
        {"getentry", zan::erase(&dictionary_getentry)},
        {"hasentry", zan::erase(&dictionary_hasentry)},
        {"deleteentry", zan::erase(&deleteentry)},
        {"clear", zan::erase(&clear)},
    };
    for (const auto &row : rows)
        class_addmethod(c, row.function, row.name, argtype_cant, 0);
    class_register(nobox(), c);
    dictionary_class = c;
}

extern "C" {

void *dictionary_new(void)
{
    zan::boot();
    dictionary *d = static_cast<dictionary *>(object_alloc(dictionary_class));
    if (!d)
        return nullptr;
    d->entries = linklist_new();
    d->table = hashtab_new(0);
    if (d->entries && d->table)
        return d;
    object_free(d);
    return nullptr;
}

long dictionary_appendlong(void *d, symbol *key, zan_word value)
{
    atom a;
    atom_setlong(&a, value);
    return store_one(d, key, a);
}

long dictionary_appendfloat(void *d, symbol *key, double value)
{
    atom a;
    atom_setfloat(&a, value);
    return store_one(d, key, a);
}

long dictionary_appendsym(void *d, symbol *key, symbol *value)
{
    atom a;
    atom_setsym(&a, value);
    return store_one(d, key, a);
}

long dictionary_appendatoms(void *d, symbol *key, long argc, const atom *argv)
{
    return store(d, key, argc, argv, false);
}

long dictionary_appenddictionary(void *d, symbol *key, void *value)
{
    if (!dictionary_of(value) || value == d)
        return zan_err_invalid_ptr;
    void *there = nullptr;
    if (!dictionary_getdictionary(d, key, &there) && there == value)
        return zan_err_none; // replacing it would free it
    atom a;
    atom_setobj(&a, value);
    return store(d, key, 1, &a, true);
}

long dictionary_getlong(void *d, symbol *key, zan_word *value)
{
    long argc = 0;
    atom *argv = nullptr;
    if (dictionary_getatoms(d, key, &argc, &argv) || argc < 1 || !value)
        return zan_err_generic;
    if (argv->type != argtype_long && argv->type != argtype_float)
        return zan_err_generic;
    *value = atom_getlong(argv);
    return zan_err_none;
}

long dictionary_getatoms(void *d, symbol *key, long *argc, atom **argv)
{
    const entry *e = entry_of(d, key);
    return e ? atomarray_getatoms(e->value, argc, argv) : long(zan_err_generic);
}

long dictionary_getatomarray(void *d, symbol *key, void **value)
{
    const entry *e = entry_of(d, key);
    if (!e || !value)
        return zan_err_generic;
    *value = e->value;
    return zan_err_none;
}

long dictionary_getdictionary(void *d, symbol *key, void **value)
{
    long argc = 0;
    atom *argv = nullptr;
    if (dictionary_getatoms(d, key, &argc, &argv) || argc != 1 || !value)
        return zan_err_generic;
    void *inner = dictionary_of(atom_getobj(argv));
    if (!inner)
        return zan_err_generic;
    *value = inner;
    return zan_err_none;
}

long dictionary_getkeys(void *x, long *count, symbol ***keys)
{
    const dictionary *d = dictionary_of(x);
    if (count)
        *count = 0;
    if (keys)
        *keys = nullptr;
    if (!d || !count || !keys)
        return zan_err_invalid_ptr;
    return hashtab_getkeys(d->table, count, keys);
}

void dictionary_freekeys(void *, long, symbol **keys)
{
    sysmem_freeptr(keys);
}

long dictionary_hasentry(void *d, symbol *key)
{
    return entry_of(d, key) != nullptr;
}

void *dictionary_getentry(void *d, symbol *key)
{
    return entry_of(d, key);
}

symbol *dictionary_entry_getkey(void *x)
{
    const entry *e = zan::instance_of<entry>(x, entry_class);
    return e ? e->key : nullptr;
}

void dictionary_entry_getvalues(void *x, long *argc, atom **argv)
{
    const entry *e = zan::instance_of<entry>(x, entry_class);
    atomarray_getatoms(e ? e->value : nullptr, argc, argv);
}

} // extern "C"
