#include "numerical/factor/complex_loops.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

// The products of two pairs of complex numbers, textbook formula: `real` and `imag` hold each part
// of one factor twice.
inline __m256d product(__m256d real, __m256d imag, __m256d pair)
{
    const __m256d swapped = _mm256_permute_pd(pair, 0b0101);
    return _mm256_addsub_pd(_mm256_mul_pd(real, pair), _mm256_mul_pd(imag, swapped));
}

inline bool holds_nan(__m256d x)
{
    return _mm256_movemask_pd(_mm256_cmp_pd(x, x, _CMP_UNORD_Q)) != 0;
}

// The lower pair, then the upper one, added to the running sum of a row.
inline __m128d add_in_order(__m128d sum, __m256d products)
{
    sum = _mm_add_pd(sum, _mm256_castpd256_pd128(products));
    return _mm_add_pd(sum, _mm256_extractf128_pd(products, 1));
}

} // namespace

std::size_t avx2_unfused_multiply(double* z, const double* factors, std::size_t step, std::size_t n)
{
    const __m256d same = _mm256_broadcast_pd(reinterpret_cast<const __m128d*>(factors));
    std::size_t i = 0;
    for (; i + 2 <= n; i += 2) {
        const __m256d pair = step == 0 ? same : _mm256_loadu_pd(factors + 2 * i);
        const __m256d imag = _mm256_permute_pd(pair, 0b1111);
        const __m256d products = product(_mm256_movedup_pd(pair), imag, _mm256_loadu_pd(z + 2 * i));
        if (holds_nan(products))
            return i;
        _mm256_storeu_pd(z + 2 * i, products);
    }
    return i;
}

bool avx2_unfused_conjugate_dots(double* sums, const double* v, const double* rows,
                                 std::size_t row_stride, std::size_t n)
{
    const double* const row0 = rows;
    const double* const row1 = rows + 2 * row_stride;
    const double* const row2 = rows + 4 * row_stride;
    const double* const row3 = rows + 6 * row_stride;
    const __m256d sign = _mm256_set1_pd(-0.0);
    __m128d sum0 = _mm_setzero_pd();
    __m128d sum1 = _mm_setzero_pd();
    __m128d sum2 = _mm_setzero_pd();
    __m128d sum3 = _mm_setzero_pd();
    std::size_t i = 0;
    for (; i + 4 <= 2 * n; i += 4) {
        const __m256d pair = _mm256_loadu_pd(v + i);
        const __m256d real = _mm256_movedup_pd(pair);
        const __m256d imag = _mm256_xor_pd(_mm256_permute_pd(pair, 0b1111), sign);
        sum0 = add_in_order(sum0, product(real, imag, _mm256_loadu_pd(row0 + i)));
        sum1 = add_in_order(sum1, product(real, imag, _mm256_loadu_pd(row1 + i)));
        sum2 = add_in_order(sum2, product(real, imag, _mm256_loadu_pd(row2 + i)));
        sum3 = add_in_order(sum3, product(real, imag, _mm256_loadu_pd(row3 + i)));
    }
    if (i < 2 * n) {
        const __m256d real = _mm256_set1_pd(v[i]);
        const __m256d imag = _mm256_set1_pd(-v[i + 1]);
        const auto last = [&](const double* row) {
            const __m256d single = _mm256_castpd128_pd256(_mm_loadu_pd(row + i));
            return _mm256_castpd256_pd128(product(real, imag, single));
        };
        sum0 = _mm_add_pd(sum0, last(row0));
        sum1 = _mm_add_pd(sum1, last(row1));
        sum2 = _mm_add_pd(sum2, last(row2));
        sum3 = _mm_add_pd(sum3, last(row3));
    }
    _mm_storeu_pd(sums, sum0);
    _mm_storeu_pd(sums + 2, sum1);
    _mm_storeu_pd(sums + 4, sum2);
    _mm_storeu_pd(sums + 6, sum3);
    const __m128d all = _mm_add_pd(_mm_add_pd(sum0, sum1), _mm_add_pd(sum2, sum3));
    return _mm_movemask_pd(_mm_cmpunord_pd(all, all)) == 0;
}

} // namespace numerical::detail
