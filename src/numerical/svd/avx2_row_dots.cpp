#include "numerical/svd/row_dots.hpp"

#include <immintrin.h>

// Built for AVX2 and FMA.

namespace numerical::detail {
namespace {

constexpr std::size_t width = 4;

// The four lanes' sums of four vectors, in order: ((0 + 1) + (2 + 3)) of each.
inline __m256d lane_sums(__m256d a, __m256d b, __m256d c, __m256d d)
{
    const __m256d ab = _mm256_hadd_pd(a, b);
    const __m256d cd = _mm256_hadd_pd(c, d);
    const __m256d low = _mm256_permute2f128_pd(ab, cd, 0x20);
    const __m256d high = _mm256_permute2f128_pd(ab, cd, 0x31);
    return _mm256_add_pd(low, high);
}

inline double lane_sum(__m256d a)
{
    double lane[width];
    _mm256_storeu_pd(lane, a);
    return (lane[0] + lane[1]) + (lane[2] + lane[3]);
}

inline double tail_dot(const double* a, const double* b, std::size_t from, std::size_t n)
{
    double sum = 0;
    for (std::size_t j = from; j < n; ++j)
        sum = __builtin_fma(a[j], b[j], sum);
    return sum;
}

inline double row_dot(const double* row, const double* x, std::size_t n)
{
    const std::size_t whole = n - n % width;
    __m256d sum = _mm256_setzero_pd();
    for (std::size_t j = 0; j < whole; j += width)
        sum = _mm256_fmadd_pd(_mm256_loadu_pd(row + j), _mm256_loadu_pd(x + j), sum);
    return lane_sum(sum) + tail_dot(row, x, whole, n);
}

} // namespace

void avx2_add_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                       const double* x, std::size_t n)
{
    const std::size_t whole = n - n % width;
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        const double* const r0 = rows + i * stride;
        const double* const r1 = r0 + stride;
        const double* const r2 = r1 + stride;
        const double* const r3 = r2 + stride;
        __m256d s0 = _mm256_setzero_pd();
        __m256d s1 = _mm256_setzero_pd();
        __m256d s2 = _mm256_setzero_pd();
        __m256d s3 = _mm256_setzero_pd();
        for (std::size_t j = 0; j < whole; j += width) {
            const __m256d with = _mm256_loadu_pd(x + j);
            s0 = _mm256_fmadd_pd(_mm256_loadu_pd(r0 + j), with, s0);
            s1 = _mm256_fmadd_pd(_mm256_loadu_pd(r1 + j), with, s1);
            s2 = _mm256_fmadd_pd(_mm256_loadu_pd(r2 + j), with, s2);
            s3 = _mm256_fmadd_pd(_mm256_loadu_pd(r3 + j), with, s3);
        }
        const __m256d tails = _mm256_setr_pd(tail_dot(r0, x, whole, n), tail_dot(r1, x, whole, n),
                                             tail_dot(r2, x, whole, n), tail_dot(r3, x, whole, n));
        const __m256d dots = _mm256_add_pd(lane_sums(s0, s1, s2, s3), tails);
        _mm256_storeu_pd(w + i, _mm256_add_pd(_mm256_loadu_pd(w + i), dots));
    }
    for (; i < count; ++i)
        w[i] += row_dot(rows + i * stride, x, n);
}

void avx2_add_row_dot_pairs(double* w, const double* rows, std::size_t stride, std::size_t count,
                            const double* x, const double* y, std::size_t n)
{
    const std::size_t whole = n - n % width;
    std::size_t i = 0;
    for (; i + 2 <= count; i += 2) {
        const double* const r0 = rows + i * stride;
        const double* const r1 = r0 + stride;
        __m256d x0 = _mm256_setzero_pd();
        __m256d y0 = _mm256_setzero_pd();
        __m256d x1 = _mm256_setzero_pd();
        __m256d y1 = _mm256_setzero_pd();
        for (std::size_t j = 0; j < whole; j += width) {
            const __m256d with_x = _mm256_loadu_pd(x + j);
            const __m256d with_y = _mm256_loadu_pd(y + j);
            const __m256d a0 = _mm256_loadu_pd(r0 + j);
            const __m256d a1 = _mm256_loadu_pd(r1 + j);
            x0 = _mm256_fmadd_pd(a0, with_x, x0);
            y0 = _mm256_fmadd_pd(a0, with_y, y0);
            x1 = _mm256_fmadd_pd(a1, with_x, x1);
            y1 = _mm256_fmadd_pd(a1, with_y, y1);
        }
        const __m256d tails = _mm256_setr_pd(tail_dot(r0, x, whole, n), tail_dot(r0, y, whole, n),
                                             tail_dot(r1, x, whole, n), tail_dot(r1, y, whole, n));
        const __m256d dots = _mm256_add_pd(lane_sums(x0, y0, x1, y1), tails);
        _mm256_storeu_pd(w + 2 * i, _mm256_add_pd(_mm256_loadu_pd(w + 2 * i), dots));
    }
    for (; i < count; ++i) {
        w[2 * i] += row_dot(rows + i * stride, x, n);
        w[2 * i + 1] += row_dot(rows + i * stride, y, n);
    }
}

} // namespace numerical::detail
