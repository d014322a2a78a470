// The walk of a calculation over rows, planes and dimensions, on one worker. Rows whose
// planes share one operator are one run of elements; rows with several operators, or
// with an operand of other planes or a single cell, are brought into such runs block by
// block, since a run is calculated many times as fast as one plane of a row.
#include <cstring>
#include <utility>

#include <vokra/commonsyms.h>

#include "calc/vok.op.h"

namespace {

using namespace vok::op;

constexpr long sizes[type_count] = {1, 4, 4, 8}; // bytes of an element

int type_of(symbol *type)
{
    symbol *const types[type_count] = {_vok_sym_char, _vok_sym_long, _vok_sym_float32, _vok_sym_float64};
    for (int i = 0; i < type_count; i++)
        if (type == types[i])
            return i;
    return -1;
}

// One operand: where its rows and planes lie.
struct operand {
    const vok_matrix_info *info;
    long stride; // elements from one element of a plane to the next in a row
    long planes;

    operand(const vok_matrix_info *matrix)
        : info(matrix), stride(matrix->dim[0] < 2 ? 0 : matrix->planecount),
          planes(matrix->planecount < 1 ? 1 : matrix->planecount)
    {
    }
};

// Rows of two to eight interleaved planes in blocks of a few KiB: an operand of other
// planes is spread out, a single cell repeated, each operator is calculated on all planes
// and its own are taken: with four operators on bytes 1.2 ms a frame against 3.6 plane by
// plane, with two on float32 3.3 against 6.1. Only operators of the table are: a function from elsewhere may
// not be called for more than it is meant for.
class interleaved {
  public:
    // Leaves the rows to the plain way when it can't serve them or wouldn't pay.
    void prepare(vok_op_vector_fn *fns, long planes, long cells, int type, const operand *operands)
    {
        if (planes < 2 || planes > max_planes || cells < 16 || operands[2].stride != planes ||
            operands[2].planes != planes)
            return;
        fns_ = fns;
        planes_ = planes;
        cells_ = cells;
        type_ = type;
        operands_ = operands;
        cell_ = planes * sizes[type];
        period_ = planes * 64;
        for (long p = 0; p < planes; p++)
            if (!place(p))
                return;
        // the first one is calculated everywhere, so it can't be the one that does nothing
        for (int w = 1; w < words_ && word_[0].fn == vok_op_vector_ignore; w++)
            std::swap(word_[0], word_[w]);
        ready_ = words_ > 0 && word_[0].fn != vok_op_vector_ignore;
    }

    // False when this row has to go the plain way.
    bool row(unsigned char *const *data)
    {
        if (!ready_ || !apart(0, data) || !apart(1, data))
            return false;
        for (int o = 0; o < 2; o++)
            if (operands_[o].stride == 0)
                repeat(o, data[o]);
        const long block = block_bytes / cell_;
        for (long from = 0; from < cells_; from += block)
            calculate(data, from, cells_ - from < block ? cells_ - from : block);
        return true;
    }

  private:
    static constexpr long max_planes = 8, max_words = 4, block_bytes = 4096, slack = max_planes * 64;
    using buffer = unsigned char[block_bytes + slack];

    struct word {
        vok_op_vector_fn fn;
        unsigned char mask[slack]; // the bytes of its planes
    };

    // Finds the operator of a plane its place: among those for all planes, or alone.
    bool place(long p)
    {
        const cost c = cost_of(fns_[p], type_);
        if (c == cost::unknown)
            return false;
        int w = 0;
        while (w < words_ && word_[w].fn != fns_[p])
            w++;
        if (w == words_) {
            if (c == cost::dear || words_ == max_words) {
                alone_[alones_++] = p;
                return true;
            }
            word_[words_].fn = fns_[p];
            std::memset(word_[words_++].mask, 0, static_cast<size_t>(period_));
        }
        const long size = sizes[type_];
        for (long at = p * size; at < period_; at += cell_)
            std::memset(word_[w].mask + at, 0xFF, static_cast<size_t>(size));
        return true;
    }

