// One number format by another, and rules for one coordinate folded over many.
#include "functor/functor.h"

using namespace vok::functor;

namespace {

constexpr long most_values = 256;

// Converts the coordinates into a buffer on the stack, evaluates, converts the value back.
template <typename In, typename Out, typename Eval>
auto through(void *x, long n, const In *values, Out (*convert)(In), Eval eval)
{
    Out buffer[most_values];
    if (n > most_values)
        n = most_values;
    buffer[0] = n < 1 ? Out() : convert(values[0]); // for the rules that read it whatever the count
    for (long i = 1; i < n; i++)
        buffer[i] = convert(values[i]);
    return eval(x, n, buffer);
}

double widened(fixed v)
{
    return v * from_fixed;
}
double widened(float v)
{
    return v;
}
float single(fixed v)
{
    return static_cast<float>(v) * static_cast<float>(from_fixed);
}
float single(double v)
{
    return static_cast<float>(v);
}

// The function under `name`, or null.
zan_method method_of(void *x, const char *name)
{
    return zgetfn(x, gensym(name));
}

template <typename T, typename Rule> T fold(long n, const T *values, T (*join)(T, T), Rule rule)
{
    T result = rule(values[0]);
    for (long i = 1; i < n; i++)
        result = join(result, rule(values[i]));
    return result;
}

auto wrapped(const int32_t *table)
{
    return [table](fixed x) { return table[x & 0xFFFF]; };
}

auto clipped(const int32_t *table)
{
    return [table](fixed x) { return table[x < 0 ? 0 : x > 0xFFFF ? 0xFFFF : x]; };
}

} // namespace

int32_t vok_functor_eval_fixed(void *x, long dimcount, const int32_t *values)
{
    const auto target = reinterpret_cast<vok_functor_eval_float64_fn>(method_of(x, "evalfloat64"));
    return target ? vok_functor_eval_fixed_with_float64(x, dimcount, values, target) : 0;
}

float vok_functor_eval_float32(void *x, long dimcount, const float *values)
{
    const auto target = reinterpret_cast<vok_functor_eval_float64_fn>(method_of(x, "evalfloat64"));
    return target ? vok_functor_eval_float32_with_float64(x, dimcount, values, target) : 0;
}

int32_t vok_functor_eval_fixed_with_float64(void *x, long dimcount, const int32_t *values,
                                            vok_functor_eval_float64_fn target)
{
    return to_fixed(through<fixed, double>(x, dimcount, values, widened, target));
}

float vok_functor_eval_float32_with_float64(void *x, long dimcount, const float *values,
                                            vok_functor_eval_float64_fn target)
{
    return static_cast<float>(through<float, double>(x, dimcount, values, widened, target));
}

int32_t vok_functor_eval_fixed_with_float32(void *x, long dimcount, const int32_t *values,
                                            vok_functor_eval_float32_fn target)
{
    return to_fixed(through<fixed, float>(x, dimcount, values, single, target));
}

float vok_functor_eval_float32_with_fixed(void *x, long dimcount, const float *values,
                                          vok_functor_eval_fixed_fn target)
{
    return single(through<float, fixed>(x, dimcount, values, to_fixed, target));
}

double vok_functor_eval_float64_with_fixed(void *x, long dimcount, const double *values,
                                           vok_functor_eval_fixed_fn target)
{
    return widened(through<double, fixed>(x, dimcount, values, to_fixed, target));
}

double vok_functor_eval_float64_with_float32(void *x, long dimcount, const double *values,
                                             vok_functor_eval_float32_fn target)
{
    return widened(through<double, float>(x, dimcount, values, single, target));
}

#define VOKRA_FUNCTOR_FOLDS(format, T)                                                                            \
    T vok_functor_eval_##format##_with_scalar_product(void *x, long dimcount, const T *values,                    \
                                                      vok_functor_scalar_##format##_fn rule)                      \
    {                                                                                                             \
        return fold(dimcount, values, product, [=](T v) { return rule(x, v); });                                  \
    }                                                                                                             \
    T vok_functor_eval_##format##_with_scalar_sum(void *x, long dimcount, const T *values,                        \
                                                  vok_functor_scalar_##format##_fn rule)                          \
    {                                                                                                             \
        return fold(dimcount, values, plus, [=](T v) { return rule(x, v); });                                     \
    }
VOKRA_FUNCTOR_FOLDS(fixed, int32_t)
VOKRA_FUNCTOR_FOLDS(float32, float)
VOKRA_FUNCTOR_FOLDS(float64, double)
#undef VOKRA_FUNCTOR_FOLDS

#define VOKRA_FUNCTOR_TABLE(edge, way, join)                                                                      \
    int32_t vok_functor_eval_fixed_with_lut_##edge(void *, long dimcount, const int32_t *values,                  \
                                                   const int32_t *table)                                          \
    {                                                                                                             \
        return fold(dimcount, values, join, way(table));                                                          \
    }
VOKRA_FUNCTOR_TABLE(wrap_product, wrapped, product)
VOKRA_FUNCTOR_TABLE(wrap_sum, wrapped, plus)
VOKRA_FUNCTOR_TABLE(clip_product, clipped, product)
VOKRA_FUNCTOR_TABLE(clip_sum, clipped, plus)
#undef VOKRA_FUNCTOR_TABLE
