// Atoms as an object: class "atomarray" in namespace "nobox", by which a method hands a
// list back through one atom. Its copy of the atoms is its own; objects named in them
// are not. Reached by object_new_imp(nobox, atomarray, argc, argv) and through
// include/zan/symbols.h.
#include "kernel.h"

#include <cstring>

namespace {

struct atomarray {
    object header;
    long ac;  // atoms held
    atom *av; // sysmem block, null when there are none
};

zan_class *array_class;

atomarray *array_of(void *x)
{
    return zan::instance_of<atomarray>(x, array_class);
}

long set_atoms(atomarray *array, long argc, const atom *argv)
{
    argc = argv && argc > 0 ? argc : 0;
    atom *copy = nullptr;
    if (argc) {
        if (argc > PTRDIFF_MAX / long(sizeof(atom)))
            return zan_err_out_of_mem;
        copy = static_cast<atom *>(sysmem_newptr(argc * long(sizeof(atom))));
        if (!copy)
            return zan_err_out_of_mem;
        memcpy(copy, argv, size_t(argc) * sizeof(atom));
    }
    sysmem_freeptr(array->av); // last: argv may be the array's own
    array->av = copy;
    array->ac = argc;
    return zan_err_none;
}

void *create(long argc, const atom *argv)
{
    atomarray *array = static_cast<atomarray *>(object_alloc(array_class));
    if (array && set_atoms(array, argc, argv)) {
        object_free(array);
        return nullptr;
    }
    return array;
}

void *create_typed(symbol *, long argc, atom *argv)
{
    return create(argc, argv);
}

void destroy(atomarray *array)
{
    sysmem_freeptr(array->av);
}

long getvalueof(atomarray *array, long *argc, atom **argv)
{
    char alloc = 0;
    if (const long error = atom_alloc_array(array->ac, argc, argv, &alloc))
        return error;
    if (*argc)
        memcpy(*argv, array->av, size_t(*argc) * sizeof(atom));
    return zan_err_none;
}

void *copy_of(atomarray *array)
{
    return create(array->ac, array->av);
}

zan_word clear(atomarray *array)
{
    return set_atoms(array, 0, nullptr);
}

} // namespace

void zan::init_atomarray_class()
{
    zan_class *c = class_new("atomarray", zan::erase(&create), zan::erase(&destroy), sizeof(atomarray), nullptr,
                             argtype_cant, 0);
    class_addmethod(c, zan::erase(&getvalueof), "getvalueof", argtype_cant, 0);
    class_addmethod(c, zan::erase(&set_atoms), "setvalueof", argtype_cant, 0);
    class_addmethod(c, zan::erase(&atomarray_getsize), "getsize", argtype_cant, 0);
    class_addmethod(c, zan::erase(&atomarray_getatoms), "getatoms", argtype_cant, 0);
    class_addmethod(c, zan::erase(&clear), "clear", argtype_cant, 0);
    class_addmethod(c, zan::erase(&copy_of), "object_clone", argtype_cant, 0);
    class_addtypedwrapper(c, zan::erase(&create_typed), "new", argtype_gimme, 0);
    class_register(nobox(), c);
    array_class = c;
}

extern "C" {

long atomarray_getsize(void *x)
{
    const atomarray *array = array_of(x);
    return array ? array->ac : 0;
}

long atomarray_getatoms(void *x, long *argc, atom **argv)
{
    const atomarray *array = array_of(x);
    if (argc)
        *argc = array ? array->ac : 0;
    if (argv)
        *argv = array ? array->av : nullptr;
    return array ? zan_err_none : zan_err_invalid_ptr;
}

} // extern "C"
