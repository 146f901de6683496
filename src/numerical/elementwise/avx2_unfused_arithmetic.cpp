#include "numerical/elementwise/arithmetic_kernels.hpp"

#include "numerical/elementwise/arithmetic_loops.hpp"
#include "numerical/elementwise/avx2_stream.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

// Two complex numbers at `p`, or one twice.
template <std::size_t step>
__m256d two_numbers(const double* p)
{
    if constexpr (step == 0)
        return _mm256_set_pd(p[1], p[0], p[1], p[0]);
    else
        return _mm256_loadu_pd(p);
}

// Of x = a + bi and y = c + di: (ac, ad) -+ (bd, bc).
__m256d products(__m256d x, __m256d y)
{
    const __m256d by_real = _mm256_mul_pd(_mm256_movedup_pd(x), y);
    const __m256d by_imag = _mm256_mul_pd(_mm256_permute_pd(x, 15), _mm256_permute_pd(y, 5));
    return _mm256_addsub_pd(by_real, by_imag);
}

struct product_loop
{
    template <std::size_t left_step, std::size_t right_step>
    static bool run(const double* left, const double* right, double* out, std::size_t n)
    {
        __m256d nan = _mm256_setzero_pd();
        std::size_t j = 0;
        for (; j + 2 <= n; j += 2) {
            const __m256d result = products(two_numbers<left_step>(left + 2 * j * left_step),
                                            two_numbers<right_step>(right + 2 * j * right_step));
            nan = _mm256_or_pd(nan, _mm256_cmp_pd(result, result, _CMP_UNORD_Q));
            _mm256_storeu_pd(out + 2 * j, result);
        }
        if (j < n) {
            const __m256d result = products(two_numbers<0>(left + 2 * j * left_step),
                                            two_numbers<0>(right + 2 * j * right_step));
            nan = _mm256_or_pd(nan, _mm256_cmp_pd(result, result, _CMP_UNORD_Q));
            _mm_storeu_pd(out + 2 * j, _mm256_castpd256_pd128(result));
        }
        return _mm256_movemask_pd(nan) != 0;
    }
};

} // namespace

constexpr arithmetic_kernels avx2_unfused_arithmetic = arithmetic_with<avx2_stream, product_loop>;

} // namespace numerical::detail
