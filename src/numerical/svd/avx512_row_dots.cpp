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

// Sums over four rows.
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

// The rows of a stretch lie too far apart for the processor to see them coming.
inline void prefetch_rows(const double* first, std::size_t stride)
{
#pragma GCC unroll 4
    for (std::size_t k = 0; k < 4; ++k)
        __builtin_prefetch(first + k * stride);
}

// The sums of four rows with two vectors each.
struct pair_sums
{
    __m512d x[4];
    __m512d y[4];
};

inline void add(pair_sums& sums, const __m512d (&entries)[4], __m512d x, __m512d y)
{
#pragma GCC unroll 4
    for (std::size_t k = 0; k < 4; ++k) {
        sums.x[k] = _mm512_fmadd_pd(entries[k], x, sums.x[k]);
        sums.y[k] = _mm512_fmadd_pd(entries[k], y, sums.y[k]);
    }
}

// Halves of 128-bit lanes added two by two: those of a, then those of b.
inline __m512d halved(__m512d a, __m512d b)
{
    return _mm512_add_pd(_mm512_shuffle_f64x2(a, b, 0x88), _mm512_shuffle_f64x2(a, b, 0xdd));
}

// The sums of all lanes, those of row k in lanes 2k and 2k + 1: ((0+1)+(2+3))+((4+5)+(6+7)).
inline __m512d lane_sums(const pair_sums& of)
{
    __m512d pairs[4];
#pragma GCC unroll 4
    for (std::size_t k = 0; k < 4; ++k)
        pairs[k] = _mm512_add_pd(_mm512_unpacklo_pd(of.x[k], of.y[k]),
                                 _mm512_unpackhi_pd(of.x[k], of.y[k]));
    return halved(halved(pairs[0], pairs[1]), halved(pairs[2], pairs[3]));
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

// Beyond the last row the group's last row stands again.
void avx512_add_row_dot_pairs(double* w, const double* rows, std::size_t stride, std::size_t count,
                              const double* x, const double* y, std::size_t n)
{
    const __mmask8 rest = first_lanes(n % width);
    for (std::size_t i = 0; i < count; i += 4) {
        const std::size_t left = count - i - 1; // rows after the first one
        const double* const r0 = rows + i * stride;
        const double* const r1 = r0 + (left > 0 ? stride : 0);
        const double* const r2 = r1 + (left > 1 ? stride : 0);
        const double* const r3 = r2 + (left > 2 ? stride : 0);
        const __m512d zero = _mm512_setzero_pd();
        pair_sums sums{{zero, zero, zero, zero}, {zero, zero, zero, zero}};
        std::size_t j = 0;
        for (; j + width <= n; j += width) {
            prefetch_rows(r0 + 4 * stride + j, stride);
            add(sums,
                {_mm512_loadu_pd(r0 + j), _mm512_loadu_pd(r1 + j), _mm512_loadu_pd(r2 + j),
                 _mm512_loadu_pd(r3 + j)},
                _mm512_loadu_pd(x + j), _mm512_loadu_pd(y + j));
        }
        if (j < n)
            add(sums,
                {_mm512_maskz_loadu_pd(rest, r0 + j), _mm512_maskz_loadu_pd(rest, r1 + j),
                 _mm512_maskz_loadu_pd(rest, r2 + j), _mm512_maskz_loadu_pd(rest, r3 + j)},
                _mm512_maskz_loadu_pd(rest, x + j), _mm512_maskz_loadu_pd(rest, y + j));
        const __mmask8 there = left >= 3 ? __mmask8(0xff) : first_lanes(2 * left + 2);
        double* const out = w + 2 * i;
        _mm512_mask_storeu_pd(out, there,
                              _mm512_add_pd(_mm512_maskz_loadu_pd(there, out), lane_sums(sums)));
    }
}

} // namespace numerical::detail
