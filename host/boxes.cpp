// What a box class is set up with besides its outlets: methods for the class in the
// making, the standard answer about inlets, and drag roles.
#include "internal.h"

#include <cstdarg>

namespace {

constexpr int most_tags = 15;

void add(zan_method fn, const char *name, const signed char (&t)[most_tags])
{
    zan_class *c = zan::class_in_making();
    if (!c) {
        object_error(nullptr, "no class is in the making for the message \"%s\"", name ? name : "");
        return;
    }
    class_addmethod(c, fn, name, t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7], t[8], t[9], t[10], t[11], t[12],
                    t[13], t[14], 0);
}

// Where a drag keeps its role and what it offers: see zan/outlets.h.
symbol *role_key()
{
    static symbol *const s = gensym("#role");
    return s;
}
symbol *offers_key()
{
    static symbol *const s = gensym("#offers");
    return s;
}

} // namespace

extern "C" {

void addmess(zan_method fn, const char *name, ...)
{
    signed char tags[most_tags] = {};
    va_list list;
    va_start(list, name);
    for (signed char &tag : tags)
        if ((tag = static_cast<signed char>(va_arg(list, int))) == argtype_nothing)
            break;
    va_end(list);
    add(fn, name, tags);
}

void addbang(zan_method fn)
{
    add(fn, "bang", {});
}

void addint(zan_method fn)
{
    add(fn, "int", {argtype_long});
}

void addfloat(zan_method fn)
{
    add(fn, "float", {argtype_float});
}

void stdinletinfo(void *, void *, long index, char *cold)
{
    if (cold)
        *cold = index != 0;
}

long zdrag_matchdragrole(void *drag, symbol *role, long)
{
    void *carried = nullptr;
    if (zan::looks_live(drag))
        object_obex_lookup(drag, role_key(), &carried);
    return carried && carried == role;
}

void zdrag_object_add(void *drag, void *x, symbol *role, symbol *message, ...)
{
    if (!message || !zdrag_matchdragrole(drag, role, 0))
        return;
    void *before = nullptr;
    object_obex_lookup(drag, offers_key(), &before);
    long count = 0;
    atom *old = nullptr;
    if (before)
        atomarray_getatoms(before, &count, &old);

    va_list list;
    va_start(list, message);
    long more = 1;
    while (va_arg(list, symbol *))
        more++;
    va_end(list);
    auto *all = static_cast<atom *>(sysmem_newptr((count + 2 * more) * long(sizeof(atom))));
    if (!all)
        return;
    if (count)
        sysmem_copyptr(old, all, count * long(sizeof(atom)));
    va_start(list, message);
    for (symbol *m = message; m; m = va_arg(list, symbol *)) {
        atom_setobj(all + count++, x);
        atom_setsym(all + count++, m);
    }
    va_end(list);
    void *offers = object_new_imp(zan::nobox(), gensym("atomarray"), count, zan_word(all), 0, 0, 0, 0, 0, 0);
    sysmem_freeptr(all);
    // kept as a plain pointer, so that replacing it frees nothing behind our back
    object_obex_storeflags(drag, offers_key(), offers, 1);
    object_free(before);
}

} // extern "C"
