// Square roots of float64 on AVX2. The divider, which calculates them, has half the width
// there that memory asks for, while the multipliers stand idle: they do every other vector
// by Newton's method, checked to the last bit. Included by the kernel file alone, inside
// its own namespace.

// As many results as there is a quicker way for, from the first on; gives how many.
template <typename Op, typename T> long ahead(long, const T *, T *)
{
    return 0;
}

#if defined(__AVX2__) && !defined(__AVX512F__)
// Goldschmidt's form of Newton's method from the processor's estimate of 12 bits, then two
// corrections by the residual x - g * g, which a fused multiply-add gives exactly. A g is the
// rounded root if its residual is less than g times the unit of its last place: the root is
// then less than half a unit off. Below a power of two the units are half as large, hence
// the 1 that is taken off. NaN, infinities, 0, negative and very large or small numbers never
// pass this; vectors with one that doesn't, or an undecided one, go to the divider.
[[gnu::always_inline]] inline __m256d root_by_steps(__m256d x)
{
    const __m256d half = _mm256_set1_pd(0.5);
    const __m256d estimate = _mm256_cvtps_pd(_mm_rsqrt_ps(_mm256_cvtpd_ps(x)));
    __m256d g = _mm256_mul_pd(x, estimate), h = _mm256_mul_pd(half, estimate);
    const __m256d error = _mm256_fnmadd_pd(g, h, half);
    g = _mm256_fmadd_pd(g, error, g), h = _mm256_fmadd_pd(h, error, h);
    g = _mm256_fmadd_pd(h, _mm256_fnmadd_pd(g, g, x), g);
    g = _mm256_fmadd_pd(h, _mm256_fnmadd_pd(g, g, x), g);

    const __m256i below = _mm256_sub_epi64(_mm256_castpd_si256(g), _mm256_set1_epi64x(1));
    const __m256d binade = _mm256_castsi256_pd(_mm256_and_si256(below, _mm256_set1_epi64x(0x7ff0000000000000)));
    const __m256d most = _mm256_mul_pd(g, _mm256_mul_pd(binade, _mm256_set1_pd(0x1p-52 * (1 - 0x1p-20))));
    const __m256d residual = _mm256_andnot_pd(_mm256_set1_pd(-0.0), _mm256_fnmadd_pd(g, g, x));
    const bool sure = _mm256_movemask_pd(_mm256_cmp_pd(residual, most, _CMP_LT_OQ)) == 15;
    return __builtin_expect(sure, true) ? g : _mm256_sqrt_pd(x);
}

template <> inline long ahead<root, f64>(long n, const f64 *a, f64 *z)
{
    long i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m256d first = _mm256_loadu_pd(a + i), second = _mm256_loadu_pd(a + i + 4);
        _mm256_storeu_pd(z + i, _mm256_sqrt_pd(first));
        _mm256_storeu_pd(z + i + 4, root_by_steps(second));
    }
    return i;
}
#endif
