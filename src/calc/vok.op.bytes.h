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

// Of 8 pairs. The processor's estimate of 1 / b is within 1.5 / 4096 of it, so
// (a + 1/2) / b is out by less than 1 / (8 b), and lies at least 1 / (2 b) from every
// integer: it truncates as the exact quotient does. By 0 comes what the conversion
// makes of an infinity, the most negative number, which packs to 0.
[[gnu::always_inline]] inline __m256i quotients_of_eight(__m128i a, __m128i b)
{
    const __m256 x = _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(a)), y = _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(b));
    return _mm256_cvttps_epi32(_mm256_mul_ps(_mm256_add_ps(x, _mm256_set1_ps(0.5f)), _mm256_rcp_ps(y)));
}

[[gnu::always_inline]] inline u8s quotients(u8s va, u8s vb)
{
    const __m256i a = reinterpret_cast<__m256i>(va), b = reinterpret_cast<__m256i>(vb);
    const __m128i al = _mm256_castsi256_si128(a), ah = _mm256_extracti128_si256(a, 1);
    const __m128i bl = _mm256_castsi256_si128(b), bh = _mm256_extracti128_si256(b, 1);
    const __m256i low = _mm256_packs_epi32(quotients_of_eight(al, bl),
                                           quotients_of_eight(_mm_srli_si128(al, 8), _mm_srli_si128(bl, 8)));
    const __m256i high = _mm256_packs_epi32(quotients_of_eight(ah, bh),
                                            quotients_of_eight(_mm_srli_si128(ah, 8), _mm_srli_si128(bh, 8)));
    // packing works in halves of the register: fours stand as 0 2 4 6 1 3 5 7
    return reinterpret_cast<u8s>(
        _mm256_permutevar8x32_epi32(_mm256_packus_epi16(low, high), _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
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
