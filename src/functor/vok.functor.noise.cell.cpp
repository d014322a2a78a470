// Cells of one value each, and a checker board, smooth if wanted.
#include "functor/vok.functor.noise.records.h"

using namespace vok::functor;

template <typename T> T vok_functor_noise_cell::eval(long n, const T *x)
{
    if (!tables.ready())
        return 0;
    n = within(n);
    // a coordinate that should be whole may lie a little below
    constexpr T lift = std::is_same_v<T, float> ? T(1e-6f) : std::is_same_v<T, double> ? T(1e-7) : T(0);
    const int32_t k = hashed(
        n, [=](long i) { return cell_of(static_cast<T>(x[i] + lift)); }, tables.permutations, tables.mask32());
    return spread(*this, values_of<T>(tables.lattice)[k]);
}

fixed vok_functor_noise_cell::eval_fixed(long n, const fixed *x)
{
    return eval(n, x);
}

struct vok_functor_noise_checker {
    object header;
    long abs, sign;
    double smooth; // half of what was set, 0 to 1
    noise_tables tables;
    formats width;

    void init() { tables.init(1024); }
    void derive() { width.set(smooth); }
    void release() { tables.release(); }

    template <typename T> T eval(long n, const T *x) const
    {
        n = within(n);
        int32_t parity = 0;
        for (long i = 0; i < n; i++)
            parity ^= floored(x[i] + T(1e-7)) & 1;
        return narrowed(*this, smooth == 0 ? T(parity ? -1 : 1) : softened(n, x, parity));
    }
    // All cells are even: the bit that would tell lies in the fraction (deliberate).
    fixed eval_fixed(long n, const fixed *x) const
    {
        n = within(n);
        if (smooth == 0)
            return narrowed(*this, fixed{65536});
        float values[max_dimensions];
        for (long i = 0; i < n; i++)
            values[i] = static_cast<float>(x[i]) * static_cast<float>(from_fixed);
        return narrowed(*this, to_fixed(softened(n, values, 0)));
    }

  private:
    template <typename T> T softened(long n, const T *x, int32_t parity) const
    {
        const T s = width.as<T>();
        T v = 1;
        for (long i = 0; i < n; i++) {
            T f = x[i] - std::trunc(x[i]);
            if (f < 0)
                f += 1;
            v *= smooth_pulse(f, T(0), s, 1 - s, T(1));
        }
        return (parity ? -v : v) + T(0.5);
    }
};

namespace {

vok_err set_smooth(vok_functor_noise_checker *x, void *, long argc, atom *argv)
{
    if (!x || argc < 1 || !argv)
        return VOK_ERR_INVP;
    const double half = atom_getfloat(argv) / 2;
    if (half >= 0 && half <= 1) {
        x->smooth = half;
        x->derive();
    }
    return VOK_ERR_NONE;
}

} // namespace

VOKRA_FUNCTOR_ROWS(cell)

namespace vok::functor {

template <> constexpr const class_rows *rows_for<vok_functor_noise_cell> = &cell_rows;

template <>
constexpr auto attributes<vok_functor_noise_cell> =
    std::array{VOKRA_NOISE_FLAGS(vok_functor_noise_cell), VOKRA_NOISE_SEED(vok_functor_noise_cell)};

template <>
constexpr auto attributes<vok_functor_noise_checker> =
    std::array{VOKRA_NOISE_FLAGS(vok_functor_noise_checker), VOKRA_NOISE_SEED(vok_functor_noise_checker),
               number("smooth", "float64", offsetof(vok_functor_noise_checker, smooth), fn<set_smooth>, "Smooth")};

} // namespace vok::functor

VOKRA_FUNCTOR(noise, cell, "cell")
VOKRA_FUNCTOR(noise, checker, "checker")
