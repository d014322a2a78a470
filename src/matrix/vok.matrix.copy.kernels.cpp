// The per-row kernels of a matrix copy, compiled once per instruction set: plain
// loops that the compiler makes vectors of, and intrinsics where it doesn't find them.
// No inline function of a shared header may be called here.
#include "matrix/copy_kernels.h"

#if defined(__SSSE3__)
// some versions of this header leave a don't-care operand uninitialised
#pragma GCC diagnostic ignored "-Wuninitialized"
#if !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>
#endif

namespace vok::copy::VOKRA_ISA {
namespace {

// An element at any address.
template <class T> struct __attribute__((packed, may_alias)) loose {
    T value;
};

template <class T> const loose<T> *elements(const void *p)
{
    return static_cast<const loose<T> *>(p);
}

template <class T> loose<T> *elements(void *p)
{
    return static_cast<loose<T> *>(p);
}

// ---- types ----

template <class D, class S> void convert(void *dst, const void *src, long n)
{
    loose<D> *__restrict d = elements<D>(dst);
    const loose<S> *__restrict s = elements<S>(src);
    for (long i = 0; i < n; i++)
        d[i].value = rule<D>::from(s[i].value);
}

// Floating point to char, in two steps a block: in one the compiler pulls the clipped
// values through the multiplication, and branches.
template <class S> void convert_unit(void *dst, const void *src, long n)
{
    constexpr long block = 64;
    uint8_t *__restrict d = static_cast<uint8_t *>(dst);
    const loose<S> *__restrict s = elements<S>(src);
    S unit[block];
    for (; n >= block; n -= block, d += block, s += block) {
        for (long i = 0; i < block; i++)
            unit[i] = clipped(s[i].value);
        for (long i = 0; i < block; i++)
            d[i] = static_cast<uint8_t>(static_cast<int32_t>(unit[i] * S{255}));
    }
    for (long i = 0; i < n; i++)
        d[i] = byte_of_unit(s[i].value);
}

template <long bytes> void move(void *dst, const void *src, long n)
{
    __builtin_memcpy(dst, src, static_cast<unsigned long>(n * bytes));
}

// ---- collecting and scattering ----

template <long bytes> void chunk(void *dst, const unsigned char *row, const collect_job *job)
{
    auto *d = static_cast<unsigned char *>(dst);
    const int32_t *offset = job->offset;
    for (long i = 0; i < job->n; i++, d += bytes)
        __builtin_memcpy(d, row + offset[i], bytes);
}

// Cells of four bytes, side by side in the source or a whole number of words apart:
// a vector of them comes out of a few loads of the words that they lie in. Offsets
// rise or fall throughout, so the first and the last of a group are its limits.
#if defined(__AVX512BW__)
void chunk_word(void *dst, const unsigned char *row, const collect_job *job)
{
    auto *d = static_cast<unsigned char *>(dst);
    const int32_t *offset = job->offset;
    long i = 0;
    for (; i + 16 <= job->n; i += 16, d += 64) {
        const int32_t first = offset[i], last = offset[i + 15];
        const int32_t low = first < last ? first : last;
        const int32_t words = ((first < last ? last - first : first - last) >> 2) + 1; // up to the last one used
        const unsigned char *from = row + low;
        const __m512i which =
            _mm512_srli_epi32(_mm512_sub_epi32(_mm512_loadu_si512(offset + i), _mm512_set1_epi32(low)), 2);
        if (words <= 16) {
            const __m512i a = _mm512_maskz_loadu_epi32(static_cast<__mmask16>(0xFFFFu >> (16 - words)), from);
            _mm512_storeu_si512(d, _mm512_permutexvar_epi32(which, a));
        } else if (words <= 32) {
            const __m512i a = _mm512_loadu_si512(from);
            const __m512i b = _mm512_maskz_loadu_epi32(static_cast<__mmask16>(0xFFFFu >> (32 - words)), from + 64);
            _mm512_storeu_si512(d, _mm512_permutex2var_epi32(a, which, b));
        } else if (words <= 64) {
            const __m512i a = _mm512_loadu_si512(from), b = _mm512_loadu_si512(from + 64);
            const uint32_t rest = 0xFFFFFFFFu >> (64 - words);
            const __m512i c = _mm512_maskz_loadu_epi32(static_cast<__mmask16>(rest & 0xFFFF), from + 128);
            const __m512i e = _mm512_maskz_loadu_epi32(static_cast<__mmask16>(rest >> 16), from + 192);
            const __mmask16 upper = _mm512_cmpge_epi32_mask(which, _mm512_set1_epi32(32));
            _mm512_storeu_si512(d, _mm512_mask_blend_epi32(upper, _mm512_permutex2var_epi32(a, which, b),
                                                           _mm512_permutex2var_epi32(c, which, e)));
        } else {
            for (long k = 0; k < 16; k++)
                __builtin_memcpy(d + 4 * k, row + offset[i + k], 4);
        }
    }
    for (; i < job->n; i++, d += 4)
        __builtin_memcpy(d, row + offset[i], 4);
}
#elif defined(__AVX2__)
void chunk_word(void *dst, const unsigned char *row, const collect_job *job)
{
    auto *d = static_cast<unsigned char *>(dst);
    const int32_t *offset = job->offset;
    const __m256i lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    long i = 0;
    for (; i + 8 <= job->n; i += 8, d += 32) {
        const int32_t first = offset[i], last = offset[i + 7];
        const int32_t low = first < last ? first : last;
        const int32_t words = ((first < last ? last - first : first - last) >> 2) + 1;
        if (words > 8) {
            for (long k = 0; k < 8; k++)
                __builtin_memcpy(d + 4 * k, row + offset[i + k], 4);
            continue;
        }
        const __m256i which =
            _mm256_srli_epi32(_mm256_sub_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(offset + i)),
                                               _mm256_set1_epi32(low)),
                              2);
        const __m256i a = _mm256_maskload_epi32(reinterpret_cast<const int *>(row + low),
                                                _mm256_cmpgt_epi32(_mm256_set1_epi32(words), lanes));
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(d), _mm256_permutevar8x32_epi32(a, which));
    }
    for (; i < job->n; i++, d += 4)
        __builtin_memcpy(d, row + offset[i], 4);
}
#else
constexpr collect_function *chunk_word = chunk<4>;
#endif

