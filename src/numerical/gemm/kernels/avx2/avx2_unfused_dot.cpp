#include "numerical/gemm/kernels/dot.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

// The number at x and the one `apart` elements further.
__m256d with_other_run(const double* x, std::size_t apart)
{
    return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(x)), _mm_loadu_pd(x + apart),
                                1);
}

// Two products by the textbook formula, every part rounded.
__m256d products(__m256d x, __m256d y)
{
    const __m256d by_real = _mm256_mul_pd(x, _mm256_movedup_pd(y));
    const __m256d by_imag =
        _mm256_mul_pd(_mm256_permute_pd(x, 0b0101), _mm256_permute_pd(y, 0b1111));
    return _mm256_addsub_pd(by_real, by_imag);
}

} // namespace

void avx2_unfused_two_complex_dots(const double* a, const double* b, std::size_t n, double* out)
{
    __m256d sums = _mm256_setzero_pd();
    for (std::size_t i = 0; i < 2 * n; i += 2)
        sums = _mm256_add_pd(sums,
                             products(with_other_run(a + i, 2 * n), with_other_run(b + i, 2 * n)));
    _mm256_storeu_pd(out, sums);
}

} // namespace numerical::detail
