// The tables that a seed gives, the hash over them, and the functors that noises hold.
// Tables are made bit for bit the same for ever: pictures depend on them.
#include "functor/vok.functor.noise.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace vok::functor {
namespace {

template <typename T> vok_err replace(T **slot, long size)
{
    if (!slot)
        return VOK_ERR_INVP;
    sysmem_freeptr(std::exchange(*slot, nullptr));
    if (size >= 1 && size <= max_tablesize)
        *slot = static_cast<T *>(sysmem_newptr(size * static_cast<long>(sizeof(T))));
    return *slot ? VOK_ERR_NONE : VOK_ERR_INVP;
}

template <typename T> vok_err fill(const double *source, T **slot, long size)
{
    if (!source)
        return VOK_ERR_INVP;
    if (const vok_err err = replace(slot, size))
        return err;
    for (long i = 0; i < size; i++)
        (*slot)[i] = converted<T>(source[i]);
    return VOK_ERR_NONE;
}

struct free_block {
    void operator()(void *block) const { sysmem_freeptr(block); }
};

template <typename T> long hash_at(long n, const T *values, const int32_t *table, long mask)
{
    return hashed(
        within(n), [=](long i) { return cell_of(values[i]); }, table, static_cast<int32_t>(mask));
}

vok_err hold(vok_functor_wrapper *held, symbol *name)
{
    if (!held)
        return VOK_ERR_INVP;
    const vok_err err = vok_functor_wrapper_init(held, nullptr, name);
    if (err)
        clear(*held);
    return err;
}

const char *text(const symbol *s)
{
    return s ? s->name : "";
}

} // namespace

long draw_index(long n)
{
    const long left = vok_rand() % n;
    return left < 0 ? left + n : left; // the generator does give a -1 at times
}

double draw(long n)
{
    return static_cast<double>(draw_index(n)) / static_cast<double>(n);
}

vok_err noise_tables::build()
{
    if (const vok_err err = vok_functor_noise_permutations_init(&permutations, tablesize, seed))
        return err;
    return vok_functor_noise_lattice_init(&lattice, tablesize, seed);
}

void noise_tables::release()
{
    sysmem_freeptr(std::exchange(permutations, nullptr));
    sysmem_freeptr(std::exchange(lattice.fixed, nullptr));
    sysmem_freeptr(std::exchange(lattice.float32, nullptr));
    sysmem_freeptr(std::exchange(lattice.float64, nullptr));
}

bool noise_directions::allocate(long rows, long n, long components)
{
    release();
    const long count = std::max(rows * components, 1L);
    fixed = static_cast<int32_t *>(sysmem_newptrclear(count * static_cast<long>(sizeof *fixed)));
    float32 = static_cast<float *>(sysmem_newptrclear(count * static_cast<long>(sizeof *float32)));
    float64 = static_cast<double *>(sysmem_newptrclear(count * static_cast<long>(sizeof *float64)));
    dimensions = n;
    stride = components;
    return made_for(n);
}

void noise_directions::release()
{
    sysmem_freeptr(std::exchange(fixed, nullptr));
    sysmem_freeptr(std::exchange(float32, nullptr));
    sysmem_freeptr(std::exchange(float64, nullptr));
}

void noise_directions::store(long index, const double *row, long n)
{
    for (long i = 0; i < n; i++) {
        fixed[index * stride + i] = to_fixed(row[i]);
        float32[index * stride + i] = static_cast<float>(row[i]);
        float64[index * stride + i] = row[i];
    }
}

vok_err send_sign(const vok_functor_wrapper &held, long sign)
{
    static symbol *const word = gensym("sign");
    if (!held.object)
        return VOK_ERR_INVP;
    return object_attr_setlong(held.object, word, sign);
}

} // namespace vok::functor

using namespace vok::functor;

vok_err vok_functor_noise_permutations_init(int32_t **slot, long size, long seed)
{
    if (const vok_err err = replace(slot, size))
        return err;
    int32_t *entry = *slot;
    vok_rand_setseed(seed);
    // Drawn, not counted out: numbers repeat and are missing (deliberate).
    for (long i = 0; i < size; i++)
        entry[i] = static_cast<int32_t>(draw_index(size));
    for (int pass = 0; pass < 11; pass++)
        for (long i = 0; i < size; i++)
            std::swap(entry[i], entry[draw_index(size)]);
    return VOK_ERR_NONE;
}

vok_err vok_functor_noise_lattice_init(vok_functor_noise_lattice *slots, long size, long seed)
{
    if (!slots)
        return VOK_ERR_INVP;
    double *made = nullptr;
    if (!replace(&made, size)) {
        vok_rand_setseed(seed);
        for (long i = 0; i < size; i++)
            made[i] = draw(size);
    }
    const std::unique_ptr<double, free_block> source(made);
    vok_err err = vok_functor_noise_lattice_fixed_init(made, &slots->fixed, size);
    if (!err)
        err = vok_functor_noise_lattice_float32_init(made, &slots->float32, size);
    if (!err)
        err = vok_functor_noise_lattice_float64_init(made, &slots->float64, size);
    return err;
}

vok_err vok_functor_noise_lattice_fixed_init(const double *source, int32_t **slot, long size)
{
    return fill(source, slot, size);
}

vok_err vok_functor_noise_lattice_float32_init(const double *source, float **slot, long size)
{
    return fill(source, slot, size);
}

vok_err vok_functor_noise_lattice_float64_init(const double *source, double **slot, long size)
{
    return fill(source, slot, size);
}

long vok_functor_noise_hash_fixed_eval(long dimcount, const int32_t *values, const int32_t *table, long mask)
{
    return hash_at(dimcount, values, table, mask);
}

long vok_functor_noise_hash_float32_eval(long dimcount, const float *values, const int32_t *table, long mask)
{
    return hash_at(dimcount, values, table, mask);
}

long vok_functor_noise_hash_float64_eval(long dimcount, const double *values, const int32_t *table, long mask)
{
    return hash_at(dimcount, values, table, mask);
}

int32_t vok_functor_noise_lattice_fixed_eval(long dimcount, const int32_t *values, const int32_t *table,
                                             const int32_t *lattice, long mask)
{
    return lattice[hash_at(dimcount, values, table, mask)];
}

float vok_functor_noise_lattice_float32_eval(long dimcount, const float *values, const int32_t *table,
                                             const float *lattice, long mask)
{
    return lattice[hash_at(dimcount, values, table, mask)];
}

double vok_functor_noise_lattice_float64_eval(long dimcount, const double *values, const int32_t *table,
                                              const double *lattice, long mask)
{
    return lattice[hash_at(dimcount, values, table, mask)];
}

vok_err vok_functor_noise_evaluator_init(vok_functor_wrapper *wrapper, symbol **category, symbol *name)
{
    const vok_err err = hold(wrapper, name);
    if (err)
        vok_object_error(nullptr, "vok.functor.noise: unable to create evaluator object '%s.%s'.",
                         text(category ? *category : nullptr), text(name));
    return err;
}

vok_err vok_functor_noise_gradient_evaluator_init(vok_functor_wrapper *wrapper, symbol *name)
{
    const vok_err err = hold(wrapper, name);
    if (err)
        vok_object_error(nullptr, "vok.functor.noise.gradient: unable to create filter object '%s'.", text(name));
    return err;
}
