#include "numerical/factor/lu_kernels.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

// Rows that are taken through all columns of `dest` before the next ones: so many of four columns
// of L stay in the first cache.
constexpr std::size_t chunk_bytes = 4096;
constexpr std::size_t chunk_doubles = chunk_bytes / sizeof(double);
constexpr std::size_t width = 4;

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
    __m256d scale[run];
#pragma GCC unroll 4
    for (std::size_t t = 0; t < run; ++t)
        scale[t] = _mm256_set1_pd(u[t]);
    for (std::size_t r = from; r < to; r += width) {
        __m256d sum = _mm256_loadu_pd(c + r);
#pragma GCC unroll 4
        for (std::size_t t = 0; t < run; ++t)
            sum = _mm256_fnmadd_pd(scale[t], _mm256_loadu_pd(l + t * stride + r), sum);
        _mm256_storeu_pd(c + r, sum);
    }
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
    const __m256d signs = _mm256_setr_pd(-0.0, 0.0, -0.0, 0.0);
    __m256d real[run];
    __m256d imag[run];
#pragma GCC unroll 4
    for (std::size_t t = 0; t < run; ++t) {
        real[t] = _mm256_set1_pd(u[2 * t]);
        imag[t] = _mm256_xor_pd(signs, _mm256_set1_pd(u[2 * t + 1]));
    }
    for (std::size_t r = from; r < to; r += width) {
        __m256d sum = _mm256_loadu_pd(c + r);
#pragma GCC unroll 4
        for (std::size_t t = 0; t < run; ++t) {
            const __m256d entries = _mm256_loadu_pd(l + t * stride + r);
            sum = _mm256_fnmadd_pd(real[t], entries, sum);
            sum = _mm256_fnmadd_pd(imag[t], _mm256_permute_pd(entries, 0x5), sum);
        }
        _mm256_storeu_pd(c + r, sum);
    }
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

void avx2_apply_columns(std::size_t run, const double* l, double* dest, std::size_t dest_columns,
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

void avx2_apply_complex_columns(std::size_t run, const double* l, double* dest,
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
