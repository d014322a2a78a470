// What a copy of one two-dimensional slice is going to do, worked out once from the
// infos and the record and then carried out by one of two roads: the general one,
// which says what the result is, and the fast one, which must give the same.
#pragma once
#include <vokra/matrix_info.h>

#include "matrix/copy_rules.h"

namespace vok::copy {

enum class sampling {
    straight,       // cell (i, j) from cell (i, j)
    fixed_nearest,  // 16.16 fixed point
    double_nearest, // the same by double, for large matrices
    fixed_bilinear, // 16.16 fixed point, 8-bit weights; char sources
    double_bilinear // by double, for everything else
};

// One resampled dimension.
struct axis {
    long count = 0;   // cells of the destination
    long source = 0;  // cells of the source; negative when it is mirrored
    double ratio = 0; // source cells per destination cell
    long sign = 0;    // of ratio
    long low = 0;     // the clamp range of a source index, relative to the first cell
    long high = 0;
    int32_t step = 0; // ratio in 16.16

    long clamped(long index) const { return index < low ? low : index > high ? high : index; }
};

struct plan {
    cell_type dst_type = cell_none;
    cell_type src_type = cell_none;
    sampling how = sampling::straight;
    long planes = 0;   // of a destination cell
    long map[32] = {}; // source plane of each of them, -1 to leave it alone
    long written = 0;  // planes that aren't left alone
    axis x, y;         // dimensions 0 and 1
    long dst_cell = 0; // bytes from a cell to the next along dimension 0 ...
    long dst_row = 0;  // ... and along dimension 1
    long src_cell = 0;
    long src_row = 0;
    long dst_start = 0; // bytes from the base to the first cell
    long src_start = 0;
};

// One dimension of the source: the first cell, and how many, negative when mirrored.
struct source_range {
    long start, count;
};
// One dimension of the destination.
struct destination_range {
    long start, count;
};
// `conv` may be null; its ranges are clamped to the matrix, whose dim[k] is at least 1.
source_range source_range_of(const vok_matrix_conv_info *conv, const vok_matrix_info &src, int k);
destination_range destination_range_of(const vok_matrix_conv_info *conv, const vok_matrix_info &dst, int k);

// False when there is nothing to copy. `p` is a fresh plan.
bool make_plan(plan &p, cell_type dst_type, const vok_matrix_conv_info *conv, const vok_matrix_info &dst,
               const vok_matrix_info &src);

// The element type that a symbol names; cell_none for all but the four of numbers.
cell_type cell_type_of(const symbol *type);

// The nearest source index of each destination cell in turn, along one axis.
class nearest_walk {
  public:
    nearest_walk(const axis &a, sampling how) : axis_(a), how_(how) {}

    long next()
    {
        switch (how_) {
        case sampling::fixed_nearest: {
            // unsigned: the 32-bit position wraps where a mirrored source is huge
            const long index = static_cast<int32_t>(fixed_) >> 16;
            fixed_ += static_cast<uint32_t>(axis_.step);
            return axis_.clamped(index);
        }
        case sampling::double_nearest: {
            const long index = static_cast<long>(position_);
            position_ += axis_.ratio;
            return axis_.clamped(index);
        }
        default: return straight_++;
        }
    }

  private:
    const axis &axis_;
    sampling how_;
    // the bias keeps an exact ratio from falling a cell short
    uint32_t fixed_ = axis_.sign < 0 ? 65470 : 65;
    double position_ = 0;
    long straight_ = 0;
};

// Two neighbours along one axis and their weights: of 256 in fixed point, of 1 in
// double.
struct neighbours {
    long first, second;
    uint32_t weight0, weight1;
    double share0, share1;
};

// The same for interpolation. Without the clamp of `first`, which the rules don't
// have, the result would be the same wherever they define one: it acts only where a
// fixed-point position has wrapped or a sum of doubles has drifted past the end.
class bilinear_walk {
  public:
    bilinear_walk(const axis &a, sampling how) : axis_(a), how_(how) {}

    neighbours next()
    {
        neighbours n = {};
        if (how_ == sampling::fixed_bilinear) {
            n.first = static_cast<int32_t>(fixed_) >> 16;
            uint32_t part = fixed_ & 0xFFFF;
            if (axis_.sign < 0 && part)
                part = 65536 - part;
            n.weight0 = (65536 - part) >> 8;
            n.weight1 = part >> 8;
            fixed_ += static_cast<uint32_t>(axis_.step);
        } else {
            n.first = static_cast<long>(position_);
            double part = position_ - static_cast<double>(n.first);
            if (axis_.sign < 0 && part != 0)
                part = -part;
            n.share0 = 1.0 - part;
            n.share1 = part;
            position_ += axis_.ratio;
        }
        n.second = axis_.clamped(n.first + axis_.sign);
        n.first = axis_.clamped(n.first);
        return n;
    }

  private:
    const axis &axis_;
    sampling how_;
    uint32_t fixed_ = 0;
    double position_ = 0;
};

// Carries the plan out, any plan. `dst` and `src` are the bases of the slices.
void general_road(const plan &p, unsigned char *dst, const unsigned char *src);

} // namespace vok::copy
