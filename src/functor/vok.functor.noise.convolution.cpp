// Two noises that filter what lies in the cells round a coordinate: the values of the
// lattice points, or impulses at random places. The filter is read from a table over the
// squared distance, or asked each time.
#include "functor/vok.functor.noise.h"

#include <utility>

namespace vok::functor {
namespace {

using impulse = vok_functor_noise_impulse;

constexpr long most_impulses = 1L << 22; // beyond, there is no memory for them
constexpr long most_entries = 1L << 26;  // of the kernel table

double root(double x)
{
    return std::sqrt(x);
}

float root(float x)
{
    return std::sqrt(x);
}

} // namespace

// What both classes are.
struct convolution {
    object header;
    long abs, sign;
    noise_tables tables;
    symbol *filter;
    long samplerate, kernel, fastsqrt;
    double width;
    vok_functor_combined_dynarray samples;
    vok_functor_wrapper held;
    long density; // of impulses, for the one that has some
    impulse *impulses;

    void init()
    {
        tables.init(1024);
        filter = gensym("lanczossinc");
        samplerate = 100;
        kernel = fastsqrt = 1;
        make_filter(); // which keeps its own width until one is set here
    }
    void release()
    {
        tables.release();
        clear(held);
        vok_functor_combined_dynarray_destroy(&samples);
        sysmem_freeptr(impulses);
    }
    vok_err rebuild()
    {
        const vok_err err = tables.build();
        if (density)
            return make_impulses() || err ? VOK_ERR_INVP : VOK_ERR_NONE;
        return err;
    }
    vok_err make_impulses();
    vok_err make_filter()
    {
        vok_functor_combined_dynarray_destroy(&samples);
        if (const vok_err err = vok_functor_wrapper_init(&held, nullptr, filter)) {
            clear(held);
            vok_object_error(
                this, "vok.functor.noise.value.convolution: unable to create convolution filter object '%s'.",
                filter->name);
            return err;
        }
        return fill_samples();
    }
    vok_err set_filter()
    {
        const vok_err err = make_filter();
        return err ? err : send_width();
    }
    vok_err send_width()
    {
        static symbol *const word = gensym("width");
        if (!valid(held))
            return VOK_ERR_NONE;
        object_attr_setfloat(held.object, word, width); // not every filter has one
        return fill_samples();
    }
    vok_err fill_samples()
    {
        vok_functor_combined_dynarray_destroy(&samples);
        if (!valid(held))
            return VOK_ERR_NONE;
        const long count = samplerate < most_entries / 4 ? 4 * samplerate + 1 : most_entries;
        if (count >= most_entries)
            return VOK_ERR_INVP;
        if (const vok_err err = vok_functor_combined_dynarray_init(&samples, count))
            return err;
        for (long i = 0; i < count; i++) {
            const double distance = std::sqrt(static_cast<double>(i) / static_cast<double>(samplerate));
            const double value = held.interface->evalfloat64(held.object, 1, &distance);
            samples.fixed[i] = to_fixed(value);
            samples.float32[i] = static_cast<float>(value);
            samples.float64[i] = value;
        }
        return VOK_ERR_NONE;
    }
    bool ready()
    {
        return valid(held) && tables.ready() &&
               ((samples.fixed && samples.float32 && samples.float64) || !fill_samples());
    }
    // The filter at a squared distance.
    template <typename T> T filtered(T square) const
    {
        if (!kernel) {
            T distance;
            if constexpr (std::is_same_v<T, fixed>) {
                const double real = static_cast<double>(square) * from_fixed;
                distance = to_fixed(fastsqrt ? vok_math_fast_sqrt(static_cast<float>(real)) : std::sqrt(real));
            } else {
                distance =
                    fastsqrt ? static_cast<T>(vok_math_fast_sqrt(static_cast<float>(square))) : root(square);
            }
            return eval_of<T>(held.interface)(held.object, 1, &distance);
        }
        long index;
        if constexpr (std::is_same_v<T, fixed>) {
            index = (static_cast<long>(square) * samplerate + 32768) >> 16;
        } else {
            const T place = square * static_cast<T>(samplerate) + T(0.5);
            if (!(place < static_cast<T>(samples.count)))
                return 0;
            index = static_cast<long>(place);
        }
        return index < 0 || index >= samples.count ? 0 : values_of<T>(samples)[index];
    }
};

vok_err convolution::make_impulses()
{
    sysmem_freeptr(std::exchange(impulses, nullptr));
    const long count = density <= most_impulses ? density * tables.tablesize : density;
    if (count <= most_impulses)
        impulses = static_cast<impulse *>(sysmem_newptr(count * static_cast<long>(sizeof(impulse))));
    if (!impulses)
        return VOK_ERR_INVP;
    vok_rand_setseed(tables.seed);
    for (long i = 0; i < count; i++) {
        impulse &made = impulses[i];
        made.fixed.id = made.float32.id = made.float64.id = static_cast<int32_t>(i + 1);
        made.float64.weight = draw(count);
        for (double &position : made.float64.position)
            position = draw(count);
        made.fixed.weight = to_fixed(made.float64.weight);
        made.float32.weight = static_cast<float>(made.float64.weight);
        for (int j = 0; j < 32; j++) {
            made.fixed.position[j] = to_fixed(made.float64.position[j]);
            made.float32.position[j] = static_cast<float>(made.float64.position[j]);
        }
    }
    return VOK_ERR_NONE;
}

namespace {

template <typename T> T square_of(T x)
{
    return product(x, x);
}

// A lattice offset in the format.
template <typename T> T whole(int32_t offset)
{
    if constexpr (std::is_same_v<T, fixed>)
        return times(offset, 65536);
    else
        return static_cast<T>(offset);
}

const auto &position_and_weight(const impulse &i, fixed)
{
    return i.fixed;
}

const auto &position_and_weight(const impulse &i, float)
{
    return i.float32;
}

const auto &position_and_weight(const impulse &i, double)
{
    return i.float64;
}

} // namespace
} // namespace vok::functor

