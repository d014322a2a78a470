// vok_matrix: the record, where its cells come from, and every road by which its
// description changes. vok_matrix_rebuild alone decides about storage; the setters
// only decide whether it runs.
#include <vokra/matrix.h>

#include <algorithm>

#include <zan/symbols.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/matrix_copy.h>
#include <vokra/matrix_image.h>
#include <vokra/memory.h>

#include "kernel/class_table.h"
#include "matrix/matrix_lock.h"
#include "matrix/matrix_symbols.h"

float _c2ftab[256];
double _c2dtab[256];

namespace vok {

namespace {

zan_class *matrix_class;
matrix_symbol_table symbols;

// Above this a matrix can't be asked for; padding may still carry it a little further.
constexpr unsigned long max_bytes = 0x7FFFFFFE;

bool has_flag(const vok_matrix *x, long flag)
{
    return (x->info.flags & flag) != 0;
}

void set_default(vok_matrix_info *info)
{
    *info = {};
    info->type = _vok_sym_char;
    info->dimcount = 2;
    std::fill_n(info->dim, VOK_MATRIX_MAX_DIMCOUNT, 1L);
    info->planecount = 4;
}

long clip_dimcount(long count)
{
    return std::clamp(count, 0L, long{VOK_MATRIX_MAX_DIMCOUNT});
}

long clip_planecount(long count)
{
    return std::clamp(count, 1L, long{VOK_MATRIX_MAX_PLANECOUNT});
}

// Handle and reference are taken only by who asks for them with the use bit.
long creation_flags(long flags)
{
    if (flags & vok_matrix_flag_use)
        return flags & ~long{vok_matrix_flag_use};
    return flags & ~long{vok_matrix_flag_handle | vok_matrix_flag_reference};
}

// Fills the strides of an info whose type, planecount and dims are legal, and gives the
// bytes of all cells, or -1 when they are more than a matrix can have.
long lay_out(vok_matrix_info *info)
{
    unsigned long bytes = static_cast<unsigned long>(info->planecount * matrix_elementsize(info->type));
    for (long i = 0; i < info->dimcount; i++) {
        info->dimstride[i] = static_cast<long>(bytes);
        unsigned long total = 0;
        if (__builtin_mul_overflow(static_cast<unsigned long>(info->dim[i]), bytes, &total) || total > max_bytes)
            return -1;
        // rows alone are padded, and the limit counts the bytes ahead of the padding
        if (i == 0 && !(info->flags & vok_matrix_flag_packed))
            total = (total + 15) & ~15UL;
        bytes = total;
    }
    for (long i = info->dimcount; i < VOK_MATRIX_MAX_DIMCOUNT; i++) {
        info->dim[i] = 1;
        info->dimstride[i] = 0;
    }
    return static_cast<long>(bytes);
}

void forget_block(vok_matrix *x)
{
    x->data = nullptr;
    x->info.size = 0;
    x->rawdata = nullptr;
    x->rawsize = 0;
}

void free_block(vok_matrix *x)
{
    if (x->rawdata && x->rawsize && !has_flag(x, vok_matrix_flag_reference))
        vok_freebytes(x->rawdata, x->rawsize);
    forget_block(x);
}

void free_handle(vok_matrix *x)
{
    x->data = nullptr;
    if (x->handle)
        sysmem_freehandle(x->handle);
    x->handle = nullptr;
}

// Zeroed by the allocator, which knows what the system hands out as zeros already.
bool new_block(vok_matrix *x, long bytes)
{
    constexpr long spare = 16; // for the alignment of the base alone
    void *raw = sysmem_newptrclear(bytes + spare);
    if (!raw)
        return false;
    if (_vok_memreg)
        vok_memory_register(raw, bytes + spare, 0);
    x->rawdata = raw;
    x->rawsize = bytes + spare;
    x->data = reinterpret_cast<unsigned char *>((reinterpret_cast<uintptr_t>(raw) + 15) & ~uintptr_t{15});
    return true;
}

bool resize_handle(vok_matrix *x, long bytes)
{
    if (!x->handle) {
        x->handle = sysmem_newhandle(bytes);
        return x->handle != nullptr;
    }
    return sysmem_resizehandle(x->handle, bytes) == 0;
}

vok_err end_without_storage(vok_matrix *x)
{
    x->info.size = 0;
    vok_object_notify(x, _vok_sym_modified, nullptr);
    return VOK_ERR_OMEM;
}

bool same_shape(const vok_matrix_info &a, const vok_matrix_info &b, long dimcount)
{
    return a.type == b.type && a.planecount == b.planecount && a.dimcount == dimcount &&
           std::equal(a.dim, a.dim + dimcount, b.dim);
}

// The core of every setinfo: keeps the data if the shape is the one there is. The
// request is compared as it comes, so that a dim below 1 always rebuilds.
vok_err take_shape(vok_matrix *x, const vok_matrix_info *info, bool force)
{
    const long dimcount = clip_dimcount(info->dimcount);
    if (!force && same_shape(x->info, *info, dimcount))
        return VOK_ERR_NONE;
    x->info.type = info->type;
    x->info.planecount = info->planecount;
    x->info.dimcount = dimcount;
    for (long i = 0; i < dimcount; i++)
        x->info.dim[i] = std::max(info->dim[i], 1L);
    return vok_matrix_rebuild(x);
}

// planecount, type, dimensions, as far as they are given
void apply_grammar(vok_matrix_info *info, long argc, const atom *argv)
{
    if (argc > 0)
        info->planecount = clip_planecount(atom_getlong(argv));
    if (argc > 1) {
        symbol *type = atom_getsym(argv + 1);
        info->type = type ? type : _vok_sym_nothing;
    }
    if (argc > 2) {
        info->dimcount = std::min(argc - 2, long{VOK_MATRIX_MAX_DIMCOUNT});
        for (long i = 0; i < info->dimcount; i++)
            info->dim[i] = atom_getlong(argv + 2 + i);
    }
}

vok_matrix *new_from(const vok_matrix_info &info, zan_handle shared)
{
    auto *x = static_cast<vok_matrix *>(vok_object_alloc(matrix_class));
    if (!x)
        return nullptr;
    x->info = info;
    x->info.dimcount = clip_dimcount(info.dimcount);
    forget_block(x);
    if (has_flag(x, vok_matrix_flag_reference))
        x->info.size = info.size;
    x->handle = shared;
    if (vok_matrix_rebuild(x)) {
        vok_object_free(x);
        return nullptr;
    }
    return x;
}

constexpr message messages[] = {
    {"class_vok_matrix", fn<vok_method_true>, {argtype_cant}},
    {"getindex", fn<vok_matrix_getindex>, {argtype_cant}},
    {"register", fn<vok_object_register>, {argtype_cant}},
    {"newcopy", fn<vok_matrix_newcopy>, {argtype_cant}},
    {"setinfo", fn<vok_matrix_setinfo>, {argtype_cant}},
    {"setinfo_ex", fn<vok_matrix_setinfo_ex>, {argtype_cant}},
    {"getinfo", fn<vok_matrix_getinfo>, {argtype_cant}},
    {"getdata", fn<vok_matrix_getdata>, {argtype_cant}},
    {"data", fn<vok_matrix_data>, {argtype_cant}},
    {"data16", fn<vok_matrix_data16>, {argtype_cant}},
    {"freedata", fn<vok_matrix_freedata>, {argtype_cant}},
    {"lock", fn<vok_matrix_lock>, {argtype_cant}},
    {"is_valid", fn<vok_matrix_is_valid>, {argtype_cant}},
    {"clear", fn<vok_matrix_clear>, {argtype_defer_low}},
    {"clear_custom", fn<vok_matrix_clear_custom>, {argtype_cant}},
    {"setcell", fn<vok_matrix_setcell>, {argtype_defer_low}},
    {"setall", fn<vok_matrix_setall>, {argtype_defer_low}},
    {"fillplane", fn<vok_matrix_fillplane>, {argtype_defer_low}},
    {"getcell", fn<vok_matrix_getcell>, {argtype_cant}},
    {"setcell1d", fn<vok_matrix_setcell1d>, {argtype_defer_low}},
    {"setcell2d", fn<vok_matrix_setcell2d>, {argtype_defer_low}},
    {"setcell3d", fn<vok_matrix_setcell3d>, {argtype_defer_low}},
    {"setplane1d", fn<vok_matrix_setplane1d>, {argtype_defer_low}},
    {"setplane2d", fn<vok_matrix_setplane2d>, {argtype_defer_low}},
    {"setplane3d", fn<vok_matrix_setplane3d>, {argtype_defer_low}},
    {"frommatrix", fn<vok_matrix_frommatrix>, {argtype_cant}},
    {"frommatrix_trunc", fn<vok_matrix_frommatrix_trunc>, {argtype_cant}},
    {"op", fn<vok_matrix_op>, {argtype_defer_low}},
    {"exprfill", fn<vok_matrix_exprfill>, {argtype_defer_low}},
    {"vok_gl_texture", fn<vok_matrix_vok_gl_texture>, {argtype_defer_low}},
    {"export_image_surface", fn<vok_matrix_export_image_surface>, {argtype_cant}},
    {"get_image_surface", fn<vok_matrix_get_image_surface>, {argtype_cant}},
    {"from_image_surface", fn<vok_matrix_from_image_surface>, {argtype_cant}},
    {"importmovie_as_surface", fn<vok_matrix_importmovie_as_surface>, {argtype_cant}},
};

constexpr long info_field(long offset)
{
    return static_cast<long>(offsetof(vok_matrix, info)) + offset;
}

constexpr attribute attributes[] = {
    {.name = "type",
     .type = "symbol",
     .flags = low,
     .offset = info_field(offsetof(vok_matrix_info, type)),
     .set = fn<vok_matrix_type>,
     .label = "Type",
     .style = "enum",
     .enumvals = "char long float32 float64"},
    {.name = "dim",
     .type = "long",
     .flags = low,
     .offset = info_field(offsetof(vok_matrix_info, dim)),
     .size = VOK_MATRIX_MAX_DIMCOUNT,
     .count = info_field(offsetof(vok_matrix_info, dimcount)),
     .set = fn<vok_matrix_dimensions>,
     .label = "Dim"},
    {.name = "planecount",
     .type = "long",
     .flags = low,
     .offset = info_field(offsetof(vok_matrix_info, planecount)),
     .set = fn<vok_matrix_planecount>,
     .label = "Planecount"},
    {.name = "dimstride",
     .type = "long",
     .flags = low_readonly,
     .offset = info_field(offsetof(vok_matrix_info, dimstride)),
     .size = VOK_MATRIX_MAX_DIMCOUNT,
     .count = info_field(offsetof(vok_matrix_info, dimcount))},
    {.name = "size", .type = "long", .flags = low_readonly, .offset = info_field(offsetof(vok_matrix_info, size))},
    {.name = "flags", .type = "long", .flags = hidden, .offset = info_field(offsetof(vok_matrix_info, flags))},
};

} // namespace

const matrix_symbol_table &matrix_symbols()
{
    return symbols;
}

long matrix_elementsize(const symbol *type)
{
    if (type == _vok_sym_char)
        return 1;
    if (type == _vok_sym_long || type == _vok_sym_float32)
        return 4;
    if (type == _vok_sym_float64 || type == _vok_sym_symbol || type == _vok_sym_object || type == _vok_sym_pointer)
        return 8;
    return 0;
}

} // namespace vok

