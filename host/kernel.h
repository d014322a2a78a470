// The records of the object kernel and the inline roads through them: what a class
// is made of, what hangs beside an object, and the look-up of a message. Reads on a
// message's road take no lock; changes lock the one record they change and never
// call out while they hold it.
#pragma once
#include "internal.h"
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace zan {

// A growing array of plain values that reports a lack of memory instead of throwing.
template <class T> class pod_array {
    static constexpr size_t stride = sizeof(T); // NOLINT(bugprone-sizeof-expression): T may be a pointer

  public:
    pod_array() = default;
    pod_array(const pod_array &) = delete;
    pod_array &operator=(const pod_array &) = delete;
    ~pod_array() { std::free(data_); }

    bool push(const T &value)
    {
        if (size_ == capacity_) {
            const size_t wanted = capacity_ ? capacity_ * 2 : 4;
            T *grown = static_cast<T *>(std::realloc(static_cast<void *>(data_), wanted * stride));
            if (!grown)
                return false;
            data_ = grown;
            capacity_ = wanted;
        }
        data_[size_++] = value;
        return true;
    }
    void erase(size_t index)
    {
        std::memmove(static_cast<void *>(data_ + index), data_ + index + 1, (size_ - index - 1) * stride);
        --size_;
    }
    void release()
    {
        std::free(data_);
        data_ = nullptr;
        size_ = capacity_ = 0;
    }
    void swap(pod_array &other)
    {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
    }
    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    T &operator[](size_t index) { return data_[index]; }
    const T &operator[](size_t index) const { return data_[index]; }
    T *begin() { return data_; }
    T *end() { return data_ + size_; }

  private:
    T *data_ = nullptr;
    size_t size_ = 0, capacity_ = 0;
};

// A map from symbols to words that is read without a lock while one writer at a time
// adds to it. Outgrown tables stay until the map dies, since a reader may be in one;
// they double, so that all of them together are no larger than the last.
class symbol_index {
  public:
    symbol_index() = default;
    symbol_index(const symbol_index &) = delete;
    symbol_index &operator=(const symbol_index &) = delete;
    ~symbol_index();

    // The word under `key`, or null.
    void *find(const symbol *key) const
    {
        const table *t = table_.load(std::memory_order_acquire);
        if (!t)
            return nullptr;
        for (size_t i = hash(key);; ++i) {
            const slot &s = t->slots()[i & t->mask];
            const symbol *k = s.key.load(std::memory_order_acquire);
            if (k == key)
                return s.value.load(std::memory_order_acquire);
            if (!k)
                return nullptr;
        }
    }
    // Stores or replaces; false when memory is out. One writer at a time.
    bool store(symbol *key, void *value);

  private:
    struct slot {
        std::atomic<const symbol *> key;
        std::atomic<void *> value;
    };
    struct table {
        table *outgrown;
        size_t mask, used;
        slot *slots() const { return reinterpret_cast<slot *>(const_cast<table *>(this) + 1); }
    };
    static size_t hash(const symbol *key)
    {
        return static_cast<size_t>((reinterpret_cast<uintptr_t>(key) * 0x9E3779B97F4A7C15ull) >> 32);
    }
    std::atomic<table *> table_{nullptr};
};

struct name_entry;

// What an extra word of an object or a class is kept in.
struct keyed_word {
    symbol *key;
    void *value;
    long flags; // obex: obex_borrowed; unused in a class
};
enum : long { obex_borrowed = 1 };

// What hangs beside an object that needs more than its header; made at first need,
// freed with the object.
struct side_record {
    std::atomic<long> retains{0};                // references above the one it was born with
    std::atomic<void *> own_methods{nullptr};    // hashtab of method objects, also in the obex
    std::atomic<void *> own_attributes{nullptr}; // hashtab of attributes, also in the obex
    std::mutex lock;                             // guards obex
    pod_array<keyed_word> obex;
    std::atomic<const zan_place *> place{nullptr}; // of a box: where it was written
    name_entry *registration = nullptr;            // guarded by the registry's lock
    pod_array<name_entry *> subjects;              // the names it is a client of; the same lock
};

// Bits of object::state that are the kernel's own (the others: state_bits).
enum : intptr_t { state_dying = 0x100, state_registered = 0x200, state_client = 0x400 };

inline object *live(void *x)
{
    object *o = static_cast<object *>(x);
    return o && o->magic == ZAN_OBJECT_MAGIC ? o : nullptr;
}
inline side_record *side_of(object *o)
{
    return static_cast<side_record *>(std::atomic_ref<void *>(o->side).load(std::memory_order_acquire));
}
side_record *side_make(object *o); // null when memory is out

template <class F> inline F as(zan_method fn)
{
    return reinterpret_cast<F>(fn);
}
inline zan_word word_of(const void *p)
{
    return reinterpret_cast<zan_word>(p);
}

using word8_method = zan_word (*)(void *, zan_word, zan_word, zan_word, zan_word, zan_word, zan_word, zan_word,
                                  zan_word);
using attr_getter = zan_word (*)(void *, void *, long *, atom **);
using attr_setter = zan_word (*)(void *, void *, long, atom *);

// The symbols that the kernel itself speaks.
struct kernel_symbols {
    symbol *empty, *nobox, *box, *methods, *attributes, *decorator, *notify, *free, *attr_modified, *create;
    symbol *getname, *gettype, *getmethod, *setmethod, *getmethodtype, *canget, *canset, *usercanget, *usercanset;
    symbol *get, *set, *getvalueof, *setvalueof, *object_clone, *attr_get, *attr_getnames, *attr_gettarget;
    symbol *filter, *atomarray, *hashtab, *method_object, *hash_b, *zanwrapper, *anything, *int_, *float_;
    symbol *char_, *long_, *float32, *float64, *symbol_, *object_, *pointer, *atom_, *atom_long;
    symbol *groupreference, *undocumented;
};
const kernel_symbols &ks();

} // namespace zan

