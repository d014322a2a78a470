// Voronoi noise: features scattered in the cells of a lattice, and the distances or the
// marks of those nearest to a coordinate.
#include "functor/vok.functor.noise.records.h"
#include "kernel/atoms.h"

#include <algorithm>
#include <utility>

using namespace vok::functor;

namespace {

constexpr long most_ranks = 32;
constexpr long most_features = 1L << 20; // of the arrays `weight` and `exp`, and in one cell
constexpr double nowhere = 99999999.0;

template <typename T> struct feature_type {
    using type = vok_functor_noise_voronoi_feature;
};
template <> struct feature_type<float> {
    using type = vok_functor_noise_voronoi_feature_float32;
};
template <typename T> using feature = typename feature_type<T>::type;

// The stream of numbers that a cell's hash starts.
struct stream {
    uint32_t s;

    explicit stream(int32_t hash) : s(static_cast<uint32_t>(hash)) { advance(); }
    void advance() { s = s * 1402024253u + 586950981u; }
    int32_t number() const { return static_cast<int32_t>(s); }
};

template <typename T> void start(feature<T> *ranks, long count)
{
    for (long i = 0; i < count; i++) {
        ranks[i] = {};
        ranks[i].id = -1;
        ranks[i].distance = static_cast<T>(nowhere);
        ranks[i].weight = ranks[i].exp = 1;
    }
}

template <typename T> vok_err make_ranks(feature<T> **slot, long count)
{
    if (!slot)
        return VOK_ERR_INVP;
    *slot = nullptr;
    if (count >= 1 && count <= most_features)
        *slot = static_cast<feature<T> *>(sysmem_newptr(count * static_cast<long>(sizeof(feature<T>))));
    if (!*slot)
        return VOK_ERR_INVP;
    start<T>(*slot, count);
    return VOK_ERR_NONE;
}

// Weights and exponents stay with their ranks.
template <typename T> void insert(feature<T> *ranks, long count, long n, T distance, int32_t id, const T *position)
{
    const auto move = [&](feature<T> &to, T d, int32_t mark, const T *from) {
        to.distance = d;
        to.id = mark;
        std::copy_n(from, n, to.position);
    };
    long place = 0;
    while (place < count && !(ranks[place].distance > distance))
        place++;
    if (place == count)
        return;
    for (long i = count - 1; i > place; i--)
        move(ranks[i], ranks[i - 1].distance, ranks[i - 1].id, ranks[i - 1].position);
    move(ranks[place], distance, id, position);
}

template <typename T>
void fill_cell(const vok_functor_noise_voronoi &x, long n, const int32_t *cell, const T *p, long count,
               feature<T> *ranks)
{
    using how = vok_functor_noise_voronoi::placement;
    const T *lattice = values_of<T>(x.tables.lattice);
    const int32_t mask = x.tables.mask32();
    stream s(x.tables.hash(n, cell));
    int32_t features = 1;
    switch (x.placing) {
    case how::random: {
        const T d = static_cast<T>(x.density), half = d * T(0.5);
        features = std::clamp(truncated((2 * d - half) * lattice[s.number() & mask] + half + T(0.5)), 1,
                              static_cast<int32_t>(most_features));
        break;
    }
    case how::octagon:
    case how::triangle: features = 2; break;
    case how::square:
    case how::hexagon: break;
    default:
        vok_object_post(const_cast<vok_functor_noise_voronoi *>(&x),
                        "vok_noise_voronoi_fillcell_fixed: unexpected shape");
    }
    s.advance();
    const bool odd_0 = n > 0 && (cell[0] & 1), odd_1 = n > 1 && (cell[1] & 1);
    for (int32_t f = 0; f < features; f++) {
        const int32_t id = s.number();
        s.advance();
        T v[max_dimensions] = {}; // constant in all shapes but the random one: deliberate
        for (long j = 0; j < n; j++) {
            const bool even = j % 2 == 0;
            switch (x.placing) {
            case how::random:
                v[j] = static_cast<T>(cell[j]) + lattice[s.number() & mask] - p[j];
                s.advance();
                break;
            case how::square:
                v[j] = T(0.5);
                s.advance();
                break;
            case how::hexagon: v[j] = even ? T(0.75) : odd_0 ? T(0.5) : T(0); break;
            case how::octagon: v[j] = f == 0 ? T(0.207) : T(0.707); break;
            case how::triangle:
                v[j] = even ? ((f == 0) == odd_1 ? T(0.75) : T(0.25)) : (f == 0 ? T(0.35) : T(0.65));
                break;
            }
        }
        insert(ranks, count, n, eval_of<T>(x.held.interface)(x.held.object, n, v), id, v);
    }
}

template <typename T> T combine(const vok_functor_noise_voronoi &x, long count, feature<T> *ranks)
{
    const T *lattice = values_of<T>(x.tables.lattice);
    for (long i = 0; i < count; i++) {
        if (x.by_id)
            ranks[i].distance = lattice[ranks[i].id & x.tables.mask32()];
        else if (x.postsqrt)
            ranks[i].distance = std::sqrt(ranks[i].distance);
    }
    T r = x.multiplies ? 1 : 0;
    for (long i = 0; i < count; i++) {
        const feature<T> &rank = ranks[i];
        if (rank.exp == 0) { // the weight has no say
            r += x.multiplies ? 0 : 1;
            continue;
        }
        const T term = rank.weight * (rank.exp == 1 ? rank.distance : std::pow(rank.distance, rank.exp));
        r = x.multiplies ? r * term : r + term;
    }
    return spread(x, r);
}

// The distances to the cell's faces decide which neighbours are looked at, as squares
// whatever the distance functor: deliberate.
template <typename T>
void find(const vok_functor_noise_voronoi &x, long n, const T *values, long count, feature<T> *ranks)
{
    T p[max_dimensions] = {}, upper[max_dimensions], lower[max_dimensions];
    int32_t home[max_dimensions], cell[max_dimensions] = {};
    for (long i = 0; i < n; i++) {
        p[i] = values[i] + T(100000); // mostly above 0 then
        home[i] = cell[i] = floored(p[i]);
    }
    fill_cell(x, n, cell, p, count, ranks);
    const T &farthest = ranks[count - 1].distance;
    for (long i = 0; i < n; i++) {
        const T f = std::fabs(p[i] - std::trunc(p[i]));
        upper[i] = (1 - f) * (1 - f);
        lower[i] = f * f;
        if (p[i] < 0)
            std::swap(upper[i], lower[i]);
        const auto visit = [&](int32_t offset) {
            cell[i] = plus(home[i], offset);
            fill_cell(x, n, cell, p, count, ranks);
            cell[i] = home[i];
        };
        if (upper[i] < farthest)
            visit(1);
        if (lower[i] < farthest)
            visit(-1);
    }
    lattice_walk step(n, -1, 1);
    do {
        long away = 0;
        T least = 0;
        for (long i = 0; i < n; i++) {
            away += step.offset[i] != 0;
            if (step.offset[i])
                least += step.offset[i] < 0 ? lower[i] : upper[i];
        }
        if (away < 2 || !(least < farthest))
            continue;
        for (long i = 0; i < n; i++)
            cell[i] = plus(home[i], step.offset[i]);
        fill_cell(x, n, cell, p, count, ranks);
    } while (step.next());
}

} // namespace

