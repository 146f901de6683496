#include "numerical/svd/row_dots.hpp"

#include <immintrin.h>

// Built for AVX-512F alone. A last partial vector is a masked one.

namespace numerical::detail {
namespace {

constexpr std::size_t width = 8;

// The first `count` of eight lanes, count < 8.
inline __mmask8 first_lanes(std::size_t count)
{
    return static_cast<__mmask8>((1U << count) - 1U);
}

// Four rows, or two with two vectors each: sums of what is left of a row.
struct row_sums
{
    __m512d s0;
    __m512d s1;
    __m512d s2;
    __m512d s3;

    void add_to(double* w) const
    {
        w[0] += _mm512_reduce_add_pd(s0);
        w[1] += _mm512_reduce_add_pd(s1);
        w[2] += _mm512_reduce_add_pd(s2);
        w[3] += _mm512_reduce_add_pd(s3);
    }
};

inline row_sums no_sums()
{
    const __m512d zero = _mm512_setzero_pd();
    return {zero, zero, zero, zero};
}

inline double row_dot(const double* row, const double* x, std::size_t n)
{
    __m512d sum = _mm512_setzero_pd();
    std::size_t j = 0;
    for (; j + width <= n; j += width)
        sum = _mm512_fmadd_pd(_mm512_loadu_pd(row + j), _mm512_loadu_pd(x + j), sum);
    if (j < n) {
        const __mmask8 rest = first_lanes(n - j);
        sum = _mm512_fmadd_pd(_mm512_maskz_loadu_pd(rest, row + j),
                              _mm512_maskz_loadu_pd(rest, x + j), sum);
    }
    return _mm512_reduce_add_pd(sum);
}

} // namespace

void avx512_add_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                         const double* x, std::size_t n)
{
    const __mmask8 rest = first_lanes(n % width);
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        const double* const r0 = rows + i * stride;
        const double* const r1 = r0 + stride;
        const double* const r2 = r1 + stride;
        const double* const r3 = r2 + stride;
        row_sums sum = no_sums();
        std::size_t j = 0;
        for (; j + width <= n; j += width) {
            const __m512d with = _mm512_loadu_pd(x + j);
            sum.s0 = _mm512_fmadd_pd(_mm512_loadu_pd(r0 + j), with, sum.s0);
            sum.s1 = _mm512_fmadd_pd(_mm512_loadu_pd(r1 + j), with, sum.s1);
            sum.s2 = _mm512_fmadd_pd(_mm512_loadu_pd(r2 + j), with, sum.s2);
            sum.s3 = _mm512_fmadd_pd(_mm512_loadu_pd(r3 + j), with, sum.s3);
        }
        if (j < n) {
            const __m512d with = _mm512_maskz_loadu_pd(rest, x + j);
            sum.s0 = _mm512_fmadd_pd(_mm512_maskz_loadu_pd(rest, r0 + j), with, sum.s0);
            sum.s1 = _mm512_fmadd_pd(_mm512_maskz_loadu_pd(rest, r1 + j), with, sum.s1);
            sum.s2 = _mm512_fmadd_pd(_mm512_maskz_loadu_pd(rest, r2 + j), with, sum.s2);
            sum.s3 = _mm512_fmadd_pd(_mm512_maskz_loadu_pd(rest, r3 + j), with, sum.s3);
        }
        sum.add_to(w + i);
    }
    for (; i < count; ++i)
        w[i] += row_dot(rows + i * stride, x, n);
}

void avx512_add_row_dot_pairs(double* w, const double* rows, std::size_t stride, std::size_t count,
                              const double* x, const double* y, std::size_t n)
{
    const __mmask8 rest = first_lanes(n % width);
    std::size_t i = 0;
    for (; i + 2 <= count; i += 2) {
        const double* const r0 = rows + i * stride;
        const double* const r1 = r0 + stride;
        row_sums sum = no_sums();
        const auto add = [&](__m512d a0, __m512d a1, __m512d with_x, __m512d with_y) {
            sum.s0 = _mm512_fmadd_pd(a0, with_x, sum.s0);
            sum.s1 = _mm512_fmadd_pd(a0, with_y, sum.s1);
            sum.s2 = _mm512_fmadd_pd(a1, with_x, sum.s2);
            sum.s3 = _mm512_fmadd_pd(a1, with_y, sum.s3);
        };
        std::size_t j = 0;
        for (; j + width <= n; j += width)
            add(_mm512_loadu_pd(r0 + j), _mm512_loadu_pd(r1 + j), _mm512_loadu_pd(x + j),
                _mm512_loadu_pd(y + j));
        if (j < n)
            add(_mm512_maskz_loadu_pd(rest, r0 + j), _mm512_maskz_loadu_pd(rest, r1 + j),
                _mm512_maskz_loadu_pd(rest, x + j), _mm512_maskz_loadu_pd(rest, y + j));
        sum.add_to(w + 2 * i);
    }
    for (; i < count; ++i) {
        w[2 * i] += row_dot(rows + i * stride, x, n);
        w[2 * i + 1] += row_dot(rows + i * stride, y, n);
    }
}

} // namespace numerical::detail