// A class. Words 0 and 11 are read by others: the name, and the table of attributes
// (a hashtab, or null before the first).
struct zan_class {
    symbol *name;              // word 0
    zan_method new_fn;         // 1
    zan_method free_fn;        // 2
    long size;                 // 3: of an instance, header included
    zan_method menu_fn;        // 4: kept and unused
    zan_messlist *methods;     // 5: never moves
    long method_count;         // 6: entries in use
    long flags;                // 7: whoever keeps marks there
    symbol *name_space;        // 8: null before it is registered
    long obex_offset;          // 9: of the mirrored obex pointer; 0 for none
    zan_class *origin;         // 10: the class this one is a copy of, through all copies between
    void *attributes;          // 11
    void *method_objects;      // 12: hashtab, made when first asked for
    void *typed_wrappers;      // 13: hashtab of method objects
    signed char new_types[16]; // the constructor's tags, ended by 0
    std::atomic<long> instances;
    std::atomic<bool> doomed;             // class_free came while objects lived: the last one frees it
    std::mutex lock;                      // guards every change
    zan::symbol_index attribute_messages; // "foo" and "getfoo": the attribute, bit 0 set for get
    zan::pod_array<void *> replaced;      // attributes whose name a newer one took
    zan::pod_array<void *> adornments;
    zan::pod_array<zan::keyed_word> extra;
    zan_class *next, *previous; // of all classes
    zan_class *outer;           // in the making when this one was made, and not registered then
    zan::symbol_index *index;   // the method table's: leak checkers don't look into its mapping
};

namespace zan {

// Ahead of a method table stand the class pointer, a spare word and its index.
inline zan_class *class_of(const object *o)
{
    return static_cast<zan_class **>(o->messlist)[-3];
}
inline symbol_index *&index_ahead_of(void *messlist)
{
    return static_cast<symbol_index **>(messlist)[-1];
}

inline zan_messlist *class_entry(void *messlist, const symbol *selector)
{
    return static_cast<zan_messlist *>(index_ahead_of(messlist)->find(selector));
}
// x as the record of a class, when it is a live object of it or of a copy of it; else null.
template <class T> inline T *instance_of(void *x, const zan_class *c)
{
    object *o = live(x);
    if (!o)
        return nullptr;
    const zan_class *its = class_of(o);
    return its == c || its->origin == c ? static_cast<T *>(x) : nullptr;
}
// The entry for a message in the object's own table, else in its class's, else null.
inline zan_messlist *find_entry(object *o, symbol *selector)
{
    if (side_record *side = side_of(o))
        if (void *own = side->own_methods.load(std::memory_order_acquire)) {
            void *method = nullptr;
            if (!hashtab_lookup(own, selector, &method))
                return &static_cast<zan_method_object *>(method)->entry;
        }
    return class_entry(o->messlist, selector);
}
inline symbol *entry_name(zan_messlist *e) // null ends the table, which others may add to
{
    return std::atomic_ref<symbol *>(e->name).load(std::memory_order_acquire);
}
inline zan_method entry_function(zan_messlist *e)
{
    return std::atomic_ref<zan_method>(e->function).load(std::memory_order_acquire);
}

// classes.cpp
void init_method_class(); // method objects
zan_method_object *method_object_new(zan_method fn, const char *name, const signed char *types);
void *class_method_objects(zan_class *c); // the table "methods", complete
void class_instance_gone(zan_class *c);
// The attribute that a message belongs to, own ones first; *get tells "getfoo".
void *find_attribute_message(object *o, symbol *selector, bool *get);

// registry.cpp
// Takes one reference off. True when the object lives on, or is dying already.
bool registry_drop_reference(object *o);
void registry_forget(object *o); // unregisters and detaches a dying object
zan_class *registry_class(symbol *name_space, symbol *name);
// Takes the name for the class; the class that has it afterwards.
zan_class *registry_class_store(symbol *name_space, symbol *name, zan_class *c);
void registry_class_remove(symbol *name_space, symbol *name, zan_class *c);

// obex.cpp
void obex_free(object *o, side_record *side);
// The hashtab under `key` in the obex, made when missing; null when memory is out.
void *obex_table(object *o, symbol *key);

// attributes.cpp
zan_method attribute_function(void *attr, symbol *get_or_set);
bool attribute_answers(void *attr, symbol *question);
void attributes_copy(void *from, void *to); // an object's own attributes, cloned

// objects.cpp
void *construct(zan_class *c, zan_word w1, zan_word w2, zan_word w3, zan_word w4, zan_word w5, zan_word w6,
                zan_word w7, zan_word w8);

// dispatch.cpp
// Calls fn with `lead` words first and atoms converted by typed tags behind them;
// `who` and `what` name the place in errors. False when the atoms don't fit.
bool call_converted(void *who, const char *what, zan_method fn, const signed char *types, const zan_word *lead,
                    long leads, long argc, const atom *argv, zan_word *result);

} // namespace zan