using namespace vok;

vok_err vok_matrix_init(void)
{
#define X(name) symbols.name = gensym(#name);
    VOK_MATRIX_SYMBOLS(X)
#undef X
    for (int i = 0; i < 256; i++) {
        _c2dtab[i] = i / 255.0;
        _c2ftab[i] = static_cast<float>(_c2dtab[i]);
    }
    matrix_class = add_class({"vok_matrix", fn<vok_matrix_new>, fn<vok_matrix_free>, sizeof(vok_matrix)}, messages,
                             attributes);
    if (!matrix_class)
        return VOK_ERR_OMEM;
    vok_class_addtypedwrapper(matrix_class, method(vok_matrix_new_typed), "new", argtype_gimme, 0);
    vok_class_addtypedwrapper(matrix_class, method(vok_matrix_setinfo_typed), "setinfo", argtype_gimme, 0);
    vok_class_addtypedwrapper(matrix_class, method(vok_matrix_getcell_typed), "getcell", argtype_gimmeback, 0);
    return VOK_ERR_NONE;
}

vok_err vok_matrix_rebuild(vok_matrix *x)
{
    if (!x)
        return VOK_ERR_INVP;
    vok_object_notify(x, _vok_sym_rebuilding, nullptr);
    unsigned char *kept = x->data;
    x->data = nullptr;
    if (!matrix_elementsize(x->info.type)) {
        vok_object_post(x, "warning: attempting to allocate matrix with unknown type");
        x->info.type = _vok_sym_char;
    }
    if (has_flag(x, vok_matrix_flag_reference)) {
        // strides are the caller's, but no code that walks cells meets more planes than there can be
        x->info.planecount = clip_planecount(x->info.planecount);
        vok_object_notify(x, _vok_sym_modified, nullptr);
        return VOK_ERR_NONE;
    }
    if (x->info.planecount > VOK_MATRIX_MAX_PLANECOUNT)
        vok_object_post(x, "warning: attempting to allocate matrix with more than 32 planes");
    if (x->info.planecount < 1)
        vok_object_post(x, "warning: attempting to allocate matrix with less than 1 plane");
    x->info.planecount = clip_planecount(x->info.planecount);
    for (long &extent : x->info.dim)
        extent = std::max(extent, 1L);

    const long bytes = lay_out(&x->info);
    if (bytes < 0) {
        free_handle(x);
        free_block(x);
        vok_object_error(x, "could not allocate matrix");
        return end_without_storage(x);
    }
    if (has_flag(x, vok_matrix_flag_handle)) {
        // a block can stand here if the flag came after it
        if (x->rawdata) {
            free_block(x);
            kept = nullptr;
        }
        if (!resize_handle(x, bytes))
            return end_without_storage(x);
        // null unless the handle is pinned: there is no new value until the next lock
        x->data = kept ? reinterpret_cast<unsigned char *>(*x->handle) : nullptr;
        x->info.size = bytes;
        vok_object_notify(x, _vok_sym_modified, nullptr);
        vok_matrix_clear(x);
        return VOK_ERR_NONE;
    }
    free_handle(x);
    free_block(x);
    if (!new_block(x, bytes)) {
        vok_object_error(x, "could not allocate matrix");
        return end_without_storage(x);
    }
    x->info.size = bytes;
    vok_object_notify(x, _vok_sym_modified, nullptr);
    return VOK_ERR_NONE;
}