void chunk_any(void *dst, const unsigned char *row, const collect_job *job)
{
    auto *d = static_cast<unsigned char *>(dst);
    for (long i = 0; i < job->n; i++, d += job->bytes)
        __builtin_memcpy(d, row + job->offset[i], static_cast<unsigned long>(job->bytes));
}

template <class T> void planes(void *dst, const unsigned char *row, const collect_job *job)
{
    loose<T> *__restrict d = elements<T>(dst);
    if (job->planes == 4) {
        const int32_t p0 = job->plane_offset[0], p1 = job->plane_offset[1];
        const int32_t p2 = job->plane_offset[2], p3 = job->plane_offset[3];
        for (long i = 0; i < job->n; i++, d += 4) {
            const unsigned char *cell = row + job->offset[i];
            const T a = elements<T>(cell + p0)->value, b = elements<T>(cell + p1)->value;
            const T c = elements<T>(cell + p2)->value, e = elements<T>(cell + p3)->value;
            d[0].value = a;
            d[1].value = b;
            d[2].value = c;
            d[3].value = e;
        }
        return;
    }
    for (long i = 0; i < job->n; i++) {
        const unsigned char *cell = row + job->offset[i];
        for (long k = 0; k < job->planes; k++)
            (d++)->value = elements<T>(cell + job->plane_offset[k])->value;
    }
}

template <class T> void scatter(void *dst, long cell, const void *src, long n, const long *plane, long count)
{
    auto *out = static_cast<unsigned char *>(dst);
    const loose<T> *s = elements<T>(src);
    if (count == 1) {
        out += plane[0] * long{sizeof(T)};
        for (long i = 0; i < n; i++, out += cell)
            elements<T>(out)->value = s[i].value;
        return;
    }
    if (count == 3) {
        const long p0 = plane[0], p1 = plane[1], p2 = plane[2];
        for (long i = 0; i < n; i++, out += cell, s += 3) {
            elements<T>(out)[p0].value = s[0].value;
            elements<T>(out)[p1].value = s[1].value;
            elements<T>(out)[p2].value = s[2].value;
        }
        return;
    }
    for (long i = 0; i < n; i++, out += cell)
        for (long k = 0; k < count; k++)
            elements<T>(out)[plane[k]].value = (s++)->value;
}

void shuffle4(void *dst, const void *src, long n, const uint8_t *order)
{
    auto *d = static_cast<unsigned char *>(dst);
    auto *s = static_cast<const unsigned char *>(src);
    long i = 0;
#if defined(__SSSE3__)
    alignas(64) uint8_t control[64];
    for (int k = 0; k < 64; k++)
        control[k] = static_cast<uint8_t>((k & 12) | order[k & 3]);
#if defined(__AVX512BW__)
    const __m512i by64 = _mm512_load_si512(control);
    for (; i + 16 <= n; i += 16)
        _mm512_storeu_si512(d + 4 * i, _mm512_shuffle_epi8(_mm512_loadu_si512(s + 4 * i), by64));
#elif defined(__AVX2__)
    const __m256i by32 = _mm256_load_si256(reinterpret_cast<const __m256i *>(control));
    for (; i + 8 <= n; i += 8)
        _mm256_storeu_si256(
            reinterpret_cast<__m256i *>(d + 4 * i),
            _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(s + 4 * i)), by32));
#endif
    const __m128i by = _mm_load_si128(reinterpret_cast<const __m128i *>(control));
    for (; i + 4 <= n; i += 4)
        _mm_storeu_si128(reinterpret_cast<__m128i *>(d + 4 * i),
                         _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(s + 4 * i)), by));
#endif
    for (; i < n; i++) {
        uint8_t cell[4];
        __builtin_memcpy(cell, s + 4 * i, 4);
        for (int k = 0; k < 4; k++)
            d[4 * i + k] = cell[order[k]];
    }
}

