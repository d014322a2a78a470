// Messages by name. The plain road (object_method_imp) is a look-up and a call with
// eight words as they come. The typed roads convert atoms by a method's tags; their
// return is the method's own word, and `rv` is filled by methods that give a value
// back (argtype_gimmeback) and by attributes that are got, and is argtype_nothing
// after all others, so that no code or pointer is ever taken for a value.
#include "near_words.h"
#include <ffi.h>

namespace zan {
namespace {

constexpr long most_arguments = 8;
constexpr int most_hops = 16; // decorators of decorators: further on it is taken for a circle

// The object that carries a message that o lacks, or null.
object *decorated(object *o, symbol *selector)
{
    zan_messlist *e = find_entry(o, ks().decorator);
    zan_method fn = e ? entry_function(e) : nullptr;
    object *next = fn ? live(as<void *(*)(void *, symbol *)>(fn)(o, selector)) : nullptr;
    return next != o ? next : nullptr;
}

zan_word attribute_message(object *o, void *attr, bool get, zan_word w1, zan_word w2)
{
    if (!attribute_answers(attr, get ? ks().canget : ks().canset))
        return zan_err_generic;
    zan_method fn = attribute_function(attr, get ? ks().get : ks().set);
    if (!fn)
        return zan_err_generic;
    if (get)
        return as<attr_getter>(fn)(o, attr, reinterpret_cast<long *>(w1), reinterpret_cast<atom **>(w2));
    return as<attr_setter>(fn)(o, attr, w1, reinterpret_cast<atom *>(w2));
}

// Out of the way of the common road, which is a method of the object.
[[gnu::noinline]] zan_word method_elsewhere(object *o, symbol *selector, zan_word w1, zan_word w2, zan_word w3,
                                            zan_word w4, zan_word w5, zan_word w6, zan_word w7, zan_word w8)
{
    for (int hop = 0; hop < most_hops; ++hop) {
        bool get;
        if (void *attr = find_attribute_message(o, selector, &get))
            return attribute_message(o, attr, get, w1, w2);
        o = decorated(o, selector);
        if (!o)
            return 0;
        if (zan_messlist *e = find_entry(o, selector)) {
            zan_method fn = entry_function(e);
            return fn ? as<word8_method>(fn)(o, w1, w2, w3, w4, w5, w6, w7, w8) : 0;
        }
    }
    return 0;
}

const char *tag_word(int tag)
{
    switch (tag) {
    case argtype_long:
    case argtype_deflong: return "an integer";
    case argtype_float:
    case argtype_deffloat: return "a number";
    case argtype_sym:
    case argtype_defsym: return "a symbol";
    case argtype_obj: return "an object";
    default: return "something else";
    }
}

bool is_number(const atom &a)
{
    return a.type == argtype_long || a.type == argtype_float;
}

// Gives what an attribute holds to rv: one atom as it is, several as an atom array.
zan_word attribute_value(object *o, void *attr, atom *rv)
{
    long argc = 0;
    atom *argv = nullptr;
    const zan_word err = attribute_message(o, attr, true, word_of(&argc), word_of(&argv));
    if (!err && rv && argc == 1 && argv)
        *rv = argv[0];
    else if (!err && rv && argc > 1 && argv)
        atom_setobj(rv, object_new_imp(ks().nobox, ks().atomarray, argc, word_of(argv), 0, 0, 0, 0, 0, 0));
    if (argv)
        sysmem_freeptr(argv);
    return err;
}

void report_unknown(object *o, symbol *selector)
{
    near_word near(selector->name);
    consider_messages(near, o);
    const bool like = !near.best().empty(); // a name, so with an end of its own
    object_error(o, "%s: doesn't understand \"%s\"%s%s%s", class_of(o)->name->name, selector->name,
                 like ? ": did you mean \"" : "", like ? near.best().data() : "", like ? "\"?" : "");
}

} // namespace

bool call_converted(void *who, const char *what, zan_method fn, const signed char *types, const zan_word *lead,
                    long leads, long argc, const atom *argv, zan_word *result)
{
    union word_or_number {
        zan_word word;
        double number;
    } values[1 + most_arguments] = {};
    const char *class_name = who ? object_classname(who)->name : "new";
    bool numbers = false;
    bool is_double[1 + most_arguments] = {};
    long n = leads;
    for (long i = 0; i < leads; ++i)
        values[i].word = lead[i];
    for (long i = 0; i < 15 && types[i]; ++i, ++n) {
        const auto tag = static_cast<unsigned char>(types[i]);
        if (i == most_arguments) {
            object_error(who, "%s: %s: takes more than %ld arguments: it can't be called", class_name, what,
                         most_arguments);
            return false;
        }
        const atom *a = i < argc ? argv + i : nullptr;
        bool fits = true;
        switch (tag) {
        case argtype_long:
        case argtype_deflong:
            fits = a ? is_number(*a) : tag == argtype_deflong;
            values[n].word = a ? atom_getlong(a) : 0;
            break;
        case argtype_float:
        case argtype_deffloat:
            fits = a ? is_number(*a) : tag == argtype_deffloat;
            values[n].number = a ? atom_getfloat(a) : 0;
            is_double[n] = numbers = true;
            break;
        case argtype_sym:
        case argtype_defsym:
            fits = a ? a->type == argtype_sym : tag == argtype_defsym;
            values[n].word = word_of(a && fits ? a->value.as_sym : ks().empty);
            break;
        case argtype_obj:
            fits = a && a->type == argtype_obj;
            values[n].word = fits ? word_of(a->value.as_obj) : 0;
            break;
        default:
            object_error(who, "%s: %s: its argument %ld has the tag %d: it can't be called", class_name, what,
                         i + 1, tag);
            return false;
        }
        if (!fits) {
            object_error(who, "%s: %s: argument %ld: expected %s, found %s", class_name, what, i + 1,
                         tag_word(tag), a ? tag_word(a->type) : "nothing");
            return false;
        }
    }
    zan_word answer = 0;
    if (!numbers) { // words only: what isn't taken does no harm
        answer = as<word8_method>(fn)(reinterpret_cast<void *>(values[0].word), values[1].word, values[2].word,
                                      values[3].word, values[4].word, values[5].word, values[6].word,
                                      values[7].word, values[8].word);
    } else if (n == 2 && leads == 1) { // the message of a number: common enough to go straight
        answer = as<zan_word (*)(void *, double)>(fn)(reinterpret_cast<void *>(values[0].word), values[1].number);
    } else {
        ffi_type *kinds[1 + most_arguments];
        void *places[1 + most_arguments];
        for (long i = 0; i < n; ++i) {
            kinds[i] = is_double[i] ? &ffi_type_double : &ffi_type_sint64;
            places[i] = values + i;
        }
        ffi_cif cif;
        if (ffi_prep_cif(&cif, FFI_DEFAULT_ABI, static_cast<unsigned>(n), &ffi_type_sint64, kinds) != FFI_OK) {
            object_error(who, "%s: %s: can't be called", class_name, what);
            return false;
        }
        ffi_call(&cif, fn, &answer, places);
    }
    if (result)
        *result = answer;
    return true;
}

} // namespace zan

