#include "peak.hpp"

#include <emmintrin.h>

namespace peak {

double portable_multiply_add(std::size_t turns)
{
    constexpr std::size_t chains = 12;
    const __m128d scale = _mm_set1_pd(0.5);
    const __m128d addend = _mm_set1_pd(1.0);
    __m128d sum[chains];
#pragma GCC unroll 16
    for (std::size_t i = 0; i < chains; ++i)
        sum[i] = _mm_set1_pd(static_cast<double>(i));
    for (std::size_t t = 0; t < turns; ++t)
#pragma GCC unroll 16
        for (std::size_t i = 0; i < chains; ++i)
            sum[i] = _mm_add_pd(_mm_mul_pd(sum[i], scale), addend);
    __m128d total = sum[0];
#pragma GCC unroll 16
    for (std::size_t i = 1; i < chains; ++i)
        total = _mm_add_pd(total, sum[i]);
    double lanes[2];
    _mm_storeu_pd(lanes, total);
    return lanes[0];
}

} // namespace peak
