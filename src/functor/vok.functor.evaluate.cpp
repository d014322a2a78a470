// vok_functor_evaluate: fills a matrix from a functor, over a grid of running coordinates or
// at the coordinates in an input's planes. A worker converts what it needs into the format
// of `precision` once, then goes row by row: blocks of cells through the functor's row form,
// each plane in turn.
#include <algorithm>
#include <memory>
#include <new>

#include <vokra/functor_evaluate.h>
#include <vokra/numerics.h>

#include "functor/vok.functor.noise.h"
#include "functor/vok.functor.walk.h"
#include "matrix/matrix_lock.h"

struct vok_functor_evaluate {
    object header;
    symbol *category;
    symbol *classname;
    symbol *precision;
    double align;
    long seed;
    long autocenter;
    double origin[32];
    double offset[32];
    double scale[32];
    double rotation[32];
    double weight[32];
    double table[32][32]; // by dimension and plane: how far the planes lie apart
    long dimcount;        // of the last grid
    long planecount;
    long dim[32];
    double start[32];
    double step[32];
    long dirty;
    long rotated;
    vok_functor_fractal_rotation_matrix matrix;
    vok_functor_wrapper functor;

    // What changed attributes do.
    void mark() { dirty = 1; }
    void refill()
    {
        mark();
        vok_rand_setseed(seed);
        for (auto &row : table)
            for (double &entry : row)
                entry = (static_cast<double>(vok_rand()) + 0.5) * 2.3283064365386963e-10 * align; // 2^-32
    }
};