    bool whole(int o) const { return operands_[o].stride == planes_ && operands_[o].planes == planes_; }

    // Whether operand o can be read while the output's row is written: it is that row, or far from it.
    bool apart(int o, unsigned char *const *data) const
    {
        const auto in = reinterpret_cast<uintptr_t>(data[o]), out = reinterpret_cast<uintptr_t>(data[2]);
        const auto in_bytes =
            static_cast<uintptr_t>((operands_[o].stride ? cells_ : 1) * operands_[o].planes * sizes[type_]);
        return (in == out && whole(o)) || in + in_bytes <= out ||
               out + static_cast<uintptr_t>(cells_ * cell_) <= in;
    }

    // Fills the operand's block with its one cell, unless that stands there from the row before.
    void repeat(int o, const unsigned char *cell)
    {
        unsigned char first[max_planes * 8];
        kernels().spread[type_](1, cell, operands_[o].planes, first, planes_);
        if (repeated_[o] && !std::memcmp(first, in_[o], static_cast<size_t>(cell_)))
            return;
        std::memcpy(in_[o], first, static_cast<size_t>(cell_));
        for (long have = cell_; have < block_bytes; have *= 2)
            std::memcpy(in_[o] + have, in_[o],
                        static_cast<size_t>(have < block_bytes - have ? have : block_bytes - have));
        repeated_[o] = true;
    }

    // The operand's elements for a block of cells, all planes.
    unsigned char *source(int o, unsigned char *data, long from, long count)
    {
        if (whole(o))
            return data + from * cell_;
        if (operands_[o].stride)
            kernels().spread[type_](count, data + from * operands_[o].planes * sizes[type_], operands_[o].planes,
                                    in_[o], planes_);
        return in_[o];
    }

    void calculate(unsigned char *const *data, long from, long count)
    {
        vok_op_vector_arg a{source(0, data[0], from, count), 1}, b{source(1, data[1], from, count), 1};
        unsigned char *out = data[2] + from * cell_;
        const long bytes = count * cell_, n = count * planes_;
        const bool at_once = words_ == 1 && alones_ == 0;
        vok_op_vector_arg z{at_once ? out : result_, 1};
        word_[0].fn(n, fns_, &a, &b, &z);
        if (at_once)
            return;
        for (int w = 1; w < words_; w++) {
            z.p = other_;
            if (word_[w].fn == vok_op_vector_ignore)
                std::memcpy(other_, out, static_cast<size_t>(bytes));
            else
                word_[w].fn(n, fns_, &a, &b, &z);
            kernels().blend(bytes, word_[w].mask, period_, other_, result_);
        }
        for (int i = 0; i < alones_; i++) {
            const long p = alone_[i], at = p * sizes[type_];
            vok_op_vector_arg pa{static_cast<unsigned char *>(a.p) + at, planes_};
            vok_op_vector_arg pb{static_cast<unsigned char *>(b.p) + at, planes_};
            vok_op_vector_arg pz{result_ + at, planes_};
            fns_[p](count, fns_, &pa, &pb, &pz);
        }
        std::memcpy(out, result_, static_cast<size_t>(bytes));
    }

