#include "numerical/gemm/row_kernels.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

constexpr std::size_t width = 4;

// Lanes of the tail: all bits set in the first `count` of four.
__m256i first_lanes(std::size_t count)
{
    alignas(32) static constexpr long long bits[2 * width] = {-1, -1, -1, -1, 0, 0, 0, 0};
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bits + width - count));
}

// Stores the first `count` of four, 1 to 3. A masked store takes many times as long.
void store_first(double* c, __m256d sum, std::size_t count)
{
    const __m128d low = _mm256_castpd256_pd128(sum);
    if (count == 1)
        return _mm_store_sd(c, low);
    _mm_storeu_pd(c, low);
    if (count == 3)
        _mm_store_sd(c + 2, _mm256_extractf128_pd(sum, 1));
}

// What the sums of four columns begin with.
__m256d start(const double* c, into_c into)
{
    return into == into_c::store ? _mm256_setzero_pd() : _mm256_loadu_pd(c);
}

__m256d start(const double* c, into_c into, __m256i lanes)
{
    return into == into_c::store ? _mm256_setzero_pd() : _mm256_maskload_pd(c, lanes);
}

// Sixteen columns, so that four chains of additions run side by side.
void multiply_16(std::size_t k, const double* a, const double* b, std::size_t ldb, double* c,
                 into_c into)
{
    __m256d s0 = start(c, into);
    __m256d s1 = start(c + width, into);
    __m256d s2 = start(c + 2 * width, into);
    __m256d s3 = start(c + 3 * width, into);
    for (std::size_t l = 0; l < k; ++l, b += ldb) {
        const __m256d scale = _mm256_broadcast_sd(a + l);
        s0 = _mm256_add_pd(s0, _mm256_mul_pd(scale, _mm256_loadu_pd(b)));
        s1 = _mm256_add_pd(s1, _mm256_mul_pd(scale, _mm256_loadu_pd(b + width)));
        s2 = _mm256_add_pd(s2, _mm256_mul_pd(scale, _mm256_loadu_pd(b + 2 * width)));
        s3 = _mm256_add_pd(s3, _mm256_mul_pd(scale, _mm256_loadu_pd(b + 3 * width)));
    }
    _mm256_storeu_pd(c, s0);
    _mm256_storeu_pd(c + width, s1);
    _mm256_storeu_pd(c + 2 * width, s2);
    _mm256_storeu_pd(c + 3 * width, s3);
}

void multiply_4(std::size_t k, const double* a, const double* b, std::size_t ldb, double* c,
                into_c into)
{
    __m256d sum = start(c, into);
    for (std::size_t l = 0; l < k; ++l, b += ldb)
        sum = _mm256_add_pd(sum, _mm256_mul_pd(_mm256_broadcast_sd(a + l), _mm256_loadu_pd(b)));
    _mm256_storeu_pd(c, sum);
}

void multiply_tail(std::size_t k, const double* a, const double* b, std::size_t ldb, double* c,
                   into_c into, std::size_t count)
{
    const __m256i lanes = first_lanes(count);
    __m256d sum = start(c, into, lanes);
    for (std::size_t l = 0; l < k; ++l, b += ldb)
        sum = _mm256_add_pd(
            sum, _mm256_mul_pd(_mm256_broadcast_sd(a + l), _mm256_maskload_pd(b, lanes)));
    store_first(c, sum, count);
}

// A pair of complex numbers, parts side by side, times (re, im): the even lanes hold
// re·Re b - im·Im b, the odd ones re·Im b + im·Re b.
__m256d product(__m256d re, __m256d im, __m256d b)
{
    return _mm256_addsub_pd(_mm256_mul_pd(re, b), _mm256_mul_pd(im, _mm256_permute_pd(b, 0b0101)));
}

bool has_nan(__m256d x)
{
    return _mm256_movemask_pd(_mm256_cmp_pd(x, x, _CMP_UNORD_Q)) != 0;
}

// Four complex columns; false, and c as it was, if a NaN came out.
bool multiply_complex_4(std::size_t k, const double* a, const double* b, std::size_t ldb, double* c,
                        into_c into)
{
    __m256d s0 = start(c, into);
    __m256d s1 = start(c + width, into);
    for (std::size_t l = 0; l < k; ++l, b += 2 * ldb) {
        const __m256d re = _mm256_broadcast_sd(a + 2 * l);
        const __m256d im = _mm256_broadcast_sd(a + 2 * l + 1);
        s0 = _mm256_add_pd(s0, product(re, im, _mm256_loadu_pd(b)));
        s1 = _mm256_add_pd(s1, product(re, im, _mm256_loadu_pd(b + width)));
    }
    if (has_nan(s0) || has_nan(s1))
        return false;
    _mm256_storeu_pd(c, s0);
    _mm256_storeu_pd(c + width, s1);
    return true;
}

// Two complex columns, or one.
bool multiply_complex_2(std::size_t k, const double* a, const double* b, std::size_t ldb, double* c,
                        into_c into, std::size_t count)
{
    const __m256i lanes = first_lanes(2 * count);
    __m256d sum = start(c, into, lanes);
    for (std::size_t l = 0; l < k; ++l, b += 2 * ldb)
        sum = _mm256_add_pd(sum, product(_mm256_broadcast_sd(a + 2 * l),
                                         _mm256_broadcast_sd(a + 2 * l + 1),
                                         _mm256_maskload_pd(b, lanes)));
    if (has_nan(sum))
        return false;
    if (count == 2)
        _mm256_storeu_pd(c, sum);
    else
        _mm_storeu_pd(c, _mm256_castpd256_pd128(sum));
    return true;
}

} // namespace

void avx2_unfused_multiply_rows(const product_operands<double>& p)
{
    for (std::size_t i = 0; i < p.m; ++i) {
        const double* const a = p.a + i * p.lda;
        double* const c = p.c + i * p.ldc;
        std::size_t j = 0;
        for (; j + 4 * width <= p.n; j += 4 * width)
            multiply_16(p.k, a, p.b + j, p.ldb, c + j, p.into);
        for (; j + width <= p.n; j += width)
            multiply_4(p.k, a, p.b + j, p.ldb, c + j, p.into);
        if (j < p.n)
            multiply_tail(p.k, a, p.b + j, p.ldb, c + j, p.into, p.n - j);
    }
}

std::size_t avx2_unfused_multiply_row(std::size_t n, std::size_t k, const std::complex<double>* a,
                                      const std::complex<double>* b, std::size_t ldb,
                                      std::complex<double>* c, into_c into)
{
    const auto* const row = reinterpret_cast<const double*>(a);
    const auto* const from = reinterpret_cast<const double*>(b);
    auto* const to = reinterpret_cast<double*>(c);
    std::size_t j = 0;
    for (; j + 4 <= n; j += 4)
        if (!multiply_complex_4(k, row, from + 2 * j, ldb, to + 2 * j, into))
            return j;
    for (; j < n; j += 2)
        if (!multiply_complex_2(k, row, from + 2 * j, ldb, to + 2 * j, into, n - j == 1 ? 1 : 2))
            return j;
    return n;
}

} // namespace numerical::detail