using namespace vok::functor;

// ---- value.convolution ----

struct vok_functor_noise_value_convolution : convolution {
    template <typename T> T eval(long n, const T *x)
    {
        n = within(n);
        if (lattice_walk::points(n, 4) > max_lattice_points || !ready())
            return 0;
        const coordinates<T> at = split(n, x);
        const T *lattice = values_of<T>(tables.lattice);
        T sum = 0;
        lattice_walk point(n, -1, 2);
        do {
            T square = 0;
            for (long i = 0; i < n; i++)
                square = plus(square, square_of(minus(whole<T>(point.offset[i]), at.fraction[i])));
            sum = plus(sum, product(lattice[tables.hash<T>(n, at.cell, point.offset)], filtered(square)));
        } while (point.next());
        return spread(*this, sum);
    }
    fixed eval_fixed(long n, const fixed *x) { return eval(n, x); }
};

// ---- sparse.convolution ----

struct vok_functor_noise_sparse_convolution : convolution {
    void init()
    {
        convolution::init();
        density = 3;
        make_impulses();
    }
    template <typename T> T eval(long n, const T *x)
    {
        n = within(n);
        if (lattice_walk::points(n, 5) > max_lattice_points || !ready() || (!impulses && make_impulses()))
            return 0;
        const coordinates<T> at = split(n, x);
        const auto count = static_cast<int32_t>(density);
        T sum = 0;
        lattice_walk point(n, -2, 2);
        do {
            int32_t k = tables.hash<T>(n, at.cell, point.offset);
            for (int32_t used = 0; used < count; used++) {
                const auto &impulse = position_and_weight(impulses[k], T());
                T square = 0;
                for (long i = 0; i < n; i++)
                    square = plus(square, square_of(minus(at.fraction[i],
                                                          plus(whole<T>(point.offset[i]), impulse.position[i]))));
                sum = plus(sum, product(impulse.weight, filtered(square)));
                k = ((k + 1) & tables.mask32()) * count; // the first one was not multiplied: deliberate
            }
        } while (point.next());
        return spread(*this, static_cast<T>(sum / static_cast<T>(count)));
    }
    fixed eval_fixed(long n, const fixed *x) { return eval(n, x); }
};

int32_t vok_functor_noise_sparse_convolution_kernel_fixed(void *x, int32_t squared_distance)
{
    auto *noise = static_cast<convolution *>(x);
    return noise && noise->ready() ? noise->filtered(squared_distance) : 0;
}

// ---- attributes ----

