#include "numerical/svd/column_sums.hpp"

#include <immintrin.h>

// Built for AVX2 and FMA. Of 16 registers at most eight hold sums: a tile is taken in parts.

namespace numerical::detail {
namespace {

constexpr std::size_t width = 4;
constexpr std::size_t rows_ahead = 12;

// `vectors` vectors of each row from column j on, with `each` coefficients.
template <std::size_t each, std::size_t vectors>
void add_sums(double* sums, const double* coefficients, const double* rows, std::size_t stride,
              std::size_t count, std::size_t j)
{
    __m256d sum[each][vectors];
#pragma GCC unroll 2
    for (std::size_t k = 0; k < each; ++k)
#pragma GCC unroll 8
        for (std::size_t v = 0; v < vectors; ++v)
            sum[k][v] = _mm256_setzero_pd();
    for (std::size_t i = 0; i < count; ++i) {
        const double* const row = rows + i * stride + j;
        __m256d scale[each];
#pragma GCC unroll 2
        for (std::size_t k = 0; k < each; ++k)
            scale[k] = _mm256_set1_pd(coefficients[each * i + k]);
#pragma GCC unroll 8
        for (std::size_t v = 0; v < vectors; ++v) {
            if (v % 2 == 0) // two vectors are a cache line
                __builtin_prefetch(row + rows_ahead * stride + v * width);
            const __m256d entries = _mm256_loadu_pd(row + v * width);
#pragma GCC unroll 2
            for (std::size_t k = 0; k < each; ++k)
                sum[k][v] = _mm256_fmadd_pd(scale[k], entries, sum[k][v]);
        }
    }
#pragma GCC unroll 2
    for (std::size_t k = 0; k < each; ++k)
#pragma GCC unroll 8
        for (std::size_t v = 0; v < vectors; ++v) {
            double* const out = sums + k * column_tile + j + v * width;
            _mm256_storeu_pd(out, _mm256_add_pd(_mm256_loadu_pd(out), sum[k][v]));
        }
}

template <std::size_t each>
void add_sums_of_width(double* sums, const double* coefficients, const double* rows,
                       std::size_t stride, std::size_t count, std::size_t n)
{
    constexpr std::size_t most_vectors = 8 / each;
    std::size_t j = 0;
    for (; j + most_vectors * width <= n; j += most_vectors * width)
        add_sums<each, most_vectors>(sums, coefficients, rows, stride, count, j);
    for (; j + 2 * width <= n; j += 2 * width)
        add_sums<each, 2>(sums, coefficients, rows, stride, count, j);
    for (; j + width <= n; j += width)
        add_sums<each, 1>(sums, coefficients, rows, stride, count, j);
    for (; j < n; ++j)
        for (std::size_t k = 0; k < each; ++k) {
            double sum = 0;
            for (std::size_t i = 0; i < count; ++i)
                sum = __builtin_fma(coefficients[each * i + k], rows[i * stride + j], sum);
            sums[k * column_tile + j] += sum;
        }
}

} // namespace

void avx2_add_column_sums(double* sums, const double* coefficients, const double* rows,
                          std::size_t stride, std::size_t count, std::size_t n)
{
    add_sums_of_width<1>(sums, coefficients, rows, stride, count, n);
}

void avx2_add_column_sum_pairs(double* sums, const double* coefficients, const double* rows,
                               std::size_t stride, std::size_t count, std::size_t n)
{
    add_sums_of_width<2>(sums, coefficients, rows, stride, count, n);
}

} // namespace numerical::detail
