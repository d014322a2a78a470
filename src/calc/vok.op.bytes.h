// Quotients of bytes, many at a time. There is no vector division of integers, and one
// by float32 leaves the work to the divider, the slowest unit there is; a reciprocal
// does as well here. Included by the kernel file alone, inside its own namespace.

#if defined(__AVX512BW__)
#define VOKRA_MANY_BYTES

using u8s = u8 __attribute__((vector_size(64)));

// ceil(65536 / b). With it a * r[b] >> 16 is the truncated quotient for every pair: the
// excess a * (r[b] * b - 65536) is below 65536. No 16 bits hold r[1], which is left to
// the caller; r[0] is 0, and so is a quotient by 0.
struct reciprocals {
    unsigned short r[256];
};
constexpr reciprocals make_reciprocals()
{
    reciprocals t = {};
    for (u32 b = 2; b < 256; b++)
        t.r[b] = static_cast<unsigned short>((65536 + b - 1) / b);
    return t;
}
alignas(64) constexpr reciprocals reciprocal = make_reciprocals();

// Of 32 pairs of bytes in words. The table lies in eight registers.
[[gnu::always_inline]] inline __m512i quotients_of_words(__m512i a, __m512i b)
{
    const auto *t = reinterpret_cast<const __m512i *>(reciprocal.r);
    const __mmask32 bit6 = _mm512_test_epi16_mask(b, _mm512_set1_epi16(64));
    const __mmask32 bit7 = _mm512_test_epi16_mask(b, _mm512_set1_epi16(128));
    const __m512i low = _mm512_mask_mov_epi16(_mm512_permutex2var_epi16(t[0], b, t[1]), bit6,
                                              _mm512_permutex2var_epi16(t[2], b, t[3]));
    const __m512i high = _mm512_mask_mov_epi16(_mm512_permutex2var_epi16(t[4], b, t[5]), bit6,
                                               _mm512_permutex2var_epi16(t[6], b, t[7]));
    const __m512i r = _mm512_mask_mov_epi16(low, bit7, high);
    const __mmask32 by_one = _mm512_cmpeq_epi16_mask(b, _mm512_set1_epi16(1));
    return _mm512_mask_mov_epi16(_mm512_mulhi_epu16(a, r), by_one, a);
}

[[gnu::always_inline]] inline u8s quotients(u8s va, u8s vb)
{
    const __m512i a = reinterpret_cast<__m512i>(va), b = reinterpret_cast<__m512i>(vb);
    const __m512i even = _mm512_set1_epi16(255);
    const __m512i low = quotients_of_words(_mm512_and_si512(a, even), _mm512_and_si512(b, even));
    const __m512i high = quotients_of_words(_mm512_srli_epi16(a, 8), _mm512_srli_epi16(b, 8));
    return reinterpret_cast<u8s>(_mm512_or_si512(low, _mm512_slli_epi16(high, 8)));
}

#elif defined(__AVX2__)
#define VOKRA_MANY_BYTES

using u8s = u8 __attribute__((vector_size(32)));

// Quotients in fixed point: a * 257, which is a in both bytes of a word, times a reciprocal
// r of b, the unit of which is 2^-24 * 257, has the truncated quotient from bit 24 on when
// r is neither less than the exact reciprocal nor so much more that a quotient reaches the
// next integer. No 16 bits hold a reciprocal of 1 in simpler units.
constexpr f32 reciprocal_of_one = 16777216.f / 257 * 1.00048f, reciprocal_rounding = 0.47f;

// True if every estimate of 1 / b that is within 1.5 / 4096 of it, as the processor's are,
// is rounded to a reciprocal that gives the right quotients.
constexpr bool estimates_suffice()
{
    for (u32 b = 1; b < 256; b++)
        for (const f64 error : {-1.5 / 4096, 1.5 / 4096}) {
            const f64 r = reciprocal_of_one / f64(b) * (1 + error * 1.001) + f64(reciprocal_rounding);
            const u32 rounded = r < 65535 ? u32(r + 0.5) : 65535;
            for (u32 a = 1; a < 256; a++)
                if ((a * 257 * u64(rounded)) >> 24 != a / b)
                    return false;
        }
    return true;
}
static_assert(estimates_suffice());

// Of the bytes `from` to `from` + 3 of both halves, in 32 bits. Of 0 comes what the conversion
// makes of an infinity, the most negative number, which packs to 0: so a quotient by 0 is 0.
[[gnu::always_inline]] inline __m256i reciprocals(__m256i b, int from)
{
    constexpr int none = -0x7f7f8000; // for the other bytes of a byte's 32 bits
    const __m256i first =
        _mm256_setr_epi32(none, none + 1, none + 2, none + 3, none, none + 1, none + 2, none + 3);
    const __m256 x = _mm256_cvtepi32_ps(_mm256_shuffle_epi8(b, _mm256_add_epi32(first, _mm256_set1_epi32(from))));
    return _mm256_cvtps_epi32(
        _mm256_fmadd_ps(_mm256_rcp_ps(x), _mm256_set1_ps(reciprocal_of_one), _mm256_set1_ps(reciprocal_rounding)));
}

// Packing puts together what unpacking took apart, half by half.
[[gnu::always_inline]] inline u8s quotients(u8s va, u8s vb)
{
    const __m256i a = reinterpret_cast<__m256i>(va), b = reinterpret_cast<__m256i>(vb);
    const __m256i low =
        _mm256_mulhi_epu16(_mm256_unpacklo_epi8(a, a), _mm256_packus_epi32(reciprocals(b, 0), reciprocals(b, 4)));
    const __m256i high =
        _mm256_mulhi_epu16(_mm256_unpackhi_epi8(a, a), _mm256_packus_epi32(reciprocals(b, 8), reciprocals(b, 12)));
    return reinterpret_cast<u8s>(_mm256_packus_epi16(_mm256_srli_epi16(low, 8), _mm256_srli_epi16(high, 8)));
}

#else
using u8s = u8 __attribute__((vector_size(16))); // no body has a form for them
#endif

// The bodies that have a form for many bytes.
template <typename Op> struct many_bytes {
};
template <typename Op>
concept takes_many_bytes = requires(u8s v)
{
    many_bytes<Op>::of(v, v);
};
#ifdef VOKRA_MANY_BYTES
template <> struct many_bytes<quotient> {
    static u8s of(u8s a, u8s b) { return quotients(a, b); }
};
template <> struct many_bytes<remainder> {
    static u8s of(u8s a, u8s b) { return a - quotients(a, b) * b; }
};
template <takes_many_bytes Op> struct many_bytes<flip<Op>> {
    static u8s of(u8s a, u8s b) { return many_bytes<Op>::of(b, a); }
};
#endif

// As many elements as fill whole vectors, read as `at(p, i)` reads them; gives how many.
template <typename Op> long whole_vectors(long n, auto a, auto b, u8 *z)
{
    long i = 0;
    for (; i + static_cast<long>(sizeof(u8s)) <= n; i += sizeof(u8s)) {
        const u8s q = many_bytes<Op>::of(a(i), b(i));
        __builtin_memcpy(z + i, &q, sizeof q);
    }
    return i;
}

inline u8s load(const u8 *p)
{
    u8s v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}
