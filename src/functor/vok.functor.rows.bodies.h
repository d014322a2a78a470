// What the row forms of noises and fractals share. Included inside the anonymous namespace
// of a kernel file, behind vok.functor.bodies.h. No include may stand here.
//
// Along a row only the first coordinate moves, so what a lattice cell gives is worked out
// once for the span of cells that lie in it. Arithmetic runs over whole vectors, also where a
// span is shorter: what lies beyond its end is overwritten by the next one.

#if defined(__GNUC__) && !defined(__clang__)
#define VOKRA_INDEPENDENT _Pragma("GCC ivdep")
#else
#define VOKRA_INDEPENDENT
#endif

constexpr long most = 256;                                   // cells that are worked on at once
template <typename T> constexpr long lanes = 64 / sizeof(T); // of a vector

// Room for a block, and for the vector that begins at its last cell.
template <typename T> struct alignas(64) block {
    T v[most + lanes<float>];
    T &operator[](long i) { return v[i]; }
    const T &operator[](long i) const { return v[i]; }
};

// Where something changes along a block.
struct alignas(64) spans {
    uint8_t changed[most]; // whether cell i differs from the one before
    uint16_t start[most + 1];
    long count;

    // From `changed`; the end of the block stands behind the last start.
    void list(long n)
    {
        count = 0;
        changed[0] = 1;
        for (long i = n; i % 8; i++)
            changed[i] = 0;
        for (long i = 0; i < n; i += 8) {
            uint64_t eight;
            __builtin_memcpy(&eight, changed + i, 8);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
            eight = __builtin_bswap64(eight);
#endif
            for (; eight; eight &= eight - 1)
                start[count++] = static_cast<uint16_t>(i + (__builtin_ctzll(eight) >> 3));
        }
        start[count] = static_cast<uint16_t>(n);
    }
};

template <typename T> void split_block(long n, const T *x, block<int32_t> &cell, block<T> &fraction)
{
    VOKRA_INDEPENDENT
    for (long i = 0; i < n; i++) {
        const int32_t c = floored(x[i]);
        cell[i] = c;
        fraction[i] = x[i] - static_cast<T>(c);
    }
    for (long i = n; i < n + lanes<T>; i++) {
        cell[i] = 0;
        fraction[i] = 0;
    }
}

// Values of -1 to 1 into 0 to 1 unless `sign`.
template <typename T> void narrow_block(long n, const T *in, T *out, bool sign, bool abs)
{
    VOKRA_INDEPENDENT
    for (long i = 0; i < n; i++) {
        const T v = sign ? in[i] : in[i] * T(0.5) + T(0.5);
        out[i] = abs ? absolute(v) : v;
    }
}

// Values of 0 to 1 into -1 to 1 if `sign`.
template <typename T> void spread_block(long n, const T *in, T *out, bool sign, bool abs)
{
    VOKRA_INDEPENDENT
    for (long i = 0; i < n; i++) {
        const T v = sign ? 2 * in[i] - 1 : in[i];
        out[i] = abs ? absolute(v) : v;
    }
}

// The numbers of T that a table or a parameter holds beside those of the other format.
template <typename T, typename Held> const T *in(const Held &held)
{
    if constexpr (sizeof(T) == 4)
        return held.float32;
    else
        return held.float64;
}

// A class's rule in both formats.
struct rule {
    vok_functor_eval_float32_fn float32;
    vok_functor_eval_float64_fn float64;
};
#define VOKRA_RULE(name)                                                                                          \
    rule                                                                                                          \
    {                                                                                                             \
        vok_functor_##name##_eval_float32, vok_functor_##name##_eval_float64                                      \
    }

// Cell by cell, for what a row form leaves to the rule.
template <typename T>
void rule_row(void *x, long n, long dimcount, const T *first, const T *others, T *values, const rule &r)
{
    T at[32] = {};
    for (long d = 1; d < dimcount && d < 32; d++)
        at[d] = others[d - 1];
    for (long i = 0; i < n; i++) {
        at[0] = first[i];
        if constexpr (sizeof(T) == 4)
            values[i] = r.float32(x, dimcount, at);
        else
            values[i] = r.float64(x, dimcount, at);
    }
}

// A row of a held functor: its own row form on this instruction set, else by its rule.
constexpr size_t this_isa = static_cast<size_t>(vok::isa::VOKRA_ISA);

template <typename T>
void held_row(const vok_functor_wrapper &held, long n, long dimcount, const T *first, const T *others, T *values)
{
    const class_rows *rows = reinterpret_cast<const interface_record *>(held.interface)->rows;
    const row_forms *forms = rows ? reinterpret_cast<const row_forms *const *>(rows)[this_isa] : nullptr;
    if (forms) {
        if constexpr (sizeof(T) == 4) {
            if (forms->in_float32)
                return forms->in_float32(held.object, n, dimcount, first, others, values);
        } else if (forms->in_float64) {
            return forms->in_float64(held.object, n, dimcount, first, others, values);
        }
    }
    rule_row(held.object, n, dimcount, first, others, values,
             {held.interface->evalfloat32, held.interface->evalfloat64});
}
