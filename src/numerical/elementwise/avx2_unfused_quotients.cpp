#include "numerical/elementwise/arithmetic_kernels.hpp"

#include <cstddef>
#include <immintrin.h>

namespace numerical::detail {
namespace {

// Four complex numbers in the order 0, 2, 1, 3, which unpacking gives; unpacking again restores the
// order of memory.
struct four_numbers
{
    __m256d real;
    __m256d imag;
};

template <std::size_t step>
four_numbers load(const double* p)
{
    if constexpr (step == 0) {
        return {_mm256_set1_pd(p[0]), _mm256_set1_pd(p[1])};
    } else {
        const __m256d first = _mm256_loadu_pd(p);
        const __m256d second = _mm256_loadu_pd(p + 4);
        return {_mm256_unpacklo_pd(first, second), _mm256_unpackhi_pd(first, second)};
    }
}

void store(const four_numbers& z, double* p)
{
    _mm256_storeu_pd(p, _mm256_unpacklo_pd(z.real, z.imag));
    _mm256_storeu_pd(p + 4, _mm256_unpackhi_pd(z.real, z.imag));
}

__m256d magnitude(__m256d x)
{
    return _mm256_andnot_pd(_mm256_set1_pd(-0.0), x);
}

// The lanes in which no step of Smith's formula for (a + bi)/(c + di) can overflow, underflow with
// an effect on the result, or meet a NaN: all parts are at most 2^200 in modulus, max(|a|, |b|) and
// max(|c|, |d|) are at least 2^-200, and so is the smaller of |c| and |d| unless it is zero. There
// __divdc3 uses the same formula, at most after scaling by a power of two, so the bits agree.
__m256d plain_cases(const four_numbers& x, const four_numbers& y)
{
    const __m256d a = magnitude(x.real);
    const __m256d b = magnitude(x.imag);
    const __m256d c = magnitude(y.real);
    const __m256d d = magnitude(y.imag);
    const __m256d least = _mm256_set1_pd(0x1p-200);
    const __m256d sum = _mm256_add_pd(_mm256_add_pd(a, b), _mm256_add_pd(c, d)); // NaN if one is
    const __m256d lesser = _mm256_min_pd(c, d);
    const __m256d greater = _mm256_min_pd(_mm256_max_pd(a, b), _mm256_max_pd(c, d));
    const __m256d not_large = _mm256_cmp_pd(sum, _mm256_set1_pd(0x1p200), _CMP_LE_OQ);
    const __m256d not_small = _mm256_cmp_pd(greater, least, _CMP_GE_OQ);
    const __m256d real_or_not_small =
        _mm256_or_pd(_mm256_cmp_pd(lesser, least, _CMP_GE_OQ),
                     _mm256_cmp_pd(lesser, _mm256_setzero_pd(), _CMP_EQ_OQ));
    return _mm256_and_pd(not_large, _mm256_and_pd(not_small, real_or_not_small));
}

// Smith (1962): with q the lesser and p the greater part of the divisor, and u the part of the
// dividend that belongs to p, r = q/p, the quotient is (v r + u) and (v - u r) over q r + p, the
// latter with the other sign if p is the imaginary part.
four_numbers quotients(const four_numbers& x, const four_numbers& y)
{
    const __m256d swapped = _mm256_cmp_pd(magnitude(y.real), magnitude(y.imag), _CMP_LT_OQ);
    const __m256d p = _mm256_blendv_pd(y.real, y.imag, swapped);
    const __m256d q = _mm256_blendv_pd(y.imag, y.real, swapped);
    const __m256d u = _mm256_blendv_pd(x.real, x.imag, swapped);
    const __m256d v = _mm256_blendv_pd(x.imag, x.real, swapped);
    const __m256d ratio = _mm256_div_pd(q, p);
    const __m256d denominator = _mm256_add_pd(_mm256_mul_pd(q, ratio), p);
    const __m256d real = _mm256_add_pd(_mm256_mul_pd(v, ratio), u);
    const __m256d product = _mm256_mul_pd(u, ratio);
    const __m256d imag =
        _mm256_sub_pd(_mm256_blendv_pd(v, product, swapped), _mm256_blendv_pd(product, v, swapped));
    return {_mm256_div_pd(real, denominator), _mm256_div_pd(imag, denominator)};
}

template <std::size_t left_step, std::size_t right_step>
bool run(const double* left, const double* right, double* out, std::size_t n)
{
    int plain = 15;
    const auto divide_four = [&](const double* x, const double* y, double* z) {
        const four_numbers dividends = load<left_step>(x);
        const four_numbers divisors = load<right_step>(y);
        plain &= _mm256_movemask_pd(plain_cases(dividends, divisors));
        store(quotients(dividends, divisors), z);
    };
    std::size_t j = 0;
    for (; j + 4 <= n; j += 4)
        divide_four(left + 2 * j * left_step, right + 2 * j * right_step, out + 2 * j);
    if (j < n) { // the tail, padded with ones
        double x[8] = {1, 1, 1, 1, 1, 1, 1, 1};
        double y[8] = {1, 1, 1, 1, 1, 1, 1, 1};
        double z[8];
        const std::size_t rest = 2 * (n - j);
        for (std::size_t i = 0; i < (left_step != 0 ? rest : 2); ++i)
            x[i] = left[2 * j * left_step + i];
        for (std::size_t i = 0; i < (right_step != 0 ? rest : 2); ++i)
            y[i] = right[2 * j * right_step + i];
        divide_four(x, y, z);
        for (std::size_t i = 0; i < rest; ++i)
            out[2 * j + i] = z[i];
    }
    return plain != 15;
}

} // namespace

constexpr rows_by_form<checked_row> avx2_unfused_complex_quotients{
    {run<1, 1>, run<1, 0>, run<0, 1>}};

} // namespace numerical::detail
