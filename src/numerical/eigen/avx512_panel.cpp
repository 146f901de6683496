#include "numerical/eigen/panel_kernels.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

constexpr std::size_t width = 8;
constexpr std::size_t rows_at_once = 4;

// The lanes of eight that lie before the end, `count` doubles away.
inline __mmask8 lanes_before_end(std::size_t count)
{
    return static_cast<__mmask8>(count < width ? (1U << count) - 1U : 0xFFU);
}

inline __m512d swap_parts(__m512d z)
{
    return _mm512_permute_pd(z, 0x55);
}

inline __m512d alternating_signs()
{
    return _mm512_setr_pd(1, -1, 1, -1, 1, -1, 1, -1);
}

inline double alternating_sum(__m512d lanes)
{
    return _mm512_reduce_add_pd(_mm512_mul_pd(alternating_signs(), lanes));
}

// Of a complex row and v: row·v by parts, and row times the swapped v.
struct complex_sums
{
    __m512d parts = _mm512_setzero_pd();
    __m512d crossed = _mm512_setzero_pd();
};

inline complex_sums with_entries(const complex_sums& sums, __m512d row, __m512d v, __m512d swapped)
{
    return {_mm512_fmadd_pd(row, v, sums.parts), _mm512_fmadd_pd(row, swapped, sums.crossed)};
}

inline void store_conjugate_dot(double* out, const complex_sums& sums)
{
    out[0] = _mm512_reduce_add_pd(sums.parts);
    out[1] = alternating_sum(sums.crossed);
}

inline std::complex<double> plain_dot(const complex_sums& sums)
{
    return {alternating_sum(sums.parts), _mm512_reduce_add_pd(sums.crossed)};
}

inline void dots_of_four(double* out, const double* v, const double* rows, std::size_t stride,
                         std::size_t n)
{
    __m512d s0 = _mm512_setzero_pd();
    __m512d s1 = _mm512_setzero_pd();
    __m512d s2 = _mm512_setzero_pd();
    __m512d s3 = _mm512_setzero_pd();
    for (std::size_t j = 0; j < n; j += width) {
        const __mmask8 lanes = lanes_before_end(n - j);
        const double* const row = rows + j;
        const __m512d with = _mm512_maskz_loadu_pd(lanes, v + j);
        s0 = _mm512_fmadd_pd(_mm512_maskz_loadu_pd(lanes, row), with, s0);
        s1 = _mm512_fmadd_pd(_mm512_maskz_loadu_pd(lanes, row + stride), with, s1);
        s2 = _mm512_fmadd_pd(_mm512_maskz_loadu_pd(lanes, row + 2 * stride), with, s2);
        s3 = _mm512_fmadd_pd(_mm512_maskz_loadu_pd(lanes, row + 3 * stride), with, s3);
    }
    out[0] = _mm512_reduce_add_pd(s0);
    out[1] = _mm512_reduce_add_pd(s1);
    out[2] = _mm512_reduce_add_pd(s2);
    out[3] = _mm512_reduce_add_pd(s3);
}

inline double dot_of_one(const double* v, const double* row, std::size_t n)
{
    __m512d sum = _mm512_setzero_pd();
    for (std::size_t j = 0; j < n; j += width) {
        const __mmask8 lanes = lanes_before_end(n - j);
        sum = _mm512_fmadd_pd(_mm512_maskz_loadu_pd(lanes, row + j),
                              _mm512_maskz_loadu_pd(lanes, v + j), sum);
    }
    return _mm512_reduce_add_pd(sum);
}

// Strides and n in doubles.
inline void complex_dots_of_four(double* out, const double* v, const double* rows,
                                 std::size_t stride, std::size_t n)
{
    complex_sums s0;
    complex_sums s1;
    complex_sums s2;
    complex_sums s3;
    for (std::size_t j = 0; j < n; j += width) {
        const __mmask8 lanes = lanes_before_end(n - j);
        const double* const row = rows + j;
        const __m512d with = _mm512_maskz_loadu_pd(lanes, v + j);
        const __m512d swapped = swap_parts(with);
        s0 = with_entries(s0, _mm512_maskz_loadu_pd(lanes, row), with, swapped);
        s1 = with_entries(s1, _mm512_maskz_loadu_pd(lanes, row + stride), with, swapped);
        s2 = with_entries(s2, _mm512_maskz_loadu_pd(lanes, row + 2 * stride), with, swapped);
        s3 = with_entries(s3, _mm512_maskz_loadu_pd(lanes, row + 3 * stride), with, swapped);
    }
    store_conjugate_dot(out, s0);
    store_conjugate_dot(out + 2, s1);
    store_conjugate_dot(out + 4, s2);
    store_conjugate_dot(out + 6, s3);
}

