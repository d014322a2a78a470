// The format of a matrix as a patch writes it among a box's arguments:
// [planecount [type [dim ...]]].
#pragma once
#include <algorithm>

#include <vokra/matrix_info.h>
#include <zan/symbols.h>

namespace vok {

// Changes what is given. A planecount that is no number and a type that is no symbol are
// passed over; at most 32 extents count.
inline void read_format(vok_matrix_info *info, long argc, const atom *argv)
{
    if (argc > 0 && (argv[0].type == argtype_long || argv[0].type == argtype_float))
        info->planecount = std::clamp(atom_getlong(argv), zan_word{1}, zan_word{VOK_MATRIX_MAX_PLANECOUNT});
    if (argc > 1 && argv[1].type == argtype_sym)
        info->type = atom_getsym(argv + 1);
    const long extents = std::min(argc - 2, long{VOK_MATRIX_MAX_DIMCOUNT});
    if (extents > 0)
        info->dimcount = extents;
    for (long i = 0; i < extents; i++)
        info->dim[i] = atom_getlong(argv + 2 + i);
}

} // namespace vok
