// Owners and fillers of atom arrays.
#pragma once
#include <zan/memory.h>
#include <zan/symbols.h>

#include <vokra/base.h>
#include <vokra/kernel.h>
#include <vokra/memory.h>

namespace vok {

// An array of atoms that a getter gave out; freed with its owner. A getter takes
// (&a.argc, &a.argv).
struct atom_array {
    long argc = 0;
    atom *argv = nullptr;

    atom_array() = default;
    atom_array(const atom_array &) = delete;
    atom_array &operator=(const atom_array &) = delete;
    ~atom_array()
    {
        if (_vok_memreg && argv)
            vok_memory_unregister(argv, sysmem_ptrsize(argv), 0);
        sysmem_freeptr(argv);
    }
};

// How a getter finds room for `n` atoms: the caller's array, the count cut to what it
// holds, or a new one that the caller frees. 0; OMEM (*argc 0) or INVP.
vok_err reserve_atoms(long n, long *argc, atom **argv);

} // namespace vok