vok_matrix *vok_matrix_new(const vok_matrix_info *info)
{
    vok_matrix_info wanted;
    if (info) {
        wanted = *info;
        wanted.flags = creation_flags(info->flags);
    } else {
        set_default(&wanted);
    }
    return new_from(wanted, nullptr);
}

vok_matrix *vok_matrix_new_typed(void *, long argc, atom *argv)
{
    vok_matrix_info info;
    set_default(&info);
    apply_grammar(&info, argv ? argc : 0, argv);
    return new_from(info, nullptr);
}

void vok_matrix_free(vok_matrix *x)
{
    if (!x || has_flag(x, vok_matrix_flag_reference))
        return;
    free_handle(x);
    free_block(x);
}

vok_matrix *vok_matrix_newcopy(vok_matrix *x)
{
    if (!x)
        return nullptr;
    const matrix_pin pin(x);
    return new_from(x->info, has_flag(x, vok_matrix_flag_reference) ? x->handle : nullptr);
}

vok_err vok_matrix_info_default(vok_matrix_info *info)
{
    if (!info)
        return VOK_ERR_INVP;
    set_default(info);
    return VOK_ERR_NONE;
}

long vok_matrix_info_typesize(const vok_matrix_info *info)
{
    if (!info)
        return 0;
    return info->type == _vok_sym_char ? 1 : info->type == _vok_sym_float64 ? 8 : 4;
}