    bool ready_ = false;
    bool repeated_[2] = {};
    int type_;
    int words_ = 0, alones_ = 0;
    long planes_, cells_, cell_, period_; // cell_ and period_ in bytes
    vok_op_vector_fn *fns_;
    const operand *operands_;
    long alone_[max_planes];
    word word_[max_words];
    buffer in_[2], result_, other_;
};

// A calculation over rows: worked out once, walked by recursion on the dimensions.
class walk {
  public:
    walk(vok_op_vector_fn *fns, long dimcount, const long *dim, long planecount, const vok_matrix_info *info1,
         const vok_matrix_info *info2, const vok_matrix_info *info3)
        : fns_(fns), dim_(dim), dims_(dimcount), planes_(planecount), n_(dim[0]), type_(type_of(info1->type)),
          size_(type_ < 0 ? 0 : sizes[type_]), operands_{info1, info2, info3}
    {
        const operand *o = operands_;
        bool merged =
            o[0].info->planecount == o[1].info->planecount && o[0].info->planecount == o[2].info->planecount;
        for (const operand &each : operands_)
            merged = merged && each.info->dim[0] >= 2;
        for (long p = 1; merged && p < planecount; p++)
            merged = fns[p] == fns[0];
        if (merged)
            merge();
        else if (!empty())
            interleaved_.prepare(fns, planes_, n_, type_, operands_);
    }

    bool empty() const { return !size_ || n_ < 1 || planes_ < 1; }

    void run(unsigned char *data1, unsigned char *data2, unsigned char *data3)
    {
        unsigned char *const data[3] = {data1, data2, data3};
        if (dims_ < 2)
            row(data);
        else
            descend(dims_ - 1, data);
    }

  private:
    // One operator on all planes of interleaved cells is one run of elements a row; rows and slices
    // that follow each other without padding in all three matrices are one run together.
    void merge()
    {
        n_ *= planes_;
        planes_ = 1;
        for (operand &each : operands_)
            each.stride = each.planes = 1;
        packed_ = 1;
        // a function from elsewhere is promised a call a row
        while (packed_ < dims_ && follows(packed_) && (packed_ > 1 || cost_of(fns_[0], type_) != cost::unknown))
            n_ *= dim_[packed_++];
    }

    bool follows(long d) const
    {
        if (dim_[d] < 1)
            return false;
        if (dim_[d] == 1)
            return true;
        for (const operand &each : operands_)
            if (each.info->dimstride[d] != n_ * size_)
                return false;
        return true;
    }

    void descend(long d, unsigned char *const *data)
    {
        if (d < packed_) {
            row(data);
            return;
        }
        unsigned char *slice[3] = {data[0], data[1], data[2]};
        for (long i = 0; i < dim_[d]; i++) {
            if (d == packed_)
                row(slice);
            else
                descend(d - 1, slice);
            for (int o = 0; o < 3; o++)
                slice[o] += operands_[o].info->dimstride[d];
        }
    }

    void row(unsigned char *const *data)
    {
        vok_op_vector_arg args[3];
        for (int o = 0; o < 3; o++)
            args[o] = {data[o], operands_[o].stride};
        if (planes_ == 1) {
            fns_[0](n_, fns_, &args[0], &args[1], &args[2]);
            return;
        }
        if (interleaved_.row(data))
            return;
        for (long p = 0; p < planes_; p++) {
            for (int o = 0; o < 3; o++)
                args[o].p = data[o] + p % operands_[o].planes * size_;
            fns_[p](n_, fns_, &args[0], &args[1], &args[2]);
        }
    }

    vok_op_vector_fn *fns_;
    const long *dim_;
    long dims_;
    long planes_;     // calls a row
    long n_;          // elements a call
    int type_;        // of the elements, -1: none that is calculated
    long size_;       // bytes of an element
    long packed_ = 1; // dimensions that one call covers
    operand operands_[3];
    interleaved interleaved_;
};

} // namespace

void vok_op_calculate_ndim(vok_op_vector_fn *fns, long dimcount, long *dim, long planecount,
                           vok_matrix_info *info1, unsigned char *data1, vok_matrix_info *info2,
                           unsigned char *data2, vok_matrix_info *info3, unsigned char *data3)
{
    if (dimcount < 1)
        return;
    if (dimcount == 1)
        dim[1] = 1;
    walk way(fns, dimcount, dim, planecount, info1, info2, info3);
    if (!way.empty())
        way.run(data1, data2, data3);
}