namespace vok::functor {

namespace plain {
extern const store_table stores;
}
VOKRA_PER_ISA(store_table, stores)

namespace {

using evaluator = vok_functor_evaluate;

const store_table &stores()
{
    const store_table *fast = stores_in_use();
    return fast ? *fast : plain::stores;
}

// The precision by number; -1 for those that write nothing.
int precision_of(const evaluator *x)
{
    static symbol *const sym_fixed = gensym("fixed");
    return x->precision == sym_fixed          ? precision_fixed
           : x->precision == _vok_sym_float32 ? precision_float32
           : x->precision == _vok_sym_float64 ? precision_float64
                                              : -1;
}

template <typename T> constexpr int precision_number = precision_float32;
template <> constexpr int precision_number<fixed> = precision_fixed;
template <> constexpr int precision_number<double> = precision_float64;

constexpr long block = 256; // cells that a row form gets at once

// What a worker keeps for its slice.
struct slice {
    const evaluator *x;
    int precision;
    long dimcount; // coordinates of a cell
    long planecount;
};

template <typename T> struct slice_in : slice {
    T table[32][32];
    T weight[32];
    T at[32];       // the running coordinates; of dimension 0 see `first`
    const T *first; // coordinates along a row, the same in every row

    slice_in(const evaluator *evaluate, long dims, long planes)
        : slice{evaluate, precision_number<T>, std::clamp(dims, 0L, 32L), std::clamp(planes, 0L, 32L)}, at{},
          first(nullptr)
    {
        for (long d = 0; d < dimcount; d++)
            for (long p = 0; p < planecount; p++)
                table[d][p] = converted<T>(x->table[d][p]);
        for (long p = 0; p < planecount; p++)
            weight[p] = converted<T>(x->weight[p]);
    }

    template <typename Out> void store(long n, const T *values, long plane, int shift, Out *out) const
    {
        constexpr int type = std::is_same_v<Out, uint8_t>   ? out_char
                             : std::is_same_v<Out, int32_t> ? out_long
                             : std::is_same_v<Out, float>   ? out_float32
                                                            : out_float64;
        stores().fn[precision][type](n, values, &weight[plane], shift, out + plane, planecount);
    }

    template <typename Out> void grid_row(long n, Out *out) const
    {
        T along[block], values[block];
        for (long from = 0; from < n; from += block) {
            const long count = std::min(block, n - from);
            for (long p = 0; p < planecount; p++) {
                T others[32];
                for (long d = 1; d < dimcount; d++)
                    others[d - 1] = plus(at[d], table[d][p]);
                for (long i = 0; i < count; i++)
                    along[i] = plus(first[from + i], table[0][p]);
                if (x->rotated)
                    turned(count, along, others, values);
                else
                    eval_row(x->functor, count, dimcount, along, others, values);
                store(count, values, p, 0, out + from * planecount);
            }
        }
    }

    void turned(long n, const T *along, const T *others, T *values) const
    {
        T c[32], r[32];
        std::copy_n(others, dimcount - 1, c + 1);
        for (long i = 0; i < n; i++) {
            c[0] = along[i];
            rotate(x->matrix, dimcount, c, r);
            values[i] = eval_of<T>(x->functor.interface)(x->functor.object, dimcount, r);
        }
    }

    // The coordinate that an element of the input is for a plane.
    template <typename In> T coordinate(In value, long d, long p) const
    {
        if constexpr (std::is_same_v<T, fixed>)
            return truncated(static_cast<double>(value) + table[d][p]);
        else
            return static_cast<T>(value) + table[d][p];
    }

    // Cells of `Out`, of which char is read with its sign. Where only the first coordinate
    // moves, as it does when an expression spans a grid, the cells go as a row.
    template <typename Out> void input_row(long n, const Out *in, Out *out) const
    {
        using In = std::conditional_t<std::is_same_v<Out, uint8_t>, int8_t, Out>;
        constexpr int shift = std::is_same_v<T, fixed> ? 16 : 0;
        // fixed coordinates aren't written without an alignment: those of the last use stand
        const bool written = !std::is_same_v<T, fixed> || x->align > 0;
        const auto eval = eval_of<T>(x->functor.interface);
        T c[32] = {}, along[block] = {}, values[block];
        for (long from = 0; from < n; from += block) {
            const long count = std::min(block, n - from);
            const Out *head = in + from * dimcount;
            bool row = true;
            for (long i = 1; row && i < count; i++)
                row = !std::memcmp(head + 1, head + i * dimcount + 1,
                                   static_cast<size_t>(dimcount - 1) * sizeof(Out));
            for (long p = 0; p < planecount; p++) {
                for (long d = 0; written && d < dimcount; d++)
                    c[d] = coordinate(static_cast<In>(head[d]), d, p);
                for (long i = 0; i < count; i++) {
                    const Out *cell = head + i * dimcount;
                    for (long d = 0; written && d < (row ? 1 : dimcount); d++)
                        c[d] = coordinate(static_cast<In>(cell[d]), d, p);
                    if (row)
                        along[i] = c[0];
                    else
                        values[i] = eval(x->functor.object, dimcount, c);
                }
                if (row)
                    eval_row(x->functor, count, dimcount, along, c + 1, values);
                store(count, values, p, shift, out + from * planecount);
            }
        }
    }
};

// Calls `work` with the slice in its precision.
template <typename Work> void with_slice(void *state, const Work &work)
{
    switch (static_cast<slice *>(state)->precision) {
    case precision_fixed: work(*static_cast<slice_in<fixed> *>(state)); break;
    case precision_float32: work(*static_cast<slice_in<float> *>(state)); break;
    default: work(*static_cast<slice_in<double> *>(state));
    }
}

// The same with a new slice, by the evaluator's precision.
template <typename Work> void in_precision(const evaluator *x, long dims, long planes, const Work &work)
{
    const auto run = [&](auto number) {
        slice_in<decltype(number)> state(x, dims, planes);
        work(state);
    };
    switch (precision_of(x)) {
    case precision_fixed: run(fixed()); break;
    case precision_float32: run(0.0f); break;
    case precision_float64: run(0.0); break;
    default: break;
    }
}

using grid_vector = void (*)(void *, long, unsigned char *);
constexpr grid_vector grid_vectors[out_count] = {
    vok_functor_evaluate_coord_vector_char, vok_functor_evaluate_coord_vector_long,
    vok_functor_evaluate_coord_vector_float32, vok_functor_evaluate_coord_vector_float64};

using input_vector = void (*)(void *, long, unsigned char *, unsigned char *);
constexpr input_vector input_vectors[out_count] = {
    vok_functor_evaluate_calculate_vector_char, vok_functor_evaluate_calculate_vector_long,
    vok_functor_evaluate_calculate_vector_float32, vok_functor_evaluate_calculate_vector_float64};

// A grid's coordinates in the format of T. Sums run on, so a slice goes from the first row of
// all to its own: a split gives the same bits as one thread.
template <typename T>
void fill_grid(slice_in<T> &state, long dimcount, const long *dim, int type, const vok_matrix_info *info,
               unsigned char *data, long first)
{
    const evaluator *x = state.x;
    T start[32], step[32];
    for (long d = 0; d < dimcount; d++) {
        step[d] = converted<T>(x->step[d]);
        const T from = converted<T>(x->start[d] + x->offset[d]);
        if constexpr (std::is_same_v<T, fixed>)
            start[d] = from;
        else
            start[d] = 0 * step[d] + from; // NaN where the step isn't finite
    }
    for (long i = 0; dimcount > 1 && i < first; i++)
        start[1] = plus(start[1], step[1]);

    const long n = dim[0];
    const std::unique_ptr<T[]> along(new (std::nothrow) T[static_cast<size_t>(n)]);
    if (!along) {
        vok_error_code(const_cast<evaluator *>(x), VOK_ERR_OMEM);
        return;
    }
    T c = start[0];
    for (long i = 0; i < n; i++, c = plus(c, step[0]))
        along[static_cast<size_t>(i)] = c;
    state.first = along.get();
    walk_rows<1>(
        dimcount - 1, dim, {info}, {data}, [&](long d) { state.at[d] = start[d]; },
        [&](long d) { state.at[d] = plus(state.at[d], step[d]); },
        [&](const auto &rows) { grid_vectors[type](&state, n, rows[0]); });
}

// ---- attributes ----

vok_err set_classname(evaluator *x, void *, long argc, atom *argv)
{
    if (!x)
        return VOK_ERR_INVP;
    symbol *name = argc > 0 && argv ? atom_getsym(argv + (argc > 1)) : nullptr;
    if (name && argc > 1)
        x->category = atom_getsym(argv);
    if (name && name == x->classname)
        return VOK_ERR_NONE;
    x->mark();
    const vok_err result = vok_functor_wrapper_init(&x->functor, nullptr, name); // INVP without a name
    x->classname = result ? nullptr : name;
    if (result && name && x->category)
        vok_object_error(x, "vok.functor.evaluate: unable to create object for evaluation '%s.%s'",
                         x->category->name, name->name);
    if (result)
        clear(x->functor);
    return result;
}

vok_err set_origin(evaluator *x, void *attr, long argc, atom *argv)
{
    if (x && x->autocenter) {
        vok_object_error(x, "vok.functor.evaluate: disable autocenter in order to set origin.");
        return VOK_ERR_EROR;
    }
    return set_array<&evaluator::origin, &evaluator::mark>(x, attr, argc, argv);
}

vok_err set_rotation(evaluator *x, void *attr, long argc, atom *argv)
{
    if (!x)
        return VOK_ERR_INVP;
    double before[32];
    std::copy_n(x->rotation, 32, before);
    const vok_err result = set_array<&evaluator::rotation, &evaluator::mark>(x, attr, argc, argv);
    if (result || std::equal(before, before + 32, x->rotation))
        return result;
    // what was given decides, not what an earlier, longer list has left
    x->rotated =
        !std::all_of(argv, argv + std::min(argc, 32L), [](const atom &a) { return atom_getfloat(&a) == 0; });
    if (x->rotated)
        return vok_functor_evaluate_rotation_matrix_init(&x->matrix, x->dimcount, x->rotation);
    return VOK_ERR_NONE;
}

// Sent on to the held functor without its first atom, which names this one's role. What the
// functor doesn't take is for the evaluator itself.
vok_err setattr(evaluator *x, symbol *selector, long argc, atom *argv)
{
    if (argc < 1 || !argv)
        return VOK_ERR_EROR;
    if (x->functor.object) {
        x->mark();
        if (!vok_object_method_typed(x->functor.object, selector, argc - 1, argv + 1, nullptr))
            return VOK_ERR_NONE;
    }
    return vok_functor_setattr(x, selector, argc, argv);
}

constexpr const char *basis_menu =
    "distance.euclidean distance.euclidean.squared distance.manhattan distance.manhattan.radial "
    "distance.chebychev distance.minkovsky filter.bessel filter.box filter.catmullrom filter.disk "
    "filter.gaussian filter.lanczossinc filter.mitchell filter.sinc filter.triangle transfer.step "
    "transfer.smoothstep transfer.bias transfer.cubic transfer.saw transfer.quintic transfer.gain "
    "transfer.pulse transfer.smoothpulse transfer.sine transfer.linear transfer.solarize noise.cell "
    "noise.checker noise.distorted noise.gradient noise.simplex noise.voronoi noise.value.cubicspline "
    "noise.value.convolution noise.sparse.convolution fractal.mono fractal.hetero fractal.multi "
    "fractal.multi.hybrid fractal.multi.ridged fractal.turbulence";

constexpr attribute list(const char *name, long offset, function set, const char *label)
{
    return numbers(name, offset, 0, set, label);
}

template <auto Field> constexpr function marking = fn<set_array<Field, &evaluator::mark>>;

// ---- one run ----

// Before workers start: tables of noises are built for this number of coordinates.
void warm(const vok_functor_wrapper &functor, long dimcount)
{
    const double zeros[32] = {};
    const void *at = zeros;
    functor.interface->evalfixed(functor.object, dimcount, static_cast<const int32_t *>(at));
    functor.interface->evalfloat32(functor.object, dimcount, static_cast<const float *>(at));
    functor.interface->evalfloat64(functor.object, dimcount, zeros);
}

void calculate_grid(evaluator *x, vok_matrix_info &info, unsigned char *data)
{
    const bool moved = x->dimcount != info.dimcount || !std::equal(x->dim, x->dim + info.dimcount, info.dim);
    if (!x->dirty && !moved && x->planecount == info.planecount)
        return;
    x->dimcount = info.dimcount;
    x->planecount = info.planecount;
    for (long d = 0; d < 32; d++) {
        const auto size = static_cast<double>(d < info.dimcount ? info.dim[d] : 1);
        x->dim[d] = static_cast<long>(size);
        x->step[d] = size < 1 ? x->scale[d] : x->scale[d] / (size - 1);
        x->start[d] = x->autocenter ? x->scale[d] * (size - 1) * 0.5 : x->origin[d];
    }
    if (x->rotated && (moved || x->matrix.rows < x->dimcount))
        vok_functor_evaluate_rotation_matrix_init(&x->matrix, x->dimcount, x->rotation);
    warm(x->functor, x->dimcount);
    long dim[32];
    std::copy_n(x->dim, 32, dim);
    vok_parallel_ndim_simplecalc1(method(vok_functor_evaluate_coord_ndim), x, x->dimcount, dim, x->planecount,
                                  &info, data, 0);
    x->dirty = 0;
}

void calculate_input(evaluator *x, vok_matrix_info &in, unsigned char *in_data, vok_matrix_info &out,
                     unsigned char *out_data)
{
    if (in.type != out.type)
        return;
    long dim[32];
    for (long d = 0; d < 32; d++)
        dim[d] = std::min(d < in.dimcount ? in.dim[d] : 1, d < out.dimcount ? out.dim[d] : 1);
    warm(x->functor, in.planecount);
    vok_parallel_ndim_simplecalc2(method(vok_functor_evaluate_calculate_ndim), x, out.dimcount, dim,
                                  out.planecount, &in, in_data, &out, out_data, 0, 0);
}

} // namespace
} // namespace vok::functor