vok_err vok_matrix_dosetinfo(vok_matrix *x, const vok_matrix_info *info)
{
    if (!x)
        return VOK_ERR_INVP;
    if (info)
        return take_shape(x, info, false);
    // the default in full: strides and size too, and the flags, so that what the
    // matrix holds by them is settled first
    vok_matrix_free(x);
    forget_block(x);
    x->handle = nullptr;
    set_default(&x->info);
    return vok_matrix_rebuild(x);
}

vok_err vok_matrix_setinfo(vok_matrix *x, const vok_matrix_info *info)
{
    if (!x)
        return VOK_ERR_INVP;
    const vok_err err = vok_matrix_dosetinfo(x, info);
    vok_object_notify(x, _vok_sym_setinfo, nullptr);
    return err;
}

vok_err vok_matrix_setinfo_ex(vok_matrix *x, const vok_matrix_info *info)
{
    if (!x || !info)
        return vok_matrix_setinfo(x, info);
    const bool was_reference = has_flag(x, vok_matrix_flag_reference);
    if (info->flags & vok_matrix_flag_reference) {
        const vok_matrix_info wanted = *info; // may be the matrix's own
        if (!was_reference) {
            free_handle(x);
            free_block(x);
        }
        x->info = wanted;
        x->info.dimcount = clip_dimcount(wanted.dimcount);
        x->info.planecount = clip_planecount(wanted.planecount);
        x->rawsize = x->info.size;
        vok_object_notify(x, _vok_sym_modified, nullptr);
        return VOK_ERR_NONE;
    }
    if (was_reference) {
        forget_block(x);
        x->handle = nullptr;
    }
    x->info.flags = info->flags;
    const vok_err err = take_shape(x, info, was_reference);
    vok_object_notify(x, _vok_sym_setinfo, nullptr);
    return err;
}

