// The vkf matrix file: writer and reader, held to each other by the one layout in the
// two records below. A file comes from anywhere: its cells are read into the shape that the
// matrix has taken, not into the one that the file told.
#include <vokra/matrix_file.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <utility>

#include <vokra/commonsyms.h>
#include <vokra/memory.h>

#include "matrix/matrix_lock.h"

using namespace vok;

namespace {

enum { seek_start = 1, seek_here = 3 }; // modes of sysfile_setpos

uint32_t big_endian(uint32_t value)
{
    return __builtin_bswap32(value);
}

struct file_header {
    uint32_t form, filesize, formtype, fver, fversize, version;
};
static_assert(sizeof(file_header) == VOK_BIN_HEADER_SIZE);

struct chunk_start {
    uint32_t id, size, offset, type;
    int32_t planecount, dimcount;
};
static_assert(sizeof(chunk_start) == VOK_BIN_CHUNK_SIZE);

constexpr uint32_t fver_size = 12;

template <typename Record> Record swapped(const Record &record)
{
    uint32_t words[sizeof(Record) / 4];
    std::memcpy(words, &record, sizeof record);
    for (uint32_t &word : words)
        word = big_endian(word);
    Record result;
    std::memcpy(&result, words, sizeof result);
    return result;
}

// What became of a transfer: `done` may be short of what was asked for with no error.
struct transfer {
    vok_err err;
    bool whole;
};

transfer read_bytes(zan_file_handle file, void *buffer, long size)
{
    long count = size;
    const vok_err err = sysfile_read(file, &count, buffer);
    return {err, !err && count == size};
}

transfer write_bytes(zan_file_handle file, const void *buffer, long size)
{
    long count = size;
    const vok_err err = sysfile_write(file, &count, buffer);
    return {err, !err && count == size};
}

// ---- element types ----

// Reverses the bytes of `count` elements; dst may be src.
void swap_elements32(unsigned char *dst, const unsigned char *src, long count)
{
    typedef uint32_t group __attribute__((vector_size(16)));
    long i = 0;
    for (; i + 4 <= count; i += 4) {
        group v;
        std::memcpy(&v, src + 4 * i, sizeof v);
        v = (v << 16) | (v >> 16);
        v = ((v & 0x00FF00FF) << 8) | ((v >> 8) & 0x00FF00FF);
        std::memcpy(dst + 4 * i, &v, sizeof v);
    }
    for (; i < count; i++)
        swap_pointer_32_copy(dst + 4 * i, src + 4 * i);
}

void swap_elements64(unsigned char *dst, const unsigned char *src, long count)
{
    for (long i = 0; i < count; i++) {
        uint64_t v;
        std::memcpy(&v, src + 8 * i, sizeof v);
        v = __builtin_bswap64(v);
        std::memcpy(dst + 8 * i, &v, sizeof v);
    }
}

struct file_type {
    symbol **type;
    uint32_t code;
    long size;                                                          // bytes of an element
    void (*swap)(unsigned char *dst, const unsigned char *src, long n); // null for bytes
};

constexpr file_type file_types[] = {
    {&_vok_sym_char, VOK_BIN_CHAR, 1, nullptr},
    {&_vok_sym_long, VOK_BIN_LONG, 4, swap_elements32},
    {&_vok_sym_float32, VOK_BIN_FL32, 4, swap_elements32},
    {&_vok_sym_float64, VOK_BIN_FL64, 8, swap_elements64},
};

const file_type *type_of_symbol(const symbol *type)
{
    const auto *found = std::find_if(std::begin(file_types), std::end(file_types),
                                     [type](const file_type &t) { return *t.type == type; });
    return found == std::end(file_types) ? nullptr : found;
}

const file_type *type_of_code(uint32_t code)
{
    const auto *found = std::find_if(std::begin(file_types), std::end(file_types),
                                     [code](const file_type &t) { return t.code == code; });
    return found == std::end(file_types) ? nullptr : found;
}

// ---- rows ----

struct rows_shape {
    long elements; // of a row
    long bytes;
    long rows;
};

rows_shape shape_of(const int32_t *dim, const vok_matrix_info *info, const file_type &type)
{
    const long elements = std::max(dim[0], int32_t{0}) * std::max(info->planecount, 0L);
    return {elements, elements * type.size, dim[1]};
}

transfer write_rows(zan_file_handle file, const int32_t *dim, const vok_matrix_info *info, unsigned char *data,
                    const file_type &type)
{
    const rows_shape shape = shape_of(dim, info, type);
    struct freer {
        void operator()(void *p) const { sysmem_freeptr(p); }
    };
    std::unique_ptr<void, freer> buffer(type.swap ? sysmem_newptr(shape.bytes) : nullptr);
    if (type.swap && !buffer)
        return {VOK_ERR_NONE, false};
    for (long r = 0; r < shape.rows; r++) {
        unsigned char *row = data + r * info->dimstride[1];
        if (type.swap) {
            type.swap(static_cast<unsigned char *>(buffer.get()), row, shape.elements);
            row = static_cast<unsigned char *>(buffer.get());
        }
        const transfer moved = write_bytes(file, row, shape.bytes);
        if (!moved.whole)
            return moved;
    }
    return {VOK_ERR_NONE, true};
}

// Elements are brought into the machine's order when the whole slice is there: what a
// file that ends too early has brought stays as it came.
transfer read_rows(zan_file_handle file, const int32_t *dim, const vok_matrix_info *info, unsigned char *data,
                   const file_type &type)
{
    const rows_shape shape = shape_of(dim, info, type);
    for (long r = 0; r < shape.rows; r++) {
        const transfer moved = read_bytes(file, data + r * info->dimstride[1], shape.bytes);
        if (!moved.whole)
            return moved;
    }
    for (long r = 0; type.swap && r < shape.rows; r++) {
        unsigned char *row = data + r * info->dimstride[1];
        type.swap(row, row, shape.elements);
    }
    return {VOK_ERR_NONE, true};
}

using row_mover = transfer (*)(zan_file_handle, const int32_t *, const vok_matrix_info *, unsigned char *,
                               const file_type &);

// Slice after slice, the highest dimension slowest; ends at the first that isn't whole.
transfer move_slices(zan_file_handle file, long n, const int32_t *dim, const vok_matrix_info *info,
                     unsigned char *data, const file_type &type, row_mover move)
{
    if (n <= 2)
        return move(file, dim, info, data, type);
    const long k = n - 1;
    for (long i = 0; i < dim[k]; i++) {
        const transfer moved = move_slices(file, k, dim, info, data + i * info->dimstride[k], type, move);
        if (!moved.whole)
            return moved;
    }
    return {VOK_ERR_NONE, true};
}

vok_err move_matrix(zan_file_handle file, long dimcount, int32_t *dim, const vok_matrix_info *info,
                    unsigned char *data, row_mover move)
{
    if (!file || !dim || !info || !data)
        return VOK_ERR_INVP;
    const file_type *type = type_of_symbol(info->type);
    if (dimcount < 1 || !type)
        return VOK_ERR_NONE;
    if (dimcount == 1)
        dim[1] = 1;
    return move_slices(file, std::min(dimcount, long{VOK_MATRIX_MAX_DIMCOUNT}), dim, info, data, *type, move).err;
}

void narrow_dims(const vok_matrix_info &info, int32_t *dim)
{
    for (long i = 0; i < VOK_MATRIX_MAX_DIMCOUNT; i++)
        dim[i] = static_cast<int32_t>(info.dim[i]);
}

} // namespace