void vok_functor_noise_voronoi::init()
{
    tables.init(1024);
    features = 1;
    density = 5;
    distance = gensym("euclidean.squared");
    combiner = gensym("add");
    metric = gensym("distance");
    shape = gensym("random");
    make_ranks();
    make_distance();
}

void vok_functor_noise_voronoi::release()
{
    tables.release();
    clear(held);
    sysmem_freeptr(weight);
    sysmem_freeptr(exp);
}

vok_err vok_functor_noise_voronoi::make_ranks()
{
    for (double **array : {&weight, &exp}) {
        sysmem_freeptr(std::exchange(*array, nullptr));
        if (features > most_features)
            continue;
        *array = static_cast<double *>(sysmem_newptr(features * static_cast<long>(sizeof(double))));
        if (*array)
            std::fill_n(*array, features, 1.0);
    }
    return weight && exp ? VOK_ERR_NONE : VOK_ERR_INVP;
}

vok_err vok_functor_noise_voronoi::make_distance()
{
    const vok_err err = vok_functor_wrapper_init(&held, nullptr, distance);
    if (err) {
        clear(held);
        vok_object_error(this, "vok.functor.noise.voronoi: unable to create distance object '%s'.",
                         distance->name);
    }
    return err;
}

template <typename T> T vok_functor_noise_voronoi::eval(long n, const T *x)
{
    n = within(n);
    if (!valid(held) || lattice_walk::points(n, 3) > max_lattice_points || !tables.ready())
        return 0;
    const long count = std::min(features, most_ranks);
    feature<T> ranks[most_ranks];
    start<T>(ranks, count);
    for (long i = 0; i < count; i++) {
        ranks[i].weight = weight ? static_cast<T>(weight[i]) : 1;
        ranks[i].exp = exp ? static_cast<T>(exp[i]) : 1;
    }
    find(*this, n, x, count, ranks);
    return combine<T>(*this, count, ranks);
}

