// The messages that read and write single cells and planes, by coordinates and by
// value. Whatever a message holds, nothing is written outside the matrix's memory.
#include <vokra/matrix.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <zan/symbols.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/memory.h>
#include <vokra/op.h>

#include "matrix/matrix_lock.h"

namespace vok {

namespace {

constexpr long max_values = VOK_MATRIX_MAX_PLANECOUNT;

// Elements are moved as bytes: a reference may lie at any address.
template <typename T> void store(unsigned char *p, T value)
{
    std::memcpy(p, &value, sizeof value);
}

template <typename T> T load(const unsigned char *p)
{
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

// How the elements of one type are written from an atom and read into one; `pass` is
// there for the types that are filled by runs.
struct element_rule {
    symbol **type;
    void (*write)(unsigned char *p, const atom *a);
    void (*read)(const unsigned char *p, atom *a);
    vok_op_vector_fn pass;
};

constexpr element_rule element_rules[] = {
    {&_vok_sym_char, [](unsigned char *p, const atom *a) { *p = static_cast<unsigned char>(atom_getcharfix(a)); },
     [](const unsigned char *p, atom *a) { atom_setlong(a, *p); }, vok_op_vector_pass_char},
    {&_vok_sym_long, [](unsigned char *p, const atom *a) { store(p, static_cast<int32_t>(atom_getlong(a))); },
     [](const unsigned char *p, atom *a) { atom_setlong(a, load<int32_t>(p)); }, vok_op_vector_pass_long},
    {&_vok_sym_float32, [](unsigned char *p, const atom *a) { store(p, static_cast<float>(atom_getfloat(a))); },
     [](const unsigned char *p, atom *a) { atom_setfloat(a, load<float>(p)); }, vok_op_vector_pass_float32},
    {&_vok_sym_float64, [](unsigned char *p, const atom *a) { store(p, atom_getfloat(a)); },
     [](const unsigned char *p, atom *a) { atom_setfloat(a, load<double>(p)); }, vok_op_vector_pass_float64},
    {&_vok_sym_symbol,
     [](unsigned char *p, const atom *a) {
         symbol *value = atom_getsym(a);
         store(p, word(value ? value : _vok_sym_nothing));
     },
     [](const unsigned char *p, atom *a) {
         auto *value = reinterpret_cast<symbol *>(load<zan_word>(p)); // null in a cell that nobody has written
         atom_setsym(a, value ? value : _vok_sym_nothing);
     },
     nullptr},
    {&_vok_sym_object, [](unsigned char *p, const atom *a) { store(p, word(atom_getobj(a))); },
     [](const unsigned char *p, atom *a) { atom_setobj(a, reinterpret_cast<void *>(load<zan_word>(p))); },
     nullptr},
};

// Null for pointer cells, which no message reads or writes.
const element_rule *rule_of(const symbol *type)
{
    for (const element_rule &rule : element_rules) {
        if (*rule.type == type)
            return &rule;
    }
    return nullptr;
}

// The byte offset of the cell at coord[32]; false outside the matrix.
bool cell_offset(const vok_matrix_info &info, const long *coord, long *offset)
{
    *offset = 0;
    for (long i = 0; i < info.dimcount; i++) {
        if (coord[i] < 0 || coord[i] >= info.dim[i])
            return false;
        *offset += coord[i] * info.dimstride[i];
    }
    return true;
}

// The byte offset of a plane that may lie before the cell; false outside the data.
bool loose_plane_offset(const vok_matrix_info &info, long cell, long plane, long elementsize, long *offset)
{
    long distance = 0;
    return !__builtin_mul_overflow(plane, elementsize, &distance) &&
           !__builtin_add_overflow(cell, distance, offset) && *offset >= 0 && *offset <= info.size - elementsize;
}

// One past the last byte that a fill may write. A block of the matrix's own has
// spare bytes behind its cells; of a reference only the cells are known.
const unsigned char *end_of_memory(const vok_matrix *x)
{
    if (x->info.flags & vok_matrix_flag_reference) {
        long last = x->info.planecount * matrix_elementsize(x->info.type);
        for (long i = 0; i < x->info.dimcount; i++)
            last += std::max(0L, (x->info.dim[i] - 1) * x->info.dimstride[i]);
        return x->data + last;
    }
    if (x->info.flags & vok_matrix_flag_handle)
        return x->data + x->info.size;
    return static_cast<const unsigned char *>(x->rawdata) + x->rawsize;
}

// Runs slice(data) on every two-dimensional slice below `dimcount` dimensions.
template <typename Slice>
void for_each_slice(long dimcount, const long *dim, const vok_matrix_info *info, unsigned char *data,
                    const Slice &slice)
{
    if (dimcount <= 2) {
        slice(data);
        return;
    }
    const long k = dimcount - 1;
    for (long i = 0; i < dim[k]; i++)
        for_each_slice(k, dim, info, data + i * info->dimstride[k], slice);
}

struct slice_shape {
    long cells; // of a row
    long rows;
};

// Without a second dimension there is one row, without a first one cell.
slice_shape shape_of(long dimcount, const long *dim)
{
    return {dimcount < 1 ? 1 : dim[0], dimcount < 2 ? 1 : dim[1]};
}

// One run of `value` over a plane of a row of `cells` packed cells.
void fill_run(const element_rule *rule, long cells, const unsigned char *value, unsigned char *first,
              long planecount)
{
    vok_op_vector_arg in = {const_cast<unsigned char *>(value), 0};
    vok_op_vector_arg out = {first, cells < 2 ? 0 : planecount};
    rule->pass(cells, nullptr, &in, &in, &out);
}

void fill_plane(long dimcount, const long *dim, long plane, const void *value, const vok_matrix_info *info,
                unsigned char *data, const unsigned char *end)
{
    const element_rule *rule = rule_of(info->type);
    if (!rule || !rule->pass)
        return;
    const long size = matrix_elementsize(info->type);
    const slice_shape shape = shape_of(dimcount, dim);
    for_each_slice(dimcount, dim, info, data, [&](unsigned char *slice) {
        for (long r = 0; r < shape.rows; r++) {
            unsigned char *first = slice + r * info->dimstride[1] + plane * size;
            long cells = shape.cells;
            while (end && cells > 0 && first + ((cells - 1) * info->planecount + 1) * size > end)
                cells--;
            if (cells > 0)
                fill_run(rule, cells, static_cast<const unsigned char *>(value), first, info->planecount);
        }
    });
}

struct cell_request {
    long coord[VOK_MATRIX_MAX_DIMCOUNT] = {};
    long next = 0;      // the atom behind the word
    bool plane = false; // the word was `plane`, not `val`
};

// Reads coordinates up to the word that ends them; false when none does.
bool read_request(long argc, const atom *argv, cell_request *request)
{
    for (long i = 0; i < argc; i++) {
        const symbol *word = atom_getsym(argv + i);
        if (word && (word == _vok_sym_val || word == _vok_sym_plane)) {
            request->plane = word == _vok_sym_plane;
            request->next = i + 1;
            return true;
        }
        if (i >= VOK_MATRIX_MAX_DIMCOUNT)
            return false;
        request->coord[i] = atom_getlong(argv + i);
    }
    return false;
}

vok_err write_plane(vok_matrix *x, long cell, long argc, const atom *argv)
{
    const element_rule *rule = rule_of(x->info.type);
    const long size = matrix_elementsize(x->info.type);
    const long plane = argc > 0 ? atom_getlong(argv) : 0;
    if (plane >= x->info.planecount)
        return VOK_ERR_OBND;
    if (argc < 2 || atom_getsym(argv + 1) != _vok_sym_val)
        return VOK_ERR_OBND;
    // A negative plane is deliberately no error: it counts back into the cells before.
    long offset = cell + std::max(plane, zan_word{0}) * size;
    if (plane < 0 && !loose_plane_offset(x->info, cell, plane, size, &offset))
        return VOK_ERR_NONE;
    if (argc > 2 && rule)
        rule->write(x->data + offset, argv + 2);
    return VOK_ERR_NONE;
}

void write_cell(vok_matrix *x, long cell, long argc, const atom *argv)
{
    const element_rule *rule = rule_of(x->info.type);
    if (!rule)
        return;
    const long size = matrix_elementsize(x->info.type);
    for (long p = 0; p < x->info.planecount; p++) {
        unsigned char *element = x->data + cell + p * size;
        if (p < argc)
            rule->write(element, argv + p);
        else
            std::memset(element, 0, static_cast<size_t>(size));
    }
}

// Puts the words into a plain list of coordinates (and a plane) and values.
vok_err rewrite(vok_matrix *x, long argc, const atom *argv, long coords, bool plane)
{
    constexpr long max_args = 100;
    const long lead = coords + plane;
    if (!argv || argc < lead)
        return VOK_ERR_NONE;
    argc = std::min(argc, max_args);
    atom list[max_args + 2];
    long n = 0;
    for (long i = 0; i < coords; i++)
        atom_setlong(&list[n++], atom_getlong(argv + i));
    if (plane) {
        atom_setsym(&list[n++], _vok_sym_plane);
        atom_setlong(&list[n++], atom_getlong(argv + coords));
    }
    atom_setsym(&list[n++], _vok_sym_val);
    n = std::copy(argv + lead, argv + argc, list + n) - list;
    vok_matrix_setcell(x, nullptr, n, list);
    return VOK_ERR_NONE;
}

} // namespace

} // namespace vok

using namespace vok;

vok_err vok_matrix_clear(vok_matrix *x)
{
    if (!x)
        return VOK_ERR_INVP;
    const matrix_pin pin(x);
    if (!x->data)
        return VOK_ERR_EROR;
    std::memset(x->data, 0, static_cast<size_t>(std::max(x->info.size, 0L)));
    return VOK_ERR_NONE;
}

vok_err vok_matrix_clear_custom(vok_matrix *x, zan_word value)
{
    if (!x)
        return VOK_ERR_INVP;
    const matrix_pin pin(x);
    if (!x->data)
        return VOK_ERR_EROR;
    const uint32_t swapped = __builtin_bswap32(static_cast<uint32_t>(value));
    unsigned char *const data = x->data;
    const long size = std::max(x->info.size, 0L);
    for (long i = 0; i + 4 <= size; i += 4)
        store(data + i, swapped);
    std::memset(data + (size & ~3L), static_cast<int>(swapped & 0xFF), static_cast<size_t>(size & 3));
    return VOK_ERR_NONE;
}

vok_err vok_matrix_setcell(vok_matrix *x, symbol *, long argc, atom *argv)
{
    if (!x)
        return VOK_ERR_INVP;
    if (argc < 1 || !argv)
        return VOK_ERR_NONE;
    const matrix_pin pin(x);
    cell_request request;
    long cell = 0;
    if (!x->data || !read_request(argc, argv, &request) || !cell_offset(x->info, request.coord, &cell))
        return VOK_ERR_OBND;
    argc -= request.next;
    argv += request.next;
    if (request.plane)
        return write_plane(x, cell, argc, argv);
    write_cell(x, cell, argc, argv);
    return VOK_ERR_NONE;
}

vok_err vok_matrix_setcell1d(vok_matrix *x, symbol *, long argc, atom *argv)
{
    return rewrite(x, argc, argv, 1, false);
}

vok_err vok_matrix_setcell2d(vok_matrix *x, symbol *, long argc, atom *argv)
{
    return rewrite(x, argc, argv, 2, false);
}

vok_err vok_matrix_setcell3d(vok_matrix *x, symbol *, long argc, atom *argv)
{
    return rewrite(x, argc, argv, 3, false);
}

vok_err vok_matrix_setplane1d(vok_matrix *x, symbol *, long argc, atom *argv)
{
    return rewrite(x, argc, argv, 1, true);
}

vok_err vok_matrix_setplane2d(vok_matrix *x, symbol *, long argc, atom *argv)
{
    return rewrite(x, argc, argv, 2, true);
}

vok_err vok_matrix_setplane3d(vok_matrix *x, symbol *, long argc, atom *argv)
{
    return rewrite(x, argc, argv, 3, true);
}

vok_err vok_matrix_getcell(vok_matrix *x, symbol *, long argc, atom *argv, long *rac, atom **rav)
{
    if (rac)
        *rac = 0;
    if (rav)
        *rav = nullptr;
    if (!x || !rac || !rav)
        return VOK_ERR_INVP;
    if (argc < 1 || !argv)
        return VOK_ERR_NONE;
    const matrix_pin pin(x);
    long coord[VOK_MATRIX_MAX_DIMCOUNT] = {};
    for (long i = 0; i < std::min(argc, long{VOK_MATRIX_MAX_DIMCOUNT}); i++)
        coord[i] = atom_getlong(argv + i);
    long cell = 0;
    if (!x->data || !cell_offset(x->info, coord, &cell))
        return VOK_ERR_OBND;

    const long count = x->info.dimcount + x->info.planecount + 1;
    auto *reply = static_cast<atom *>(vok_getbytes(count * static_cast<long>(sizeof(atom))));
    if (!reply)
        return VOK_ERR_OMEM;
    std::fill_n(reply, count, atom{});
    for (long i = 0; i < x->info.dimcount; i++)
        atom_setlong(reply + i, coord[i]);
    atom_setsym(reply + x->info.dimcount, _vok_sym_val);
    const element_rule *rule = rule_of(x->info.type);
    const long size = matrix_elementsize(x->info.type);
    for (long p = 0; rule && p < x->info.planecount; p++)
        rule->read(x->data + cell + p * size, reply + x->info.dimcount + 1 + p);
    *rac = count;
    *rav = reply;
    return VOK_ERR_NONE;
}

vok_err vok_matrix_getcell_typed(vok_matrix *x, symbol *s, long argc, atom *argv, atom *rv)
{
    long rac = 0;
    atom *rav = nullptr;
    if (vok_matrix_getcell(x, s, argc, argv, &rac, &rav) || rac < 1)
        return VOK_ERR_EROR;
    if (rv) {
        const atom *values =
            std::find_if(rav, rav + rac, [](const atom &a) { return atom_getsym(&a) == _vok_sym_val; });
        values = std::min(values + 1, static_cast<const atom *>(rav + rac));
        atom_setobj(rv, make(_vok_sym_nobox, _vok_sym_atomarray, rav + rac - values, values));
    }
    vok_freebytes(rav, rac * static_cast<long>(sizeof(atom)));
    return VOK_ERR_NONE;
}

void vok_matrix_setall_ndim(long dimcount, const long *dim, long planecount, const void *values,
                            const vok_matrix_info *info, unsigned char *data)
{
    const element_rule *rule = rule_of(info->type);
    if (!rule || !rule->pass || info->planecount < 1)
        return;
    const long size = matrix_elementsize(info->type);
    const slice_shape shape = shape_of(dimcount, dim);
    if (shape.cells < 1)
        return;
    const auto *value = static_cast<const unsigned char *>(values);
    const long row_bytes = shape.cells * info->planecount * size;
    // the first row is filled plane by plane and serves the others, where it has every
    // plane and rows stand apart
    const bool copy_rows = planecount >= info->planecount && std::abs(info->dimstride[1]) >= row_bytes;
    for_each_slice(dimcount, dim, info, data, [&](unsigned char *slice) {
        for (long r = 0; r < shape.rows; r++) {
            unsigned char *row = slice + r * info->dimstride[1];
            if (copy_rows && r > 0) {
                std::memcpy(row, slice, static_cast<size_t>(row_bytes));
                continue;
            }
            for (long p = 0; p < planecount; p++)
                fill_run(rule, shape.cells, value + p * size, row + p % info->planecount * size, info->planecount);
        }
    });
}

void vok_matrix_fillplane_ndim(long dimcount, const long *dim, long plane, const void *value,
                               const vok_matrix_info *info, unsigned char *data)
{
    fill_plane(dimcount, dim, plane, value, info, data, nullptr);
}

namespace {

// With the matrix pinned calls put(rule) by the rule of its elements, if they can be written from atoms.
vok_err write_by_rule(vok_matrix *x, long argc, const atom *argv, auto put)
{
    if (!x)
        return VOK_ERR_INVP;
    if (argc < 1 || !argv)
        return VOK_ERR_NONE;
    const matrix_pin pin(x);
    if (!x->data)
        return VOK_ERR_OBND;
    if (const element_rule *rule = rule_of(x->info.type); rule && rule->pass)
        put(*rule);
    return VOK_ERR_NONE;
}

} // namespace

vok_err vok_matrix_setall(vok_matrix *x, symbol *, long argc, atom *argv)
{
    return write_by_rule(x, argc, argv, [=](const element_rule &rule) {
        const long size = matrix_elementsize(x->info.type);
        const long given = std::min(argc, max_values);
        alignas(double) unsigned char values[max_values * sizeof(double)] = {};
        for (long p = 0; p < max_values; p++) {
            if (given == 1 || p < given)
                rule.write(values + p * size, argv + (given == 1 ? 0 : p));
        }
        vok_matrix_setall_ndim(x->info.dimcount, x->info.dim, x->info.planecount, values, &x->info, x->data);
    });
}

vok_err vok_matrix_fillplane(vok_matrix *x, symbol *, long argc, atom *argv)
{
    return write_by_rule(x, argc, argv, [=](const element_rule &rule) {
        // One past the last plane is deliberate: the value lands in the next cell's first
        // plane. The last cell of all is left out where that would leave the memory.
        const long plane = std::clamp(atom_getlong(argv), zan_word{0}, zan_word{x->info.planecount});
        alignas(double) unsigned char value[sizeof(double)] = {};
        if (argc > 1)
            rule.write(value, argv + 1);
        fill_plane(x->info.dimcount, x->info.dim, plane, value, &x->info, x->data, end_of_memory(x));
    });
}