void spread4(void *dst, const void *src, long n)
{
    loose<uint32_t> *__restrict d = elements<uint32_t>(dst);
    const uint8_t *__restrict s = static_cast<const uint8_t *>(src);
    for (long i = 0; i < n; i++)
        d[i].value = s[i] * 0x01010101u;
}

// ---- interpolation in fixed point ----

void fixed_columns(uint16_t *__restrict sum, const uint8_t *__restrict a, const uint8_t *__restrict b,
                   const uint16_t *__restrict w0, const uint16_t *__restrict w1, long n)
{
    // 255 * 256 fits 16 bits
    for (long i = 0; i < n; i++)
        sum[i] = static_cast<uint16_t>(a[i] * w0[i] + b[i] * w1[i]);
}

template <class D>
void fixed_rows(void *dst, const uint16_t *__restrict sum0, const uint16_t *__restrict sum1, uint32_t weight0,
                uint32_t weight1, long n)
{
    loose<D> *__restrict d = elements<D>(dst);
    for (long i = 0; i < n; i++)
        d[i].value = fixed_rule<D>::from(sum0[i] * weight0 + sum1[i] * weight1);
}

// The same for char in 16-bit lanes: the two bytes of the sums apart. 255 * 256 fits,
// and so does the carry that the low bytes bring.
void fixed_rows_char(void *dst, const uint16_t *__restrict sum0, const uint16_t *__restrict sum1, uint32_t weight0,
                     uint32_t weight1, long n)
{
    uint8_t *__restrict d = static_cast<uint8_t *>(dst);
    const auto w0 = static_cast<uint16_t>(weight0), w1 = static_cast<uint16_t>(weight1);
    for (long i = 0; i < n; i++) {
        const auto high = static_cast<uint16_t>((sum0[i] >> 8) * w0 + (sum1[i] >> 8) * w1);
        const auto low = static_cast<uint16_t>((sum0[i] & 255) * w0 + (sum1[i] & 255) * w1);
        d[i] = static_cast<uint8_t>(static_cast<uint16_t>(high + (low >> 8)) >> 8);
    }
}

// ---- interpolation in double ----

template <class S>
void double_columns(double *__restrict product0, double *__restrict product1, const void *a, const void *b,
                    const double *__restrict s0, const double *__restrict s1, long n)
{
    const loose<S> *__restrict from0 = elements<S>(a);
    const loose<S> *__restrict from1 = elements<S>(b);
    for (long i = 0; i < n; i++) {
        product0[i] = from0[i].value * s0[i];
        product1[i] = from1[i].value * s1[i];
    }
}

template <class D, class S>
void double_rows(void *dst, const double *const rows[4], double share0, double share1, long n)
{
    loose<D> *__restrict d = elements<D>(dst);
    const double *a = rows[0], *b = rows[1], *c = rows[2], *e = rows[3];
    for (long i = 0; i < n; i++)
        d[i].value = double_rule<D, S>::from(a[i] * share0 + b[i] * share0 + c[i] * share1 + e[i] * share1);
}

#define BY_SOURCE(function, D)                                                                                    \
    {                                                                                                             \
        function<D, uint8_t>, function<D, int32_t>, function<D, float>, function<D, double>                       \
    }

} // namespace

extern const kernels table;
const kernels table = {
    .convert = {{move<1>, convert<uint8_t, int32_t>, convert_unit<float>, convert_unit<double>},
                {convert<int32_t, uint8_t>, move<4>, convert<int32_t, float>, convert<int32_t, double>},
                {convert<float, uint8_t>, convert<float, int32_t>, move<4>, convert<float, double>},
                {convert<double, uint8_t>, convert<double, int32_t>, convert<double, float>, move<8>}},
    .chunk = {chunk_any, chunk<1>, chunk<2>, chunk<3>,  chunk<4>, nullptr,  chunk<6>,  nullptr,   chunk<8>,
              nullptr,   nullptr,  nullptr,  chunk<12>, nullptr,  nullptr,  nullptr,   chunk<16>, nullptr,
              nullptr,   nullptr,  nullptr,  nullptr,   nullptr,  nullptr,  chunk<24>, nullptr,   nullptr,
              nullptr,   nullptr,  nullptr,  nullptr,   nullptr,  chunk<32>},
    .chunk_word = chunk_word,
    .planes = {planes<uint8_t>, planes<uint32_t>, planes<uint32_t>, planes<uint64_t>},
    .scatter = {scatter<uint8_t>, scatter<uint32_t>, scatter<uint32_t>, scatter<uint64_t>},
    .shuffle4 = shuffle4,
    .spread4 = spread4,
    .fixed_columns = fixed_columns,
    .fixed_rows = {fixed_rows_char, fixed_rows<int32_t>, fixed_rows<float>, fixed_rows<double>},
    .double_columns = {double_columns<uint8_t>, double_columns<int32_t>, double_columns<float>,
                       double_columns<double>},
    .double_rows = {BY_SOURCE(double_rows, uint8_t), BY_SOURCE(double_rows, int32_t),
                    BY_SOURCE(double_rows, float), BY_SOURCE(double_rows, double)},
};

} // namespace vok::copy::VOKRA_ISA
