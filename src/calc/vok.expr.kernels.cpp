// The kernels of vok.expr.kernels.h, compiled once per instruction set.
#include "calc/vok.expr.kernels.h"
#include <type_traits>
#include <vokra/numerics.h>

#ifndef VOKRA_ISA
#error "compiled per instruction set, see cmake/VokraCompile.cmake"
#endif

#if defined(__GNUC__) && !defined(__clang__)
#define VOKRA_INDEPENDENT _Pragma("GCC ivdep")
#else
#define VOKRA_INDEPENDENT
#endif

namespace vok::expr::VOKRA_ISA {
namespace {

#include "calc/vok.op.bodies.h"

#if defined(__AVX512F__)
constexpr int vector_bytes = 64;
#elif defined(__AVX__)
constexpr int vector_bytes = 32;
#else
constexpr int vector_bytes = 16;
#endif

using f32s = f32 __attribute__((vector_size(vector_bytes)));
using f64s = f64 __attribute__((vector_size(vector_bytes)));
template <> struct element<f32s> : element<f32> {
};
template <> struct element<f64s> : element<f64> {
};

template <typename T> using vector_of = std::conditional_t<sizeof(T) == 4, f32s, f64s>;

// An operand read a vector or an element at a time; one without a stride is read again and
// again from a vector of its own.
template <typename T> class stream {
  public:
    explicit stream(const vok_op_vector_arg *arg)
        : p_(static_cast<const T *>(arg->p)), moves_(arg->stride ? -1 : 0)
    {
        if (moves_)
            return;
        for (T &t : own_)
            t = *p_;
        p_ = own_;
    }
    stream(const stream &) = delete;
    stream &operator=(const stream &) = delete;
    template <typename V> [[gnu::always_inline]] void at(long i, V &to) const
    {
        __builtin_memcpy(&to, p_ + (i & moves_), sizeof to);
    }

  private:
    const T *p_;
    long moves_; // all bits or none
    T own_[vector_bytes / sizeof(T)];
};

template <typename Left, typename Right, typename Outer, typename T>
void chain(long n, const vok_op_vector_arg *arg_a, const vok_op_vector_arg *arg_b, const vok_op_vector_arg *arg_c,
           const vok_op_vector_arg *arg_d, void *out)
{
    const stream<T> a(arg_a), b(arg_b), c(arg_c), d(arg_d);
    T *z = static_cast<T *>(out);
    const auto step = [&]<typename V>(long i, V *) __attribute__((always_inline))
    {
        V x, y, u, v;
        a.at(i, x), b.at(i, y), c.at(i, u), d.at(i, v);
        x = Outer::of(Left::of(x, y), Right::of(u, v));
        __builtin_memcpy(z + i, &x, sizeof x);
    };
    constexpr long together = vector_bytes / sizeof(T);
    long i = 0;
    for (; i + together <= n; i += together)
        step(i, static_cast<vector_of<T> *>(nullptr));
    for (; i < n; i++)
        step(i, static_cast<T *>(nullptr));
}

struct __attribute__((packed, may_alias)) loose_word {
    unsigned value;
};

void take_of_four(unsigned char *__restrict to, const unsigned char *__restrict from, long n)
{
    // whole words, but for the last cell, whose word would end behind the row
    const loose_word *words = reinterpret_cast<const loose_word *>(from);
    VOKRA_INDEPENDENT
    for (long i = 0; i < n - 1; i++)
        to[i] = static_cast<unsigned char>(words[i].value);
    if (n > 0)
        to[n - 1] = from[4 * (n - 1)];
}

void put_in_four(unsigned char *__restrict to, const unsigned char *__restrict from, long n)
{
    loose_word *words = reinterpret_cast<loose_word *>(to);
    VOKRA_INDEPENDENT
    for (long i = 0; i < n - 1; i++)
        words[i].value = (words[i].value & 0xFFFFFF00u) | from[i];
    if (n > 0)
        to[4 * (n - 1)] = from[n - 1];
}

// as the words stand in vok.expr.kernels.h
#define VOKRA_OUTER(T, left, right)                                                                               \
    {                                                                                                             \
        chain<left, right, mult, T>, chain<left, right, add, T>, chain<left, right, sub, T>                       \
    }
#define VOKRA_RIGHT(T, left)                                                                                      \
    {                                                                                                             \
        VOKRA_OUTER(T, left, mult), VOKRA_OUTER(T, left, add), VOKRA_OUTER(T, left, sub),                         \
            VOKRA_OUTER(T, left, pass)                                                                            \
    }
#define VOKRA_LEFT(T)                                                                                             \
    {                                                                                                             \
        VOKRA_RIGHT(T, mult), VOKRA_RIGHT(T, add), VOKRA_RIGHT(T, sub), VOKRA_RIGHT(T, pass)                      \
    }

} // namespace

extern const kernel_table table;
constinit const kernel_table table = {
    {VOKRA_LEFT(f32), VOKRA_LEFT(f64)},
    take_of_four,
    put_in_four,
};

} // namespace vok::expr::VOKRA_ISA
