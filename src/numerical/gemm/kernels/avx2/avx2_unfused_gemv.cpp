#include "numerical/gemm/kernels/gemv_unfused.hpp"

#include <immintrin.h>

// Built for AVX2 without FMA. A real row is a lane: four rows are turned into columns in registers.

namespace numerical::detail {
namespace {

constexpr std::size_t width = 4;

// Four columns of four rows.
struct columns
{
    __m256d c0;
    __m256d c1;
    __m256d c2;
    __m256d c3;
};

inline columns load_columns(const double* rows, std::size_t stride)
{
    const __m256d r0 = _mm256_loadu_pd(rows);
    const __m256d r1 = _mm256_loadu_pd(rows + stride);
    const __m256d r2 = _mm256_loadu_pd(rows + 2 * stride);
    const __m256d r3 = _mm256_loadu_pd(rows + 3 * stride);
    const __m256d low01 = _mm256_unpacklo_pd(r0, r1);
    const __m256d high01 = _mm256_unpackhi_pd(r0, r1);
    const __m256d low23 = _mm256_unpacklo_pd(r2, r3);
    const __m256d high23 = _mm256_unpackhi_pd(r2, r3);
    return {
        _mm256_permute2f128_pd(low01, low23, 0x20), _mm256_permute2f128_pd(high01, high23, 0x20),
        _mm256_permute2f128_pd(low01, low23, 0x31), _mm256_permute2f128_pd(high01, high23, 0x31)};
}

inline void add(__m256d& sum, const columns& of, const double* x)
{
    sum = _mm256_add_pd(sum, _mm256_mul_pd(of.c0, _mm256_broadcast_sd(x)));
    sum = _mm256_add_pd(sum, _mm256_mul_pd(of.c1, _mm256_broadcast_sd(x + 1)));
    sum = _mm256_add_pd(sum, _mm256_mul_pd(of.c2, _mm256_broadcast_sd(x + 2)));
    sum = _mm256_add_pd(sum, _mm256_mul_pd(of.c3, _mm256_broadcast_sd(x + 3)));
}

// `groups` groups of four rows, whose sums wait for each other's additions only.
template <std::size_t groups>
void dots_of_groups(double* w, const double* rows, std::size_t stride, const double* x,
                    std::size_t n)
{
    __m256d sum[groups];
#pragma GCC unroll 4
    for (std::size_t g = 0; g < groups; ++g)
        sum[g] = _mm256_setzero_pd();
    const std::size_t whole = n - n % width;
    for (std::size_t j = 0; j < whole; j += width)
#pragma GCC unroll 4
        for (std::size_t g = 0; g < groups; ++g)
            add(sum[g], load_columns(rows + g * width * stride + j, stride), x + j);
    for (std::size_t g = 0; g < groups; ++g)
        _mm256_storeu_pd(w + g * width, sum[g]);
    for (std::size_t i = 0; i < groups * width; ++i)
        for (std::size_t j = whole; j < n; ++j)
            w[i] += rows[i * stride + j] * x[j];
}

// The products of two pairs of complex numbers, textbook formula: `real` and `imag` hold each part
// of one factor twice.
inline __m256d product(__m256d real, __m256d imag, __m256d pair)
{
    const __m256d swapped = _mm256_permute_pd(pair, 0b0101);
    return _mm256_addsub_pd(_mm256_mul_pd(real, pair), _mm256_mul_pd(imag, swapped));
}

// The lower pair, then the upper one, added to the running sum of a row.
inline __m128d add_in_order(__m128d sum, __m256d products)
{
    sum = _mm_add_pd(sum, _mm256_castpd256_pd128(products));
    return _mm_add_pd(sum, _mm256_extractf128_pd(products, 1));
}

} // namespace

void avx2_unfused_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                           const double* x, std::size_t n)
{
    std::size_t i = 0;
    for (; i + 4 * width <= count; i += 4 * width)
        dots_of_groups<4>(w + i, rows + i * stride, stride, x, n);
    for (; i + 2 * width <= count; i += 2 * width)
        dots_of_groups<2>(w + i, rows + i * stride, stride, x, n);
    for (; i + width <= count; i += width)
        dots_of_groups<1>(w + i, rows + i * stride, stride, x, n);
    for (; i < count; ++i) {
        double sum = 0;
        for (std::size_t j = 0; j < n; ++j)
            sum += rows[i * stride + j] * x[j];
        w[i] = sum;
    }
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
