// The general road of a matrix copy: every type, sampling, map and range, in the
// order rows, cells, planes. It says what the result is; the fast roads are held
// equal to it. It also does what they leave: matrices that overlap, and machines
// without kernels.
#include "matrix/copy_plan.h"

#include <cstring>

namespace vok::copy {
namespace {

// Elements may lie at any address: a matrix can wrap memory that isn't its own.
template <class T> T load(const unsigned char *from)
{
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <class T> void store(unsigned char *to, T value)
{
    std::memcpy(to, &value, sizeof value);
}

template <class D, class S> void nearest(const plan &p, unsigned char *dst, const unsigned char *src)
{
    nearest_walk rows(p.y, p.how);
    for (long j = 0; j < p.y.count; j++) {
        unsigned char *out = dst + j * p.dst_row;
        const unsigned char *row = src + rows.next() * p.src_row;
        nearest_walk columns(p.x, p.how);
        for (long i = 0; i < p.x.count; i++, out += p.dst_cell) {
            const unsigned char *cell = row + columns.next() * p.src_cell;
            for (long plane = 0; plane < p.planes; plane++)
                if (p.map[plane] >= 0)
                    store(out + plane * long{sizeof(D)},
                          rule<D>::from(load<S>(cell + p.map[plane] * long{sizeof(S)})));
        }
    }
}

template <class D, class S> void bilinear(const plan &p, unsigned char *dst, const unsigned char *src)
{
    bilinear_walk rows(p.y, p.how);
    for (long j = 0; j < p.y.count; j++) {
        unsigned char *out = dst + j * p.dst_row;
        const neighbours y = rows.next();
        const unsigned char *row0 = src + y.first * p.src_row;
        const unsigned char *row1 = src + y.second * p.src_row;
        bilinear_walk columns(p.x, p.how);
        for (long i = 0; i < p.x.count; i++, out += p.dst_cell) {
            const neighbours x = columns.next();
            for (long plane = 0; plane < p.planes; plane++) {
                if (p.map[plane] < 0)
                    continue;
                const long at = p.map[plane] * long{sizeof(S)};
                const S a = load<S>(row0 + x.first * p.src_cell + at);
                const S b = load<S>(row0 + x.second * p.src_cell + at);
                const S c = load<S>(row1 + x.first * p.src_cell + at);
                const S d = load<S>(row1 + x.second * p.src_cell + at);
                unsigned char *to = out + plane * long{sizeof(D)};
                if constexpr (sizeof(S) == 1) {
                    if (p.how == sampling::fixed_bilinear) {
                        const uint32_t sum = a * x.weight0 * y.weight0 + b * x.weight1 * y.weight0 +
                                             c * x.weight0 * y.weight1 + d * x.weight1 * y.weight1;
                        store(to, fixed_rule<D>::from(sum));
                        continue;
                    }
                }
                // columns before rows, left to right: the fast road keeps this order
                const double sum = a * x.share0 * y.share0 + b * x.share1 * y.share0 + c * x.share0 * y.share1 +
                                   d * x.share1 * y.share1;
                store(to, double_rule<D, S>::from(sum));
            }
        }
    }
}

template <class D, class S> void slice(const plan &p, unsigned char *dst, const unsigned char *src)
{
    if (p.how == sampling::fixed_bilinear || p.how == sampling::double_bilinear)
        bilinear<D, S>(p, dst, src);
    else
        nearest<D, S>(p, dst, src);
}

using slice_function = void(const plan &, unsigned char *, const unsigned char *);

// by destination, then source type
constexpr slice_function *slices[cell_types][cell_types] = {
    {slice<uint8_t, uint8_t>, slice<uint8_t, int32_t>, slice<uint8_t, float>, slice<uint8_t, double>},
    {slice<int32_t, uint8_t>, slice<int32_t, int32_t>, slice<int32_t, float>, slice<int32_t, double>},
    {slice<float, uint8_t>, slice<float, int32_t>, slice<float, float>, slice<float, double>},
    {slice<double, uint8_t>, slice<double, int32_t>, slice<double, float>, slice<double, double>},
};

} // namespace

void general_road(const plan &p, unsigned char *dst, const unsigned char *src)
{
    slices[p.dst_type][p.src_type](p, dst + p.dst_start, src + p.src_start);
}

} // namespace vok::copy