using namespace vok::functor;

#define VOKRA_EVALUATE_ROWS(type, element)                                                                        \
    void vok_functor_evaluate_coord_vector_##type(void *state, long n, unsigned char *out)                        \
    {                                                                                                             \
        with_slice(state, [=](const auto &s) { s.grid_row(n, reinterpret_cast<element *>(out)); });               \
    }                                                                                                             \
    void vok_functor_evaluate_calculate_vector_##type(void *state, long n, unsigned char *in, unsigned char *out) \
    {                                                                                                             \
        with_slice(state, [=](const auto &s) {                                                                    \
            s.input_row(n, reinterpret_cast<const element *>(in), reinterpret_cast<element *>(out));              \
        });                                                                                                       \
    }
VOKRA_EVALUATE_ROWS(char, uint8_t)
VOKRA_EVALUATE_ROWS(long, int32_t)
VOKRA_EVALUATE_ROWS(float32, float)
VOKRA_EVALUATE_ROWS(float64, double)
#undef VOKRA_EVALUATE_ROWS

void vok_functor_evaluate_coord_ndim(vok_functor_evaluate *x, long dimcount, long *dim, long planecount,
                                     vok_matrix_info *info, unsigned char *data, vok_parallel_ndim_worker *worker)
{
    const int type = out_type(info->type);
    if (!x || !valid(x->functor) || type < 0 || dimcount < 1 || dimcount > 32 || dim[0] < 1)
        return;
    in_precision(x, dimcount, planecount,
                 [&](auto &state) { fill_grid(state, dimcount, dim, type, info, data, first_row(worker)); });
}

