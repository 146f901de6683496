#include "peak.hpp"

#include <immintrin.h>

namespace peak {

double avx2_fma(std::size_t turns)
{
    constexpr std::size_t chains = 12;
    const __m256d scale = _mm256_set1_pd(0.5);
    const __m256d addend = _mm256_set1_pd(1.0);
    __m256d sum[chains];
#pragma GCC unroll 16
    for (std::size_t i = 0; i < chains; ++i)
        sum[i] = _mm256_set1_pd(static_cast<double>(i));
    for (std::size_t t = 0; t < turns; ++t)
#pragma GCC unroll 16
        for (std::size_t i = 0; i < chains; ++i)
            sum[i] = _mm256_fmadd_pd(sum[i], scale, addend);
    __m256d total = sum[0];
#pragma GCC unroll 16
    for (std::size_t i = 1; i < chains; ++i)
        total = _mm256_add_pd(total, sum[i]);
    double lanes[4];
    _mm256_storeu_pd(lanes, total);
    return lanes[0];
}

} // namespace peak