vok_err vok_bin_write_header(zan_file_handle file, long filesize)
{
    if (!file)
        return VOK_ERR_INVP;
    if (const vok_err err = sysfile_setpos(file, seek_start, 0))
        return err;
    const file_header header = swapped(file_header{VOK_BIN_FORM, static_cast<uint32_t>(filesize), VOK_BIN_FORMTYPE,
                                                   VOK_BIN_FVER, fver_size, VOK_BIN_VERSION});
    return write_bytes(file, &header, sizeof header).err;
}

vok_err vok_bin_read_header(zan_file_handle file, long *version, long *filesize)
{
    long unused[2];
    version = version ? version : &unused[0];
    filesize = filesize ? filesize : &unused[1];
    *version = 0;
    *filesize = 0;
    if (!file)
        return VOK_ERR_INVP;
    if (const vok_err err = sysfile_setpos(file, seek_start, 0))
        return err;
    file_header header = {};
    const transfer moved = read_bytes(file, &header, sizeof header);
    if (!moved.whole)
        return moved.err;
    header = swapped(header);
    // one right mark of the two is enough, here and below
    if (header.form != VOK_BIN_FORM && header.formtype != VOK_BIN_FORMTYPE)
        return VOK_ERR_EROR;
    *filesize = header.filesize;
    if (header.fver != VOK_BIN_FVER && header.fversize != fver_size)
        return VOK_ERR_EROR;
    *version = header.version;
    return VOK_ERR_NONE;
}

vok_err vok_bin_read_chunk_info(zan_file_handle file, long *chunkid, long *chunksize)
{
    long unused[2];
    chunkid = chunkid ? chunkid : &unused[0];
    chunksize = chunksize ? chunksize : &unused[1];
    *chunkid = 0;
    *chunksize = 0;
    if (!file)
        return VOK_ERR_INVP;
    uint32_t words[2] = {};
    long count = sizeof words;
    const vok_err err = sysfile_read(file, &count, words);
    if (err)
        return err;
    if (count == sizeof words) {
        *chunkid = big_endian(words[0]);
        *chunksize = big_endian(words[1]);
    }
    return sysfile_setpos(file, seek_here, -count);
}

long vok_bin_matrix_filesize(const vok_matrix_info *info)
{
    const file_type *type = info ? type_of_symbol(info->type) : nullptr;
    if (!type)
        return 0;
    const long dimcount = std::clamp(info->dimcount, 0L, long{VOK_MATRIX_MAX_DIMCOUNT});
    auto cells = static_cast<unsigned long>(dimcount < 1 ? 0 : info->planecount * type->size);
    for (long i = 0; i < dimcount; i++)
        cells *= static_cast<unsigned long>(info->dim[i]);
    return VOK_BIN_HEADER_SIZE + VOK_BIN_CHUNK_SIZE + 4 * dimcount + static_cast<long>(cells);
}