void vok_functor_evaluate_calculate_ndim(vok_functor_evaluate *x, long dimcount, long *dim, long planecount,
                                         vok_matrix_info *in_info, unsigned char *in_data,
                                         vok_matrix_info *out_info, unsigned char *out_data,
                                         vok_parallel_ndim_worker *)
{
    const int type = out_type(out_info->type);
    if (!x || !valid(x->functor) || type < 0 || dimcount < 1 || dimcount > 32)
        return;
    const auto nothing = [](long) {};
    in_precision(x, in_info->planecount, planecount, [&](auto &state) {
        walk_rows<2>(dimcount - 1, dim, {in_info, out_info}, {in_data, out_data}, nothing, nothing,
                     [&](const auto &rows) { input_vectors[type](&state, dim[0], rows[0], rows[1]); });
    });
}

long vok_functor_evaluate_matrix_calc(vok_functor_evaluate *x, void *inputs, void *outputs)
{
    void *in = vok::ask<void>(inputs, _vok_sym_getindex, 0), *out = vok::ask<void>(outputs, _vok_sym_getindex, 0);
    if (!x || !in || !out || !valid(x->functor))
        return VOK_ERR_NONE;
    vok::matrix_lock from(in), to(out);
    if (!to.data)
        return VOK_ERR_INVO;
    if (from.data)
        calculate_input(x, from.info, from.data, to.info, to.data);
    else
        calculate_grid(x, to.info, to.data);
    return VOK_ERR_NONE;
}

