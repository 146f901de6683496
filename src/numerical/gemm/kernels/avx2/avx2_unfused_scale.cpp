#include "numerical/gemm/kernels/scale.hpp"

#include "numerical/gemm/kernels/lanes/avx2.hpp"

// Built without -mfma: a quotient rounds its products and its sums, as the scalar one does.

namespace numerical::detail {
namespace {

inline bool all_ordinary(__m256d x)
{
    const __m256d size = _mm256_andnot_pd(_mm256_set1_pd(-0.0), x);
    const __m256d zero = _mm256_cmp_pd(size, _mm256_setzero_pd(), _CMP_EQ_OQ);
    const __m256d large = _mm256_cmp_pd(size, _mm256_set1_pd(least_ordinary), _CMP_GE_OQ);
    const __m256d small = _mm256_cmp_pd(size, _mm256_set1_pd(greatest_ordinary), _CMP_LE_OQ);
    return _mm256_movemask_pd(_mm256_or_pd(zero, _mm256_and_pd(large, small))) == 0xF;
}

// (a, b) + (b·r, -a·r), or (b, -a) + (a·r, b·r): in both the second is the first with its parts
// exchanged, times r with signs.
template <bool by_real>
std::size_t divide_pairs(double* z, double ratio, double scale, std::size_t n)
{
    const __m256d signs = _mm256_setr_pd(0.0, -0.0, 0.0, -0.0);
    const __m256d ratios = by_real ? _mm256_setr_pd(ratio, -ratio, ratio, -ratio)
                                   : _mm256_setr_pd(-ratio, ratio, -ratio, ratio);
    const __m256d scales = _mm256_set1_pd(scale);
    std::size_t i = 0;
    for (; i + 2 <= n; i += 2) {
        __m256d first = _mm256_loadu_pd(z + 2 * i);
        if (!all_ordinary(first))
            return i;
        if constexpr (!by_real)
            first = _mm256_xor_pd(_mm256_permute_pd(first, 0x5), signs);
        const __m256d second = _mm256_mul_pd(_mm256_permute_pd(first, 0x5), ratios);
        _mm256_storeu_pd(z + 2 * i, _mm256_div_pd(_mm256_add_pd(first, second), scales));
    }
    return i;
}

} // namespace

void avx2_unfused_divide(double* x, double divisor, std::size_t n)
{
    const __m256d divisors = _mm256_set1_pd(divisor);
    std::size_t i = 0;
    for (; i + 4 <= n; i += 4)
        _mm256_storeu_pd(x + i, _mm256_div_pd(_mm256_loadu_pd(x + i), divisors));
    for (; i < n; ++i)
        x[i] /= divisor;
}

std::size_t avx2_unfused_divide_complex(double* z, const smith_divisor& by, std::size_t n)
{
    return by.by_real ? divide_pairs<true>(z, by.ratio, by.scale, n)
                      : divide_pairs<false>(z, by.ratio, by.scale, n);
}

std::size_t avx2_unfused_multiply(double* z, const double* factors, std::size_t step, std::size_t n)
{
    std::size_t i = 0;
    for (; i + 2 <= n; i += 2) {
        const double* const pair = factors + 2 * i * step;
        const __m256d numbers = step == 0 ? lanes::all(pair[0], pair[1]) : lanes::load(pair);
        const lanes::complex_factor by(lanes::load(z + 2 * i));
        const __m256d products =
            by.times(_mm256_movedup_pd(numbers), _mm256_permute_pd(numbers, 0b1111));
        if (lanes::has_nan(products))
            return i;
        lanes::store(z + 2 * i, products);
    }
    return i;
}

} // namespace numerical::detail
