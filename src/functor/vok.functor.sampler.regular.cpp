// vok_functor_sampler_regular: writes the coordinates of a regular grid into a matrix, the
// coordinate of dimension d into plane d.
#include <vokra/functor_evaluate.h>

#include "functor/vok.functor.walk.h"
#include "matrix/matrix_lock.h"

struct vok_functor_sampler_regular {
    object header;
    double offset[32];
    double scale[32];
    double step[32];
    long dimcount; // of the last run
    long planecount;
    long dirty;

    void mark() { dirty = 1; }
};

namespace {

using namespace vok::functor;
using sampler = vok_functor_sampler_regular;

// What a worker keeps for its slice. char and long cells hold fixed coordinates.
template <typename T> struct sampler_slice {
    long planes; // of a cell
    long filled; // of those, from the first
    T at[32];    // the running coordinates at the start of a row
    T step0;

    template <typename Out> void row(long n, Out *out) const
    {
        T along = at[0];
        for (long i = 0; i < n; i++, out += planes) {
            out[0] = static_cast<Out>(along);
            for (long d = 1; d < filled; d++)
                out[d] = static_cast<Out>(at[d]);
            along = plus(along, step0);
        }
    }
};

template <typename T>
void fill(const sampler *x, long dimcount, const long *dim, long planecount, const vok_matrix_info *info,
          unsigned char *data, const long *first, void (*vector)(void *, long, unsigned char *))
{
    sampler_slice<T> state{planecount, std::min(planecount, dimcount), {}, converted<T>(x->step[0])};
    T start[32], step[32];
    for (long d = 0; d < dimcount; d++) {
        const auto index = static_cast<double>(d < 2 ? first[d] : 0);
        step[d] = converted<T>(x->step[d]);
        if constexpr (std::is_same_v<T, fixed>)
            start[d] = plus(to_fixed(x->offset[d]), truncated(index * step[d]));
        else
            start[d] = static_cast<T>(x->offset[d]) + static_cast<T>(index) * step[d];
    }
    state.at[0] = start[0];
    walk_rows<1>(
        dimcount - 1, dim, {info}, {data}, [&](long d) { state.at[d] = start[d]; },
        [&](long d) { state.at[d] = plus(state.at[d], step[d]); },
        [&](const auto &rows) { vector(&state, dim[0], rows[0]); });
}

} // namespace

#define VOKRA_SAMPLER_ROWS(type, element, T)                                                                      \
    void vok_functor_sampler_regular_vector_##type(void *state, long n, unsigned char *out)                       \
    {                                                                                                             \
        static_cast<const sampler_slice<T> *>(state)->row(n, reinterpret_cast<element *>(out));                   \
    }
VOKRA_SAMPLER_ROWS(char, uint8_t, fixed)
VOKRA_SAMPLER_ROWS(long, int32_t, fixed)
VOKRA_SAMPLER_ROWS(float32, float, float)
VOKRA_SAMPLER_ROWS(float64, double, double)
#undef VOKRA_SAMPLER_ROWS

void vok_functor_sampler_regular_calculate_ndim(vok_functor_sampler_regular *x, long dimcount, long *dim,
                                                long planecount, vok_matrix_info *info, unsigned char *data,
                                                vok_parallel_ndim_worker *worker)
{
    if (!x || dimcount < 1 || dimcount > 32)
        return;
    const long first[2] = {worker ? worker->offset[0] : 0, first_row(worker)};
    switch (out_type(info->type)) {
    case out_char:
        fill<fixed>(x, dimcount, dim, planecount, info, data, first, vok_functor_sampler_regular_vector_char);
        break;
    case out_long:
        fill<fixed>(x, dimcount, dim, planecount, info, data, first, vok_functor_sampler_regular_vector_long);
        break;
    case out_float32:
        fill<float>(x, dimcount, dim, planecount, info, data, first, vok_functor_sampler_regular_vector_float32);
        break;
    case out_float64:
        fill<double>(x, dimcount, dim, planecount, info, data, first, vok_functor_sampler_regular_vector_float64);
        break;
    default: break;
    }
}

long vok_functor_sampler_regular_matrix_calc(vok_functor_sampler_regular *x, void *, void *outputs)
{
    void *out = vok::ask<void>(outputs, _vok_sym_getindex, 0);
    if (!x || !out || !x->dirty)
        return VOK_ERR_NONE;
    vok::matrix_lock to(out);
    if (!to.data)
        return VOK_ERR_INVO;
    x->dimcount = to.info.dimcount;
    x->planecount = to.info.planecount;
    long dim[32];
    for (long d = 0; d < 32; d++) {
        dim[d] = d < x->dimcount ? to.info.dim[d] : 1;
        x->step[d] = dim[d] ? x->scale[d] / static_cast<double>(dim[d] - 1) : x->scale[d];
    }
    vok_parallel_ndim_simplecalc1(vok::method(vok_functor_sampler_regular_calculate_ndim), x, x->dimcount, dim,
                                  x->planecount, &to.info, to.data, 0);
    x->dirty = 0;
    return VOK_ERR_NONE;
}

vok_functor_sampler_regular *vok_functor_sampler_regular_new(void)
{
    auto *x = static_cast<sampler *>(vok_object_alloc(class_of<sampler>));
    if (x)
        x->mark();
    return x;
}

void vok_functor_sampler_regular_free(vok_functor_sampler_regular *) {}

vok_err vok_functor_sampler_regular_init(void)
{
    constexpr vok::message messages[] = {
        {"matrix_calc", vok::fn<vok_functor_sampler_regular_matrix_calc>, {argtype_cant}}};
    const vok::attribute attributes[] = {
        numbers("offset", offsetof(sampler, offset), 0, vok::fn<set_array<&sampler::offset, &sampler::mark>>,
                "Offset"),
        numbers("scale", offsetof(sampler, scale), 0, vok::fn<set_array<&sampler::scale, &sampler::mark>>,
                "Scale"),
    };
    class_of<sampler> = vok::add_class({"vok_functor_sampler_regular", vok::fn<vok_functor_sampler_regular_new>,
                                        vok::fn<vok_functor_sampler_regular_free>, sizeof(sampler)},
                                       messages, attributes);
    return class_of<sampler> ? vok_class_addadornment(class_of<sampler>, vok_object_new(_vok_sym_vok_mop, 0L, 1L))
                             : static_cast<vok_err>(VOK_ERR_OMEM);
}
