#include "numerical/svd/row_dots.hpp"

#include <immintrin.h>

// Built for AVX2 without FMA. A row is a lane: four rows are turned into columns in registers.

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
void row_dots(double* w, const double* rows, std::size_t stride, const double* x, std::size_t n)
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

} // namespace

void avx2_ascending_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                             const double* x, std::size_t n)
{
    std::size_t i = 0;
    for (; i + 4 * width <= count; i += 4 * width)
        row_dots<4>(w + i, rows + i * stride, stride, x, n);
    for (; i + 2 * width <= count; i += 2 * width)
        row_dots<2>(w + i, rows + i * stride, stride, x, n);
    for (; i + width <= count; i += width)
        row_dots<1>(w + i, rows + i * stride, stride, x, n);
    for (; i < count; ++i) {
        double sum = 0;
        for (std::size_t j = 0; j < n; ++j)
            sum += rows[i * stride + j] * x[j];
        w[i] = sum;
    }
}

} // namespace numerical::detail
