#include "numerical/eigen/sturm_kernels.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

constexpr std::size_t vectors = points_of_count / 4;
static_assert(points_of_count % 4 == 0);

} // namespace

void avx2_unfused_count_below(const sturm_sequence& t, const double* points, std::size_t* counts)
{
    const __m256d zero = _mm256_setzero_pd();
    __m256d x[vectors];
    __m256d pivots[vectors];
    __m256i below[vectors];
#pragma GCC unroll 3
    for (std::size_t v = 0; v < vectors; ++v) {
        x[v] = _mm256_loadu_pd(points + 4 * v);
        pivots[v] = _mm256_set1_pd(-__builtin_inf()); // the first pivot loses nothing
        below[v] = _mm256_setzero_si256();
    }
    __m256d square = _mm256_set1_pd(1);
    for (std::size_t i = 0; i < t.order; ++i) {
        const __m256d entry = _mm256_broadcast_sd(t.diagonal + i);
#pragma GCC unroll 3
        for (std::size_t v = 0; v < vectors; ++v) {
            pivots[v] = _mm256_sub_pd(_mm256_sub_pd(entry, x[v]), _mm256_div_pd(square, pivots[v]));
            const __m256d negative = _mm256_cmp_pd(pivots[v], zero, _CMP_LT_OQ);
            below[v] = _mm256_sub_epi64(below[v], _mm256_castpd_si256(negative));
        }
        square = _mm256_broadcast_sd(t.squares + i);
    }
#pragma GCC unroll 3
    for (std::size_t v = 0; v < vectors; ++v)
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(counts + 4 * v), below[v]);
}

} // namespace numerical::detail
