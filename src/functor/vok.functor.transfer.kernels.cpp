// Rows of the polynomials, which noises blend along.
#include "functor/vok.functor.transfer.records.h"

#ifndef VOKRA_ISA
#error "compiled per instruction set, see cmake/VokraCompile.cmake"
#endif

namespace vok::functor::VOKRA_ISA {
namespace {

#include "functor/vok.functor.bodies.h"

template <int count, typename T> const T *coefficients(const polynomial<count> &x)
{
    if constexpr (sizeof(T) == 4)
        return x.a;
    else
        return x.wide;
}

template <int count, typename T> T value(const T (&k)[count], T v)
{
    T sum = k[0], power = v;
    for (int i = 1; i < count; i++, power *= v)
        sum += k[i] * power;
    return sum;
}

template <typename R, int count, typename T>
void row(void *object, long n, long dimcount, const T *first, const T *others, T *values)
{
    T k[count];
    __builtin_memcpy(k, coefficients<count, T>(*static_cast<R *>(object)), sizeof k);
    T *__restrict z = values;
    for (long i = 0; i < n; i++)
        z[i] = value(k, first[i]);
    for (long d = 1; d < dimcount; d++) {
        const T factor = value(k, others[d - 1]);
        for (long i = 0; i < n; i++)
            z[i] *= factor;
    }
}

} // namespace

extern const row_forms cubic, quintic;
constinit const row_forms cubic = {nullptr, row<vok_functor_transfer_cubic, 4, float>,
                                   row<vok_functor_transfer_cubic, 4, double>};
constinit const row_forms quintic = {nullptr, row<vok_functor_transfer_quintic, 6, float>,
                                     row<vok_functor_transfer_quintic, 6, double>};

} // namespace vok::functor::VOKRA_ISA