vok_err vok_bin_write_matrix(zan_file_handle file, void *matrix)
{
    if (!file || !matrix)
        return VOK_ERR_INVP;
    const matrix_lock source(matrix);
    const vok_matrix_info &info = source.info;
    const file_type *type = type_of_symbol(info.type);
    if (!source.data || !type || info.dimcount < 0 || info.dimcount > VOK_MATRIX_MAX_DIMCOUNT)
        return VOK_ERR_EROR;
    const auto dimcount = static_cast<uint32_t>(info.dimcount);
    const uint32_t offset = VOK_BIN_CHUNK_SIZE + 4 * dimcount;
    // 32 bits hold the size of every matrix that owns its cells
    uint32_t size = static_cast<uint32_t>(type->size * info.planecount);
    int32_t dim[VOK_MATRIX_MAX_DIMCOUNT];
    narrow_dims(info, dim);
    for (long i = 0; i < info.dimcount; i++)
        size *= static_cast<uint32_t>(dim[i]);
    const chunk_start start =
        swapped(chunk_start{VOK_BIN_MTRX, size + offset, offset, type->code, static_cast<int32_t>(info.planecount),
                            static_cast<int32_t>(dimcount)});
    if (const vok_err err = write_bytes(file, &start, sizeof start).err)
        return err;
    uint32_t dims[VOK_MATRIX_MAX_DIMCOUNT];
    std::transform(dim, dim + VOK_MATRIX_MAX_DIMCOUNT, dims,
                   [](int32_t extent) { return big_endian(static_cast<uint32_t>(extent)); });
    if (const vok_err err = write_bytes(file, dims, 4 * info.dimcount).err)
        return err;
    return vok_bin_write_matrix_ndim(file, info.dimcount, dim, &info, source.data);
}

vok_err vok_bin_read_matrix(zan_file_handle file, void *matrix)
{
    if (!file || !matrix)
        return VOK_ERR_INVP;
    chunk_start start = {};
    transfer moved = read_bytes(file, &start, sizeof start);
    if (moved.err)
        return moved.err;
    start = swapped(start);
    const file_type *type = type_of_code(start.type);
    if (!moved.whole || start.id != VOK_BIN_MTRX || !type || start.dimcount < 0 ||
        start.dimcount > VOK_MATRIX_MAX_DIMCOUNT)
        return VOK_ERR_EROR;
    uint32_t dims[VOK_MATRIX_MAX_DIMCOUNT] = {};
    moved = read_bytes(file, dims, 4L * start.dimcount);
    if (moved.err)
        return moved.err;
    if (!moved.whole)
        return VOK_ERR_EROR;
    // the matrix brings what no matrix can have into its range, or refuses the size
    vok_matrix_info wanted = {};
    wanted.type = *type->type;
    wanted.planecount = start.planecount;
    wanted.dimcount = start.dimcount;
    std::transform(dims, dims + wanted.dimcount, wanted.dim,
                   [](uint32_t extent) { return static_cast<int32_t>(big_endian(extent)); });
    if (const vok_err err = send(matrix, _vok_sym_setinfo, &wanted))
        return err;

    const matrix_lock target(matrix);
    if (!target.data)
        return VOK_ERR_EROR;
    int32_t dim[VOK_MATRIX_MAX_DIMCOUNT];
    narrow_dims(target.info, dim);
    return vok_bin_read_matrix_ndim(file, target.info.dimcount, dim, &target.info, target.data);
}

vok_err vok_bin_write_matrix_ndim(zan_file_handle file, long dimcount, int32_t *dim, const vok_matrix_info *info,
                                  unsigned char *data)
{
    return move_matrix(file, dimcount, dim, info, data, write_rows);
}

vok_err vok_bin_read_matrix_ndim(zan_file_handle file, long dimcount, int32_t *dim, const vok_matrix_info *info,
                                 unsigned char *data)
{
    return move_matrix(file, dimcount, dim, info, data, read_rows);
}

// The row functions of each type, by their exported names.
#define VOK_BIN_ROWS(name, index)                                                                                 \
    vok_err vok_bin_write_matrix_##name(zan_file_handle file, const int32_t *dim, const vok_matrix_info *info,    \
                                        unsigned char *data)                                                      \
    {                                                                                                             \
        return file ? write_rows(file, dim, info, data, file_types[index]).err : vok_err{VOK_ERR_INVP};           \
    }                                                                                                             \
    vok_err vok_bin_read_matrix_##name(zan_file_handle file, const int32_t *dim, const vok_matrix_info *info,     \
                                       unsigned char *data)                                                       \
    {                                                                                                             \
        return file ? read_rows(file, dim, info, data, file_types[index]).err : vok_err{VOK_ERR_INVP};            \
    }
VOK_BIN_ROWS(char, 0)
VOK_BIN_ROWS(long, 1)
VOK_BIN_ROWS(float32, 2)
VOK_BIN_ROWS(float64, 3)
