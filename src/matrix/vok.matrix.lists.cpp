// Helpers over lists and arrays of matrices, for classes that calculate: everything is
// asked by message, so that whatever answers as a matrix will do.
#include <algorithm>

#include "matrix/matrix_lock.h"

using namespace vok;

namespace {

template <typename Test> vok_err all_agree(long count, const vok_matrix_info *infos, const Test &test)
{
    if (count < 1)
        return VOK_ERR_NONE;
    return infos && std::all_of(infos, infos + count, test) ? VOK_ERR_NONE : VOK_ERR_EROR;
}

} // namespace

vok_err vok_matrix_list_get_matrices(void *list, long count, void **matrices)
{
    if (!list || send(list, _vok_sym_getsize) < count)
        return VOK_ERR_EROR;
    for (long i = 0; i < count; i++) {
        matrices[i] = ask<void>(list, _vok_sym_getindex, i);
        if (!matrices[i])
            return VOK_ERR_EROR;
    }
    return VOK_ERR_NONE;
}

vok_err vok_matrix_array_get_matrix_info(void **matrices, long count, vok_matrix_info *infos)
{
    for (long i = 0; i < count; i++) {
        if (!matrices[i])
            return VOK_ERR_INVP;
        send(matrices[i], _vok_sym_getinfo, infos + i);
    }
    return VOK_ERR_NONE;
}

vok_err vok_matrix_array_lock(void **matrices, long count, zan_word *savelocks)
{
    for (long i = 0; i < count; i++)
        savelocks[i] = matrices[i] ? send(matrices[i], _vok_sym_lock, 1) : 0;
    return VOK_ERR_NONE;
}

vok_err vok_matrix_array_unlock(void **matrices, long count, const zan_word *savelocks)
{
    for (long i = 0; i < count; i++) {
        if (matrices[i])
            send(matrices[i], _vok_sym_lock, savelocks[i]);
    }
    return VOK_ERR_NONE;
}

vok_err vok_matrix_array_get_data(void **matrices, long count, unsigned char **data)
{
    for (long i = 0; i < count; i++) {
        data[i] = nullptr;
        if (matrices[i])
            send(matrices[i], _vok_sym_getdata, data + i);
        if (!data[i])
            return VOK_ERR_EROR;
    }
    return VOK_ERR_NONE;
}

vok_err vok_matrix_info_uniform_planecount(const vok_matrix_info *info, long count, const vok_matrix_info *infos)
{
    if (!info)
        return VOK_ERR_INVP;
    return all_agree(count, infos,
                     [info](const vok_matrix_info &other) { return other.planecount == info->planecount; });
}

vok_err vok_matrix_info_uniform_type(const vok_matrix_info *info, long count, const vok_matrix_info *infos)
{
    if (!info)
        return VOK_ERR_INVP;
    return all_agree(count, infos, [info](const vok_matrix_info &other) { return other.type == info->type; });
}

vok_err vok_matrix_info_uniform_dim(const vok_matrix_info *info, long count, const vok_matrix_info *infos)
{
    if (!info)
        return VOK_ERR_INVP;
    const long used = std::clamp(info->dimcount, 0L, long{VOK_MATRIX_MAX_DIMCOUNT});
    return all_agree(count, infos, [info, used](const vok_matrix_info &other) {
        return other.dimcount == info->dimcount && std::equal(info->dim, info->dim + used, other.dim);
    });
}

vok_err vok_matrix_info_equal_matrix_structure(const vok_matrix_info *a, const vok_matrix_info *b)
{
    if (!a || !b)
        return VOK_ERR_INVP;
    const bool equal = a->planecount == b->planecount && a->type == b->type && a->dimcount == b->dimcount;
    return equal ? VOK_ERR_NONE : VOK_ERR_EROR;
}
