// The fast road of a matrix copy. Along a row every row does the same, so columns
// are worked out once, as byte offsets and weights. A row is then collected (the
// wanted planes of the wanted cells, packed), converted or interpolated as one run,
// and scattered where the destination isn't packed; each stage falls away where it
// has nothing to do. Rows that repeat are copied from the row above, and the sums
// along the columns are kept for the next row, which mostly needs one of them again.
#include "matrix/copy_fast.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>

#include <zan/memory.h>

#include "kernel/isa.h"

namespace vok::copy {

VOKRA_PER_ISA(kernels, table)

const kernels *current_kernels()
{
    return table_in_use();
}

namespace {

// First and last byte that a slice touches, relative to its first cell.
struct extent {
    long low = 0, high = 0;
    void along(long distance) { (distance < 0 ? low : high) += distance; }
};

// The bytes of the source that lie between its first and last cell along an axis.
long reach(const axis &a, long stride)
{
    return (a.source > 0 ? a.source - 1 : a.source + 1) * stride;
}

} // namespace

slice_copy::slice_copy(const plan &p)
    : p_(p), kernels_(current_kernels()),
      interpolates_(p.how == sampling::fixed_bilinear || p.how == sampling::double_bilinear),
      whole_(p.written == p.planes && p.dst_cell == p.planes * cell_bytes[p.dst_type]), n_(p.x.count),
      elements_(p.x.count * p.written)
{
    // offsets are kept in 32 bits
    const long span = std::abs(reach(p.x, p.src_cell)) + std::abs(p.src_cell);
    // whole rows are copied from each other, so they may not overlap
    const bool tangled = whole_ && p.y.count > 1 && std::abs(p.dst_row) < elements_ * cell_bytes[p.dst_type];
    if (!kernels_ || !p.written || tangled || span > std::numeric_limits<int32_t>::max()) {
        kernels_ = nullptr;
        return;
    }
    if (p.how == sampling::straight) {
        identity_ = true;
    } else if (!interpolates_) {
        nearest_walk columns(p.x, p.how);
        identity_ = true;
        for (long i = 0; i < n_ && identity_; i++)
            identity_ = columns.next() == i;
    }
    choose_collecting();
    if (reserve())
        fill_tables();
    else
        kernels_ = nullptr;
}

slice_copy::~slice_copy()
{
    if (block_)
        sysmem_freeptr(block_);
}

void slice_copy::choose_collecting()
{
    const long size = cell_bytes[p_.src_type];
    long from[32] = {};
    long count = 0;
    for (long plane = 0; plane < p_.planes; plane++)
        if (p_.map[plane] >= 0) {
            to_plane_[count] = plane;
            from[count++] = p_.map[plane];
        }
    bool in_order = true;
    bool all_one = true;
    bool within_four = count == 4 && size == 1;
    const long lowest = *std::min_element(from, from + count);
    for (long k = 0; k < count; k++) {
        in_order = in_order && from[k] == from[0] + k;
        all_one = all_one && from[k] == from[0];
        within_four = within_four && from[k] - lowest < 4;
        order_[k & 3] = static_cast<uint8_t>(from[k] - lowest);
        job_.plane_offset[k] = static_cast<int32_t>(from[k] * size);
    }
    job_.n = n_;
    job_.planes = count;
    chunk_ = lowest * size;
    job_.bytes = count * size;
    if (in_order) {
        collecting_ = identity_ && p_.src_cell == job_.bytes ? collecting::none : collecting::chunks;
    } else if (within_four && all_one && count == 4) {
        collecting_ = collecting::spread;
        job_.bytes = 1;
    } else if (within_four && *std::max_element(order_, order_ + 4) == 3) {
        // the chunk ends with the highest plane in use, so it lies inside the cell
        collecting_ = collecting::shuffled;
    } else {
        collecting_ = collecting::planes;
        chunk_ = 0;
    }
    // where fixed-point positions wrap, offsets no longer rise or fall throughout
    const bool monotonic = p_.x.source > -0x8000;
    collect_ = collecting_ == collecting::planes                      ? kernels_->planes[p_.src_type]
               : job_.bytes == 4 && p_.src_cell % 4 == 0 && monotonic ? kernels_->chunk_word
               : job_.bytes <= 32 && kernels_->chunk[job_.bytes]      ? kernels_->chunk[job_.bytes]
                                                                      : kernels_->chunk[0];
}

// Lays the tables out in one block: first to count, then with the block in hand.
bool slice_copy::reserve()
{
    const bool fixed = p_.how == sampling::fixed_bilinear;
    const size_t n = static_cast<size_t>(n_);
    const size_t elements = static_cast<size_t>(elements_);
    const size_t collected = elements * static_cast<size_t>(cell_bytes[p_.src_type]);
    size_t used = 0;
    unsigned char *base = nullptr;
    auto take = [&](auto *&part, size_t count) {
        part = base ? reinterpret_cast<std::remove_reference_t<decltype(part)>>(base + used) : nullptr;
        used += (count * sizeof(*part) + 63) & ~size_t{63};
    };
    auto lay_out = [&] {
        used = 0;
        if (collecting_ != collecting::none)
            take(collected_[0], collected);
        if (!identity_ || collecting_ != collecting::none)
            take(offset_[0], n);
        if (!whole_)
            take(packed_, elements * static_cast<size_t>(cell_bytes[p_.dst_type]));
        if (!interpolates_)
            return;
        take(collected_[1], collected);
        take(offset_[1], n);
        for (int k = 0; k < 2; k++) {
            if (fixed) {
                take(weight_[k], elements);
                take(sums_[k], elements);
            } else {
                take(share_[k], elements);
                take(products_[k][0], elements);
                take(products_[k][1], elements);
            }
        }
    };
    lay_out();
    if (used <= sizeof small_) {
        base = small_;
    } else {
        block_ = sysmem_newptr(static_cast<long>(used + 64));
        if (!block_)
            return false;
        base = static_cast<unsigned char *>(block_);
        base += (64 - reinterpret_cast<uintptr_t>(base) % 64) % 64;
    }
    lay_out();
    return true;
}

void slice_copy::fill_tables()
{
    if (!interpolates_) {
        if (!offset_[0])
            return;
        nearest_walk columns(p_.x, p_.how);
        for (long i = 0; i < n_; i++)
            offset_[0][i] = static_cast<int32_t>(columns.next() * p_.src_cell);
        return;
    }
    bilinear_walk columns(p_.x, p_.how);
    long at = 0;
    for (long i = 0; i < n_; i++) {
        const neighbours x = columns.next();
        offset_[0][i] = static_cast<int32_t>(x.first * p_.src_cell);
        offset_[1][i] = static_cast<int32_t>(x.second * p_.src_cell);
        for (long k = 0; k < p_.written; k++, at++) {
            if (p_.how == sampling::fixed_bilinear) {
                weight_[0][at] = static_cast<uint16_t>(x.weight0);
                weight_[1][at] = static_cast<uint16_t>(x.weight1);
            } else {
                share_[0][at] = x.share0;
                share_[1][at] = x.share1;
            }
        }
    }
}

// Where source and destination share bytes the order of the loops shows, and the
// general road has it.
bool slice_copy::overlap(const unsigned char *dst, const unsigned char *src) const
{
    extent to, from;
    to.along((p_.x.count - 1) * p_.dst_cell);
    to.along((p_.y.count - 1) * p_.dst_row);
    to.high += p_.planes * cell_bytes[p_.dst_type];
    from.along(reach(p_.x, p_.src_cell));
    from.along(reach(p_.y, p_.src_row));
    from.high += (*std::max_element(p_.map, p_.map + p_.planes) + 1) * cell_bytes[p_.src_type];
    const auto d = reinterpret_cast<intptr_t>(dst);
    const auto s = reinterpret_cast<intptr_t>(src);
    return d + to.low < s + from.high && s + from.low < d + to.high;
}

void slice_copy::run(unsigned char *dst, const unsigned char *src) const
{
    if (!kernels_ || overlap(dst + p_.dst_start, src + p_.src_start))
        general_road(p_, dst, src);
    else if (interpolates_)
        bilinear(dst + p_.dst_start, src + p_.src_start);
    else
        nearest(dst + p_.dst_start, src + p_.src_start);
}

// The packed elements of a source row, in `into` or where they already lie.
const void *slice_copy::collected(void *into, const unsigned char *row, const int32_t *offset) const
{
    const unsigned char *from = row + chunk_;
    if (collecting_ == collecting::none)
        return from;
    const bool adjacent = identity_ && p_.src_cell == job_.bytes;
    if (collecting_ == collecting::shuffled && adjacent) {
        kernels_->shuffle4(into, from, n_, order_);
        return into;
    }
    if (collecting_ == collecting::spread && adjacent) {
        kernels_->spread4(into, from, n_);
        return into;
    }
    collect_job job = job_;
    job.offset = offset;
    if (collecting_ == collecting::spread) {
        // the single bytes go to the last quarter, ahead of what they are spread to
        unsigned char *bytes = static_cast<unsigned char *>(into) + 3 * n_;
        collect_(bytes, from, &job);
        for (long i = 0; i < n_; i++)
            std::memset(static_cast<unsigned char *>(into) + 4 * i, bytes[i], 4);
        return into;
    }
    collect_(into, from, &job);
    if (collecting_ == collecting::shuffled)
        kernels_->shuffle4(into, into, n_, order_);
    return into;
}

// A row that is the same as the one above it, or, unpacked, as what was scattered.
void slice_copy::repeat(unsigned char *out, const unsigned char *above) const
{
    if (whole_)
        std::memcpy(out, above, static_cast<size_t>(elements_ * cell_bytes[p_.dst_type]));
    else
        finish(out, packed_);
}

void slice_copy::finish(unsigned char *out, const void *packed) const
{
    kernels_->scatter[p_.dst_type](out, p_.dst_cell, packed, n_, to_plane_, p_.written);
}

void slice_copy::nearest(unsigned char *dst, const unsigned char *src) const
{
    const auto convert = kernels_->convert[p_.dst_type][p_.src_type];
    const bool same_type = p_.dst_type == p_.src_type;
    const long bytes = elements_ * cell_bytes[p_.dst_type];
    if (p_.how == sampling::straight && collecting_ == collecting::none && whole_ && p_.dst_row == bytes &&
        p_.src_row == elements_ * cell_bytes[p_.src_type]) {
        convert(dst, src + chunk_, elements_ * p_.y.count);
        return;
    }
    nearest_walk rows(p_.y, p_.how);
    long last = -1;
    for (long j = 0; j < p_.y.count; j++) {
        unsigned char *out = dst + j * p_.dst_row;
        const long index = rows.next();
        if (j && index == last) {
            repeat(out, out - p_.dst_row);
            continue;
        }
        last = index;
        void *target = whole_ ? out : packed_;
        const unsigned char *row = src + index * p_.src_row;
        if (same_type && collecting_ != collecting::none) {
            collected(target, row, offset_[0]);
        } else {
            convert(target, collected(collected_[0], row, offset_[0]), elements_);
        }
        if (!whole_)
            finish(out, target);
    }
}

// The sums along the columns of source row `index`. The other kept row is not to be
// lost when it holds `other`.
const slice_copy::kept_row &slice_copy::columns_of(kept_row kept[2], long index, long other,
                                                   const unsigned char *src) const
{
    for (int k = 0; k < 2; k++)
        if (kept[k].filled && kept[k].index == index)
            return kept[k];
    kept_row &row = kept[0].filled && kept[0].index == other ? kept[1] : kept[0];
    row.index = index;
    row.filled = true;
    const unsigned char *from = src + index * p_.src_row;
    const void *a = collected(collected_[0], from, offset_[0]);
    const void *b = collected(collected_[1], from, offset_[1]);
    if (p_.how == sampling::fixed_bilinear)
        kernels_->fixed_columns(row.sums, static_cast<const uint8_t *>(a), static_cast<const uint8_t *>(b),
                                weight_[0], weight_[1], elements_);
    else
        kernels_->double_columns[p_.src_type](row.products[0], row.products[1], a, b, share_[0], share_[1],
                                              elements_);
    return row;
}

void slice_copy::bilinear(unsigned char *dst, const unsigned char *src) const
{
    kept_row kept[2];
    for (int k = 0; k < 2; k++) {
        kept[k].sums = sums_[k];
        kept[k].products[0] = products_[k][0];
        kept[k].products[1] = products_[k][1];
    }
    bilinear_walk rows(p_.y, p_.how);
    neighbours last = {};
    for (long j = 0; j < p_.y.count; j++) {
        unsigned char *out = dst + j * p_.dst_row;
        const neighbours y = rows.next();
        if (j && y.first == last.first && y.second == last.second && y.weight0 == last.weight0 &&
            y.weight1 == last.weight1 && y.share0 == last.share0 && y.share1 == last.share1) {
            repeat(out, out - p_.dst_row);
            continue;
        }
        last = y;
        const kept_row &row0 = columns_of(kept, y.first, y.second, src);
        const kept_row &row1 = columns_of(kept, y.second, y.first, src);
        void *target = whole_ ? out : packed_;
        if (p_.how == sampling::fixed_bilinear) {
            kernels_->fixed_rows[p_.dst_type](target, row0.sums, row1.sums, y.weight0, y.weight1, elements_);
        } else {
            const double *const products[4] = {row0.products[0], row0.products[1], row1.products[0],
                                               row1.products[1]};
            kernels_->double_rows[p_.dst_type][p_.src_type](target, products, y.share0, y.share1, elements_);
        }
        if (!whole_)
            finish(out, target);
    }
}

} // namespace vok::copy