vok_err vok_functor_evaluate_rotation_matrix_init(vok_functor_fractal_rotation_matrix *matrix, long dimcount,
                                                  const double *angles)
{
    if (vok_functor_fractal_rotation_matrix_destroy(matrix) || !angles)
        return VOK_ERR_INVP;
    return rotation_from_angles(matrix, dimcount, angles);
}

vok_err vok_functor_evaluate_setattr_category(vok_functor_evaluate *x, void *, long argc, atom *argv)
{
    if (!x || argc < 1 || !argv)
        return VOK_ERR_INVP;
    x->category = atom_getsym(argv);
    return VOK_ERR_NONE;
}

vok_functor_evaluate *vok_functor_evaluate_new(void)
{
    auto *x = static_cast<vok_functor_evaluate *>(vok_object_alloc(class_of<vok_functor_evaluate>));
    if (!x)
        return nullptr;
    x->align = 10;
    x->seed = -1138;
    x->precision = _vok_sym_float32;
    x->refill();
    return x;
}

void vok_functor_evaluate_free(vok_functor_evaluate *x)
{
    clear(x->functor);
    vok_functor_fractal_rotation_matrix_destroy(&x->matrix);
}

template <>
constexpr auto vok::functor::roles<evaluator> =
    std::array{role<evaluator>{"functor", &evaluator::functor}, role<evaluator>{"basis", &evaluator::functor}};

vok_err vok_functor_evaluate_init(void)
{
    constexpr auto mark = &evaluator::mark;
    constexpr vok::message messages[] = {
        {"matrix_calc", vok::fn<vok_functor_evaluate_matrix_calc>, {argtype_cant}},
        {"setattr", vok::fn<setattr>, {argtype_gimme}},
        {"subfunctor", vok::fn<subfunctor<evaluator>>, {argtype_cant}}};
    vok::attribute basis =
        number("basis", "symbol", offsetof(evaluator, classname), vok::fn<set_classname>, "Basis");
    basis.style = "enum";
    basis.enumvals = basis_menu;
    vok::attribute precision = VOKRA_FUNCTOR_SYMBOL(evaluator, precision, "Precision", mark);
    precision.style = "enum";
    precision.enumvals = "float32 float64 fixed float double";
    const vok::attribute attributes[] = {
        basis,
        number("classname", "symbol", offsetof(evaluator, classname), vok::fn<set_classname>, "Class Name"),
        precision,
        VOKRA_FUNCTOR_NUMBER(evaluator, align, "Align", &evaluator::refill),
        VOKRA_FUNCTOR_LONG(evaluator, seed, "Seed", &evaluator::refill),
        VOKRA_FUNCTOR_LONG(evaluator, autocenter, "Autocenter", mark),
        list("origin", offsetof(evaluator, origin), vok::fn<set_origin>, "Origin"),
        list("offset", offsetof(evaluator, offset), marking<&evaluator::offset>, "Offset"),
        list("scale", offsetof(evaluator, scale), marking<&evaluator::scale>, "Scale"),
        list("rotation", offsetof(evaluator, rotation), vok::fn<set_rotation>, "Rotation"),
        list("weight", offsetof(evaluator, weight), marking<&evaluator::weight>, "Weight"),
    };
    class_of<evaluator> = vok::add_class({"vok_functor_evaluate", vok::fn<vok_functor_evaluate_new>,
                                          vok::fn<vok_functor_evaluate_free>, sizeof(evaluator)},
                                         messages, attributes);
    return class_of<evaluator>
               ? vok_class_addadornment(class_of<evaluator>, vok_object_new(_vok_sym_vok_mop, 1L, 1L))
               : static_cast<vok_err>(VOK_ERR_OMEM);
}
