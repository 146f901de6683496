#include "numerical/eigen/secular_kernels.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

inline __m256d linear_gap(__m256d d, __m256d origin)
{
    return _mm256_sub_pd(d, origin);
}

inline __m256d squared_gap(__m256d d, __m256d origin)
{
    return _mm256_mul_pd(_mm256_sub_pd(d, origin), _mm256_add_pd(d, origin));
}

template <__m256d (*gap)(__m256d, __m256d)>
inline void add_terms(const double* d, const double* z, std::size_t from, std::size_t to,
                      secular_lanes& lanes)
{
    const __m256d origin = _mm256_loadu_pd(lanes.origin);
    const __m256d tau = _mm256_loadu_pd(lanes.tau);
    __m256d value = _mm256_loadu_pd(lanes.value);
    __m256d slope = _mm256_loadu_pd(lanes.slope);
    for (std::size_t i = from; i < to; ++i) {
        const __m256d weight = _mm256_broadcast_sd(z + i);
        const __m256d distance = _mm256_sub_pd(gap(_mm256_broadcast_sd(d + i), origin), tau);
        const __m256d ratio = _mm256_div_pd(weight, distance);
        value = _mm256_add_pd(value, _mm256_mul_pd(weight, ratio));
        slope = _mm256_add_pd(slope, _mm256_mul_pd(ratio, ratio));
    }
    _mm256_storeu_pd(lanes.value, value);
    _mm256_storeu_pd(lanes.slope, slope);
}

} // namespace

void avx2_unfused_add_secular_terms(const double* d, const double* z, std::size_t from,
                                    std::size_t to, secular_lanes& lanes)
{
    add_terms<linear_gap>(d, z, from, to, lanes);
}

void avx2_unfused_add_squared_secular_terms(const double* d, const double* z, std::size_t from,
                                            std::size_t to, secular_lanes& lanes)
{
    add_terms<squared_gap>(d, z, from, to, lanes);
}

void avx2_unfused_add_paired_secular_terms(const double* d, const double* z, std::size_t from,
                                           std::size_t to, secular_lanes& lanes)
{
    const __m256d origin = _mm256_loadu_pd(lanes.origin);
    const __m256d tau = _mm256_loadu_pd(lanes.tau);
    const __m256d one = _mm256_set1_pd(1);
    __m256d value = _mm256_loadu_pd(lanes.value);
    __m256d slope = _mm256_loadu_pd(lanes.slope);
    std::size_t i = from;
    for (; i + 2 <= to; i += 2) {
        const __m256d zx = _mm256_broadcast_sd(z + i);
        const __m256d zy = _mm256_broadcast_sd(z + i + 1);
        const __m256d x = _mm256_sub_pd(linear_gap(_mm256_broadcast_sd(d + i), origin), tau);
        const __m256d y = _mm256_sub_pd(linear_gap(_mm256_broadcast_sd(d + i + 1), origin), tau);
        const __m256d inverse = _mm256_div_pd(one, _mm256_mul_pd(x, y));
        const __m256d over_x = _mm256_mul_pd(_mm256_mul_pd(zx, y), inverse);
        const __m256d over_y = _mm256_mul_pd(_mm256_mul_pd(zy, x), inverse);
        value = _mm256_add_pd(value, _mm256_mul_pd(zx, over_x));
        value = _mm256_add_pd(value, _mm256_mul_pd(zy, over_y));
        slope = _mm256_add_pd(slope, _mm256_mul_pd(over_x, over_x));
        slope = _mm256_add_pd(slope, _mm256_mul_pd(over_y, over_y));
    }
    _mm256_storeu_pd(lanes.value, value);
    _mm256_storeu_pd(lanes.slope, slope);
    add_terms<linear_gap>(d, z, i, to, lanes);
}

} // namespace numerical::detail
