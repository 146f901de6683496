#include "numerical/factor/lu_kernels.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

// Rows that are taken through all columns of `dest` before the next ones: so many of four columns
// of L stay in the first cache.
constexpr std::size_t chunk_bytes = 4096;
constexpr std::size_t chunk_doubles = chunk_bytes / sizeof(double);
constexpr std::size_t width = 8;

// The first `count` of eight lanes, count < 8.
inline __mmask8 first_lanes(std::size_t count)
{
    return static_cast<__mmask8>((1U << count) - 1U);
}

// The first `run` elements of the column c become elements of U.
inline void solve_top(std::size_t run, const double* l, std::size_t stride, double* c)
{
    for (std::size_t t = 1; t < run; ++t)
        for (std::size_t s = 0; s < t; ++s)
            c[t] = __builtin_fma(-c[s], l[s * stride + t], c[t]);
}

template <std::size_t run>
inline void subtract(const double* l, std::size_t stride, const double* u, double* c,
                     std::size_t from, std::size_t to)
{
    __m512d scale[run];
#pragma GCC unroll 4
    for (std::size_t t = 0; t < run; ++t)
        scale[t] = _mm512_set1_pd(u[t]);
    std::size_t r = from;
    for (; r + width <= to; r += width) {
        __m512d sum = _mm512_loadu_pd(c + r);
#pragma GCC unroll 4
        for (std::size_t t = 0; t < run; ++t)
            sum = _mm512_fnmadd_pd(scale[t], _mm512_loadu_pd(l + t * stride + r), sum);
        _mm512_storeu_pd(c + r, sum);
    }
    if (r == to)
        return;
    const __mmask8 rest = first_lanes(to - r);
    __m512d sum = _mm512_maskz_loadu_pd(rest, c + r);
#pragma GCC unroll 4
    for (std::size_t t = 0; t < run; ++t)
        sum = _mm512_fnmadd_pd(scale[t], _mm512_maskz_loadu_pd(rest, l + t * stride + r), sum);
    _mm512_mask_storeu_pd(c + r, rest, sum);
}

template <std::size_t run>
void apply(const double* l, double* dest, std::size_t dest_columns, std::size_t stride,
           std::size_t rows)
{
    for (std::size_t j = 0; j < dest_columns; ++j)
        solve_top(run, l, stride, dest + j * stride);
    for (std::size_t from = run; from < rows; from += chunk_doubles) {
        const std::size_t to = rows - from < chunk_doubles ? rows : from + chunk_doubles;
        for (std::size_t j = 0; j < dest_columns; ++j)
            subtract<run>(l, stride, dest + j * stride, dest + j * stride, from, to);
    }
}

// The same for complex columns; here all counts are in doubles, two to an element.
inline void solve_complex_top(std::size_t run, const double* l, std::size_t stride, double* c)
{
    for (std::size_t t = 2; t < run; t += 2)
        for (std::size_t s = 0; s < t; s += 2) {
            const double* const row = l + s / 2 * stride + t;
            c[t] = __builtin_fma(c[s + 1], row[1], __builtin_fma(-c[s], row[0], c[t]));
            c[t + 1] = __builtin_fma(-c[s + 1], row[0], __builtin_fma(-c[s], row[1], c[t + 1]));
        }
}

template <std::size_t run>
inline void subtract_complex(const double* l, std::size_t stride, const double* u, double* c,
                             std::size_t from, std::size_t to)
{
    __m512d real[run];
    __m512d imag[run];
#pragma GCC unroll 4
    for (std::size_t t = 0; t < run; ++t) {
        real[t] = _mm512_set1_pd(u[2 * t]);
        const double im = u[2 * t + 1];
        imag[t] = _mm512_setr_pd(-im, im, -im, im, -im, im, -im, im);
    }
    const auto lost = [&](std::size_t t, __m512d entries, __m512d sum) {
        return _mm512_fnmadd_pd(imag[t], _mm512_permute_pd(entries, 0x55),
                                _mm512_fnmadd_pd(real[t], entries, sum));
    };
    std::size_t r = from;
    for (; r + width <= to; r += width) {
        __m512d sum = _mm512_loadu_pd(c + r);
#pragma GCC unroll 4
        for (std::size_t t = 0; t < run; ++t)
            sum = lost(t, _mm512_loadu_pd(l + t * stride + r), sum);
        _mm512_storeu_pd(c + r, sum);
    }
    if (r == to)
        return;
    const __mmask8 rest = first_lanes(to - r);
    __m512d sum = _mm512_maskz_loadu_pd(rest, c + r);
#pragma GCC unroll 4
    for (std::size_t t = 0; t < run; ++t)
        sum = lost(t, _mm512_maskz_loadu_pd(rest, l + t * stride + r), sum);
    _mm512_mask_storeu_pd(c + r, rest, sum);
}

template <std::size_t run>
void apply_complex(const double* l, double* dest, std::size_t dest_columns, std::size_t stride,
                   std::size_t rows)
{
    for (std::size_t j = 0; j < dest_columns; ++j)
        solve_complex_top(2 * run, l, stride, dest + j * stride);
    for (std::size_t from = 2 * run; from < rows; from += chunk_doubles) {
        const std::size_t to = rows - from < chunk_doubles ? rows : from + chunk_doubles;
        for (std::size_t j = 0; j < dest_columns; ++j)
            subtract_complex<run>(l, stride, dest + j * stride, dest + j * stride, from, to);
    }
}

} // namespace

void avx512_apply_columns(std::size_t run, const double* l, double* dest, std::size_t dest_columns,
                          std::size_t stride, std::size_t rows)
{
    switch (run) {
    case 1:
        return apply<1>(l, dest, dest_columns, stride, rows);
    case 2:
        return apply<2>(l, dest, dest_columns, stride, rows);
    case 3:
        return apply<3>(l, dest, dest_columns, stride, rows);
    default:
        return apply<column_run>(l, dest, dest_columns, stride, rows);
    }
}

void avx512_apply_complex_columns(std::size_t run, const double* l, double* dest,
                                  std::size_t dest_columns, std::size_t stride, std::size_t rows)
{
    switch (run) {
    case 1:
        return apply_complex<1>(l, dest, dest_columns, 2 * stride, 2 * rows);
    case 2:
        return apply_complex<2>(l, dest, dest_columns, 2 * stride, 2 * rows);
    case 3:
        return apply_complex<3>(l, dest, dest_columns, 2 * stride, 2 * rows);
    default:
        return apply_complex<column_run>(l, dest, dest_columns, 2 * stride, 2 * rows);
    }
}

} // namespace numerical::detail