inline void complex_dot_of_one(double* out, const double* v, const double* row, std::size_t n)
{
    complex_sums sums;
    for (std::size_t j = 0; j < n; j += width) {
        const __mmask8 lanes = lanes_before_end(n - j);
        const __m512d with = _mm512_maskz_loadu_pd(lanes, v + j);
        sums = with_entries(sums, _mm512_maskz_loadu_pd(lanes, row + j), with, swap_parts(with));
    }
    store_conjugate_dot(out, sums);
}

} // namespace

void avx512_row_dots(double* out, const double* v, const double* rows, std::size_t stride,
                     std::size_t count, std::size_t n)
{
    std::size_t t = 0;
    for (; t + rows_at_once <= count; t += rows_at_once)
        dots_of_four(out + t, v, rows + t * stride, stride, n);
    for (; t < count; ++t)
        out[t] = dot_of_one(v, rows + t * stride, n);
}

void avx512_complex_row_dots(double* out, const double* v, const double* rows, std::size_t stride,
                             std::size_t count, std::size_t n)
{
    std::size_t t = 0;
    for (; t + rows_at_once <= count; t += rows_at_once)
        complex_dots_of_four(out + 2 * t, v, rows + 2 * t * stride, 2 * stride, 2 * n);
    for (; t < count; ++t)
        complex_dot_of_one(out + 2 * t, v, rows + 2 * t * stride, 2 * n);
}

// x·conj(a) is Re x·a with signs (+1, -1) and Im x times the swapped a: the signs are taken and the
// parts swapped once for the sum over the rows.
std::array<std::complex<double>, 4> avx512_hermitian_rows(const double* rows, std::size_t stride,
                                                          const double* x, double* y, std::size_t n)
{
    // The rows are read once: a line four ahead is asked for while this one is worked on.
    constexpr std::size_t ahead = 32;
    const double* const scale = x + 2 * n;
    const __m512d re0 = _mm512_set1_pd(scale[0]);
    const __m512d im0 = _mm512_set1_pd(scale[1]);
    const __m512d re1 = _mm512_set1_pd(scale[2]);
    const __m512d im1 = _mm512_set1_pd(scale[3]);
    const __m512d re2 = _mm512_set1_pd(scale[4]);
    const __m512d im2 = _mm512_set1_pd(scale[5]);
    const __m512d re3 = _mm512_set1_pd(scale[6]);
    const __m512d im3 = _mm512_set1_pd(scale[7]);
    complex_sums s0;
    complex_sums s1;
    complex_sums s2;
    complex_sums s3;
    for (std::size_t j = 0; j < 2 * n; j += width) {
        const __mmask8 lanes = lanes_before_end(2 * n - j);
        const double* const column = rows + j;
        for (std::size_t r = 0; r < rows_at_once; ++r)
            __builtin_prefetch(column + r * 2 * stride + ahead);
        const __m512d a0 = _mm512_maskz_loadu_pd(lanes, column);
        const __m512d a1 = _mm512_maskz_loadu_pd(lanes, column + 2 * stride);
        const __m512d a2 = _mm512_maskz_loadu_pd(lanes, column + 4 * stride);
        const __m512d a3 = _mm512_maskz_loadu_pd(lanes, column + 6 * stride);
        __m512d by_re = _mm512_mul_pd(re0, a0);
        __m512d by_im = _mm512_mul_pd(im0, a0);
        by_re = _mm512_fmadd_pd(re1, a1, by_re);
        by_im = _mm512_fmadd_pd(im1, a1, by_im);
        by_re = _mm512_fmadd_pd(re2, a2, by_re);
        by_im = _mm512_fmadd_pd(im2, a2, by_im);
        by_re = _mm512_fmadd_pd(re3, a3, by_re);
        by_im = _mm512_fmadd_pd(im3, a3, by_im);
        const __m512d gain = _mm512_fmadd_pd(alternating_signs(), by_re, swap_parts(by_im));
        const __m512d old = _mm512_maskz_loadu_pd(lanes, y + j);
        _mm512_mask_storeu_pd(y + j, lanes, _mm512_add_pd(old, gain));
        const __m512d with = _mm512_maskz_loadu_pd(lanes, x + j);
        const __m512d swapped = swap_parts(with);
        s0 = with_entries(s0, a0, with, swapped);
        s1 = with_entries(s1, a1, with, swapped);
        s2 = with_entries(s2, a2, with, swapped);
        s3 = with_entries(s3, a3, with, swapped);
    }
    return {plain_dot(s0), plain_dot(s1), plain_dot(s2), plain_dot(s3)};
}

} // namespace numerical::detail