namespace {

// As a number, truncated; what isn't at least 1 is ignored.
vok_err set_density(convolution *x, void *, long argc, atom *argv)
{
    if (!x || argc < 1 || !argv)
        return VOK_ERR_INVP;
    const double wanted = atom_getfloat(argv);
    if (!(wanted >= 1))
        return VOK_ERR_NONE;
    if (wanted > static_cast<double>(most_impulses))
        return VOK_ERR_INVP;
    if (static_cast<long>(wanted) == x->density)
        return VOK_ERR_NONE;
    x->density = static_cast<long>(wanted);
    return x->make_impulses();
}

constexpr bool at_least_1(double value)
{
    return value >= 1;
}

vok_err forward_set(void *x, void *attr, long argc, atom *argv)
{
    auto *noise = static_cast<convolution *>(x);
    if (!noise || !attr || !noise->held.object)
        return VOK_ERR_INVP;
    const vok_err err =
        object_attr_setvalueof(noise->held.object, static_cast<vok_attribute *>(attr)->name, argc, argv);
    return err ? err : noise->fill_samples();
}

vok_err forward_get(void *x, void *attr, long *argc, atom **argv)
{
    auto *noise = static_cast<convolution *>(x);
    if (!noise || !attr || !noise->held.object)
        return VOK_ERR_INVP;
    return object_attr_getvalueof(noise->held.object, static_cast<vok_attribute *>(attr)->name, argc, argv);
}

} // namespace

vok_err vok_functor_noise_sparse_convolution_setattr_delegate(void *x, void *attr, long argc, atom *argv)
{
    return forward_set(x, attr, argc, argv);
}

vok_err vok_functor_noise_sparse_convolution_getattr_delegate(void *x, void *attr, long *argc, atom **argv)
{
    return forward_get(x, attr, argc, argv);
}

vok_err vok_functor_noise_value_convolution_setattr_delegate(void *x, void *attr, long argc, atom *argv)
{
    return forward_set(x, attr, argc, argv);
}

vok_err vok_functor_noise_value_convolution_getattr_delegate(void *x, void *attr, long *argc, atom **argv)
{
    return forward_get(x, attr, argc, argv);
}

namespace vok::functor {

#define VOKRA_CONVOLUTION_ROWS                                                                                    \
    VOKRA_NOISE_TABLESIZE(convolution),                                                                           \
        VOKRA_FUNCTOR_SYMBOL(convolution, filter, "Filter", &convolution::set_filter),                            \
        VOKRA_FUNCTOR_LONG(convolution, samplerate, "Sample Rate", &convolution::fill_samples, at_least_1),       \
        VOKRA_FUNCTOR_FLAG(convolution, kernel, "Kernel", nullptr),                                               \
        VOKRA_FUNCTOR_FLAG(convolution, fastsqrt, "Fast Square Root", nullptr),                                   \
        VOKRA_FUNCTOR_NUMBER(convolution, width, "Width", &convolution::send_width)

template <>
constexpr auto attributes<vok_functor_noise_sparse_convolution> =
    std::array{VOKRA_NOISE_FLAGS(convolution), VOKRA_NOISE_SEED(convolution),
               number("density", "long", offsetof(convolution, density), fn<set_density>, "Density"),
               VOKRA_CONVOLUTION_ROWS};
template <>
constexpr auto attributes<vok_functor_noise_value_convolution> =
    std::array{VOKRA_NOISE_FLAGS(convolution), VOKRA_NOISE_SEED(convolution), VOKRA_CONVOLUTION_ROWS};

// The kernel table is of the filter as it now is.
inline vok_err filter_changed(convolution *x)
{
    return x->fill_samples();
}
constexpr std::array changed{message{"subfunctor_changed", fn<filter_changed>, {argtype_cant}}};
template <> constexpr auto messages<vok_functor_noise_sparse_convolution> = changed;
template <> constexpr auto messages<vok_functor_noise_value_convolution> = changed;

template <>
constexpr auto roles<vok_functor_noise_sparse_convolution> =
    std::array{role<vok_functor_noise_sparse_convolution>{"filter", &vok_functor_noise_sparse_convolution::held}};
template <>
constexpr auto roles<vok_functor_noise_value_convolution> =
    std::array{role<vok_functor_noise_value_convolution>{"filter", &vok_functor_noise_value_convolution::held}};

} // namespace vok::functor

VOKRA_FUNCTOR(noise, sparse_convolution, "sparse.convolution")
VOKRA_FUNCTOR(noise, value_convolution, "value.convolution")