using namespace zan;

extern "C" {

zan_word method_false(void)
{
    return 0;
}

zan_word object_method_imp(void *x, symbol *selector, zan_word w1, zan_word w2, zan_word w3, zan_word w4,
                           zan_word w5, zan_word w6, zan_word w7, zan_word w8)
{
    object *o = live(x);
    if (!o || !selector)
        return 0;
    if (zan_messlist *e = find_entry(o, selector)) [[likely]] {
        zan_method fn = entry_function(e);
        return fn ? as<word8_method>(fn)(o, w1, w2, w3, w4, w5, w6, w7, w8) : 0;
    }
    return method_elsewhere(o, selector, w1, w2, w3, w4, w5, w6, w7, w8);
}

zan_word object_method_typedfun(void *x, zan_messlist *entry, symbol *selector, long argc, atom *argv, atom *rv)
{
    object *o = live(x);
    if (rv) {
        rv->type = argtype_nothing;
        rv->value.as_long = 0;
    }
    if (!o || !entry)
        return zan_err_invalid_ptr;
    zan_method fn = entry_function(entry);
    if (!fn)
        return zan_err_generic;
    if (argc < 0 || !argv)
        argc = 0;
    if (!selector)
        selector = entry->name;
    const auto tag = static_cast<unsigned char>(entry->types[0]);
    switch (tag) {
    case argtype_gimme: return as<zan_word (*)(void *, symbol *, long, atom *)>(fn)(o, selector, argc, argv);
    case argtype_gimmeback: {
        atom local{};
        const zan_word answer = as<zan_word (*)(void *, symbol *, long, atom *, atom *)>(fn)(
            o, selector, argc, argv, rv ? rv : &local);
        if (local.type == argtype_obj && object_classname(local.value.as_obj) == ks().atomarray)
            object_free(local.value.as_obj); // nobody takes it
        return answer;
    }
    case argtype_defer:
    case argtype_usurp:
    case argtype_defer_low:
    case argtype_usurp_low:
        if (on_main_thread())
            return as<zan_word (*)(void *, symbol *, long, atom *)>(fn)(o, selector, argc, argv);
        return tag == argtype_defer || tag == argtype_usurp ? defer(o, fn, selector, argc, argv)
                                                            : defer_low(o, fn, selector, argc, argv);
    case argtype_cant:
        object_error(o, "%s: %s: is private", class_of(o)->name->name, selector->name);
        return zan_err_generic;
    default: {
        zan_word answer = 0;
        const zan_word lead = word_of(o);
        if (!call_converted(o, selector->name, fn, entry->types, &lead, 1, argc, argv, &answer))
            return zan_err_generic;
        return answer;
    }
    }
}

zan_word object_method_typed(void *x, symbol *selector, long argc, atom *argv, atom *rv)
{
    if (rv) {
        rv->type = argtype_nothing;
        rv->value.as_long = 0;
    }
    object *first = live(x);
    if (!first || !selector)
        return zan_err_invalid_ptr;
    zan_messlist *hidden = nullptr;
    object *o = first;
    for (int hop = 0; o && hop < most_hops; ++hop) {
        if (zan_method_object *wrapper = class_typedwrapper_get(class_of(o), selector))
            return object_method_typedfun(o, &wrapper->entry, selector, argc, argv, rv);
        zan_messlist *e = find_entry(o, selector);
        if (e && e->types[0] != argtype_cant)
            return object_method_typedfun(o, e, selector, argc, argv, rv);
        bool get;
        if (void *attr = find_attribute_message(o, selector, &get)) {
            if (get)
                return attribute_value(o, attr, rv);
            return attribute_message(o, attr, false, argv && argc > 0 ? argc : 0, word_of(argv));
        }
        if (e && !hidden)
            hidden = e;
        o = decorated(o, selector);
    }
    if (hidden)
        return object_method_typedfun(first, hidden, selector, argc, argv, rv); // says that it is private
    return zan_err_generic;
}

zan_word object_method_sym(void *x, symbol *selector, symbol *value, atom *rv)
{
    atom a{};
    atom_setsym(&a, value);
    return object_method_typed(x, selector, 1, &a, rv);
}

zan_word typedmess(void *x, symbol *selector, long argc, atom *argv)
{
    object *first = live(x);
    if (!first || !selector)
        return zan_err_invalid_ptr;
    object *o = first;
    for (int hop = 0; o && hop < most_hops; ++hop) {
        zan_messlist *e = find_entry(o, selector);
        if (e && e->types[0] != argtype_cant)
            return object_method_typedfun(o, e, selector, argc, argv, nullptr);
        bool get;
        if (void *attr = find_attribute_message(o, selector, &get)) {
            if (!attribute_answers(attr, get ? ks().usercanget : ks().usercanset)) {
                object_error(o, "%s: the attribute \"%s\" can't be %s", class_of(o)->name->name,
                             selector->name + (get ? 3 : 0), get ? "read" : "set");
                return zan_err_generic;
            }
            if (get)
                return attribute_value(o, attr, nullptr);
            return attribute_message(o, attr, false, argv && argc > 0 ? argc : 0, word_of(argv));
        }
        o = decorated(o, selector);
    }
    // A number of the other kind will do, and `anything` takes the rest.
    symbol *const others[] = {selector == ks().int_     ? ks().float_
                              : selector == ks().float_ ? ks().int_
                                                        : nullptr,
                              ks().anything};
    for (symbol *other : others) {
        zan_messlist *e = other ? find_entry(first, other) : nullptr;
        if (e && e->types[0] != argtype_cant)
            return object_method_typedfun(first, e, selector, argc, argv, nullptr);
    }
    report_unknown(first, selector);
    return zan_err_generic;
}

zan_messlist *object_mess(void *x, symbol *selector)
{
    object *o = live(x);
    return o && selector ? find_entry(o, selector) : nullptr;
}

zan_method zgetfn(void *x, symbol *selector)
{
    zan_messlist *e = object_mess(x, selector);
    return e ? entry_function(e) : nullptr;
}

zan_method object_getmethod(void *x, symbol *selector)
{
    zan_method fn = zgetfn(x, selector);
    return fn ? fn : erase(method_false);
}

zan_method_object *object_getmethod_object(void *x, symbol *selector)
{
    object *o = live(x);
    if (!o || !selector)
        return nullptr;
    void *m = nullptr;
    if (side_record *side = side_of(o))
        if (void *own = side->own_methods.load(std::memory_order_acquire))
            if (!hashtab_lookup(own, selector, &m))
                return static_cast<zan_method_object *>(m);
    hashtab_lookup(class_method_objects(class_of(o)), selector, &m);
    return static_cast<zan_method_object *>(m);
}

} // extern "C"
