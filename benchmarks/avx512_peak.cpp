#include "peak.hpp"

#include <immintrin.h>

namespace peak {

double avx512_fma(std::size_t turns)
{
    constexpr std::size_t chains = 16;
    const __m512d scale = _mm512_set1_pd(0.5);
    const __m512d addend = _mm512_set1_pd(1.0);
    __m512d sum[chains];
#pragma GCC unroll 16
    for (std::size_t i = 0; i < chains; ++i)
        sum[i] = _mm512_set1_pd(static_cast<double>(i));
    for (std::size_t t = 0; t < turns; ++t)
#pragma GCC unroll 16
        for (std::size_t i = 0; i < chains; ++i)
            sum[i] = _mm512_fmadd_pd(sum[i], scale, addend);
    __m512d total = sum[0];
#pragma GCC unroll 16
    for (std::size_t i = 1; i < chains; ++i)
        total = _mm512_add_pd(total, sum[i]);
    double lanes[8];
    _mm512_storeu_pd(lanes, total);
    return lanes[0];
}

} // namespace peak