// Through float32 into the float64 rule.
fixed vok_functor_noise_voronoi::eval_fixed(long n, const fixed *x)
{
    n = within(n);
    double values[max_dimensions];
    for (long i = 0; i < n; i++)
        values[i] = static_cast<double>(static_cast<float>(x[i]) * static_cast<float>(from_fixed));
    return to_fixed(static_cast<float>(eval(n, values)));
}

vok_err vok_functor_noise_voronoi_features_init_float32(vok_functor_noise_voronoi_feature_float32 **slot,
                                                        long count)
{
    return make_ranks<float>(slot, count);
}

vok_err vok_functor_noise_voronoi_features_init_float64(vok_functor_noise_voronoi_feature **slot, long count)
{
    return make_ranks<double>(slot, count);
}

void vok_noise_voronoi_fillcell_float32(void *x, long dimcount, const int32_t *cell, const float *p, long count,
                                        vok_functor_noise_voronoi_feature_float32 *ranks)
{
    fill_cell<float>(*static_cast<vok_functor_noise_voronoi *>(x), within(dimcount), cell, p, count, ranks);
}

void vok_noise_voronoi_fillcell_float64(void *x, long dimcount, const int32_t *cell, const double *p, long count,
                                        vok_functor_noise_voronoi_feature *ranks)
{
    fill_cell<double>(*static_cast<vok_functor_noise_voronoi *>(x), within(dimcount), cell, p, count, ranks);
}

float vok_functor_noise_voronoi_combine_float32(void *x, long count,
                                                vok_functor_noise_voronoi_feature_float32 *ranks)
{
    return combine<float>(*static_cast<vok_functor_noise_voronoi *>(x), count, ranks);
}

double vok_functor_noise_voronoi_combine_float64(void *x, long count, vok_functor_noise_voronoi_feature *ranks)
{
    return combine<double>(*static_cast<vok_functor_noise_voronoi *>(x), count, ranks);
}

// ---- attributes ----