vok_err vok_matrix_setinfo_typed(vok_matrix *x, symbol *, long argc, atom *argv)
{
    if (!x)
        return VOK_ERR_NONE;
    vok_matrix_info info = x->info;
    if (argc > 0 && argv) {
        void *source = atom_getobj(argv);
        if (!source && argc == 1 && atom_getsym(argv))
            source = vok_object_findregistered(atom_getsym(argv));
        if (is_matrix(source))
            send(source, _vok_sym_getinfo, &info);
        else
            apply_grammar(&info, argc, argv);
    }
    take_shape(x, &info, false);
    vok_object_notify(x, _vok_sym_setinfo, nullptr);
    return VOK_ERR_NONE;
}

vok_err vok_matrix_getinfo(vok_matrix *x, vok_matrix_info *info)
{
    if (!x || !info)
        return VOK_ERR_INVP;
    *info = x->info;
    return VOK_ERR_NONE;
}

vok_err vok_matrix_type(vok_matrix *x, void *, long argc, atom *argv)
{
    if (!x)
        return VOK_ERR_INVP;
    if (argc < 1 || !argv)
        return VOK_ERR_NONE;
    symbol *type = atom_getsym(argv);
    if (!type)
        type = _vok_sym_nothing;
    if (type == x->info.type)
        return VOK_ERR_NONE;
    x->info.type = type;
    return vok_matrix_rebuild(x);
}

vok_err vok_matrix_planecount(vok_matrix *x, void *, long argc, atom *argv)
{
    if (!x || argc < 1 || !argv)
        return VOK_ERR_INVP;
    const long count = clip_planecount(atom_getlong(argv));
    if (count == x->info.planecount)
        return VOK_ERR_NONE;
    x->info.planecount = count;
    return vok_matrix_rebuild(x);
}

vok_err vok_matrix_dimensions(vok_matrix *x, void *, long argc, atom *argv)
{
    if (!x)
        return VOK_ERR_INVP;
    const long count = argv ? clip_dimcount(argc) : 0;
    long dim[VOK_MATRIX_MAX_DIMCOUNT];
    std::fill_n(dim, VOK_MATRIX_MAX_DIMCOUNT, 1L);
    for (long i = 0; i < count; i++)
        dim[i] = std::max(atom_getlong(argv + i), zan_word{1});
    if (count == x->info.dimcount && std::equal(dim, dim + count, x->info.dim))
        return VOK_ERR_NONE;
    x->info.dimcount = count;
    std::copy_n(dim, VOK_MATRIX_MAX_DIMCOUNT, x->info.dim);
    return vok_matrix_rebuild(x);
}

vok_err vok_matrix_getdata(vok_matrix *x, unsigned char **data)
{
    if (!x || !data)
        return VOK_ERR_INVP;
    *data = x->data;
    return VOK_ERR_NONE;
}

zan_word vok_matrix_lock(vok_matrix *x, zan_word lock)
{
    if (!x || !has_flag(x, vok_matrix_flag_handle) || !x->handle)
        return 0;
    const zan_word earlier = sysmem_lockhandle(x->handle, lock != 0);
    // size 0: the handle is smaller than the shape, which no cell may then be taken from
    x->data = lock && x->info.size > 0 ? reinterpret_cast<unsigned char *>(*x->handle) : nullptr;
    return earlier;
}

vok_err vok_matrix_data(vok_matrix *x, void *pointer)
{
    if (!x)
        return VOK_ERR_INVP;
    x->data = static_cast<unsigned char *>(pointer);
    x->rawdata = pointer;
    return VOK_ERR_NONE;
}

vok_err vok_matrix_data16(vok_matrix *x, void *raw, long rawsize)
{
    if (!x)
        return VOK_ERR_INVP;
    // deliberately the block that was there before: see the header
    const uintptr_t data = reinterpret_cast<uintptr_t>(x->rawdata) & ~uintptr_t{15};
    x->data = reinterpret_cast<unsigned char *>(data);
    x->info.size = static_cast<long>(static_cast<uintptr_t>(rawsize) - reinterpret_cast<uintptr_t>(raw) + data);
    x->rawdata = raw;
    x->rawsize = rawsize;
    return VOK_ERR_NONE;
}

vok_err vok_matrix_freedata(vok_matrix *x)
{
    if (!x)
        return VOK_ERR_INVP;
    free_block(x);
    return VOK_ERR_NONE;
}

zan_word vok_matrix_is_valid(vok_matrix *)
{
    return 1;
}

void *vok_matrix_getindex(vok_matrix *x, long index)
{
    return index == 0 ? x : nullptr;
}