namespace {

using record = vok_functor_noise_voronoi;

// One of the class's words, or an error with the word, or without when there is none.
struct word_list {
    const char *const *words;
    size_t count;
    const char *error, *error_without;
};

vok_err take_word(record *x, symbol *record::*field, const word_list &list, long argc, atom *argv, size_t *index)
{
    if (!x)
        return VOK_ERR_INVP;
    symbol *word = argc > 0 && argv ? atom_getsym(argv) : nullptr;
    if (!word || !*word->name) {
        vok_object_error(x, "vok.functor.noise.voronoi: %s", list.error_without);
        return VOK_ERR_EROR;
    }
    for (size_t i = 0; i < list.count; i++)
        if (!std::strcmp(word->name, list.words[i])) {
            x->*field = word;
            *index = i;
            return VOK_ERR_NONE;
        }
    vok_object_error(x, "vok.functor.noise.voronoi: %s '%s'", list.error, word->name);
    return VOK_ERR_EROR;
}

vok_err set_combiner(record *x, void *, long argc, atom *argv)
{
    static constexpr const char *words[] = {"add", "+", "mult", "*"};
    size_t index;
    const vok_err err = take_word(x, &record::combiner,
                                  {words, std::size(words), "invalid combination operation specified",
                                   "invalid combination operation specified"},
                                  argc, argv, &index);
    if (!err)
        x->multiplies = index >= 2;
    return err;
}

vok_err set_metric(record *x, void *, long argc, atom *argv)
{
    static constexpr const char *words[] = {"distance", "id"};
    size_t index;
    const vok_err err =
        take_word(x, &record::metric,
                  {words, std::size(words), "invalid metric specified", "invalid metric operation specified"},
                  argc, argv, &index);
    if (!err)
        x->by_id = index == 1;
    return err;
}

vok_err set_shape(record *x, void *, long argc, atom *argv)
{
    static constexpr const char *words[] = {"random", "triangle", "square", "hexagon", "octagon"};
    size_t index;
    const vok_err err = take_word(x, &record::shape,
                                  {words, std::size(words), "invalid shape specified", "invalid shape specified"},
                                  argc, argv, &index);
    if (!err)
        x->placing = static_cast<record::placement>(index);
    return err;
}

vok_err set_features(record *x, void *, long argc, atom *argv)
{
    if (!x)
        return VOK_ERR_INVP;
    const long wanted = argc > 0 && argv ? atom_getlong(argv) : 0;
    if (wanted < 1) {
        vok_object_error(x, "vok.functor.noise.voronoi: invalid feature count specified");
        return VOK_ERR_EROR;
    }
    if (wanted == x->features)
        return VOK_ERR_NONE;
    x->features = wanted;
    return x->make_ranks();
}

// As many as there are ranks; the others keep their values.
template <double *record::*field> vok_err set_list(record *x, void *, long argc, atom *argv)
{
    if (!x || (argc > 0 && !argv))
        return VOK_ERR_INVP;
    for (long i = 0; x->*field && i < argc && i < x->features; i++)
        (x->*field)[i] = atom_getfloat(argv + i);
    return VOK_ERR_NONE;
}

template <double *record::*field> vok_err get_list(record *x, void *, long *argc, atom **argv)
{
    if (!x || !argc || !argv)
        return VOK_ERR_INVP;
    const long count = x->*field ? x->features : 0;
    if (const vok_err err = vok::reserve_atoms(count, argc, argv))
        return err;
    for (long i = 0; i < *argc; i++)
        atom_setfloat(*argv + i, (x->*field)[i]);
    return VOK_ERR_NONE;
}

} // namespace

VOKRA_FUNCTOR_ROWS(voronoi)

namespace vok::functor {

template <> constexpr const class_rows *rows_for<record> = &voronoi_rows;

constexpr attribute list(const char *name, function get, function set, const char *label)
{
    attribute row = number(name, "float64", 0, set, label);
    row.size = most_ranks;
    row.get = get;
    return row;
}

constexpr attribute word(const char *name, long offset, function set, const char *label, const char *values)
{
    attribute row = number(name, "symbol", offset, set, label);
    row.style = "enum";
    row.enumvals = values;
    return row;
}

template <>
constexpr auto attributes<record> = std::array{
    VOKRA_NOISE_FLAGS(record),
    VOKRA_NOISE_SEED(record),
    list("weight", fn<get_list<&record::weight>>, fn<set_list<&record::weight>>, "Weight"),
    list("exp", fn<get_list<&record::exp>>, fn<set_list<&record::exp>>, "Exponent"),
    VOKRA_NOISE_TABLESIZE(record),
    VOKRA_FUNCTOR_SYMBOL(record, distance, "Distance", &record::make_distance),
    word("combiner", offsetof(record, combiner), fn<set_combiner>, "Combiner", "add + mult *"),
    word("metric", offsetof(record, metric), fn<set_metric>, "Metric", "distance id"),
    word("shape", offsetof(record, shape), fn<set_shape>, "Shape", "random triangle square hexagon octagon"),
    number("features", "long", offsetof(record, features), fn<set_features>, "Features"),
    VOKRA_FUNCTOR_NUMBER(record, density, "Density"),
    VOKRA_FUNCTOR_FLAG(record, postsqrt, "Square Root Afterwards", nullptr)};

template <> constexpr auto roles<record> = std::array{role<record>{"distance", &record::held}};

} // namespace vok::functor

VOKRA_FUNCTOR(noise, voronoi, "voronoi")
