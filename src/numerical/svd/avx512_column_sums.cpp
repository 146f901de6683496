#include "numerical/svd/column_sums.hpp"

#include <immintrin.h>

// Built for AVX-512F alone.

namespace numerical::detail {
namespace {

constexpr std::size_t width = 8;
constexpr std::size_t rows_ahead = 12;

// `vectors` vectors of a row, the last one in its first lanes only, with `each` coefficients.
template <std::size_t each, std::size_t vectors>
void add_sums(double* sums, const double* coefficients, const double* rows, std::size_t stride,
              std::size_t count, __mmask8 last)
{
    __m512d sum[each][vectors];
#pragma GCC unroll 2
    for (std::size_t k = 0; k < each; ++k)
#pragma GCC unroll 8
        for (std::size_t v = 0; v < vectors; ++v)
            sum[k][v] = _mm512_setzero_pd();
    for (std::size_t i = 0; i < count; ++i) {
        const double* const row = rows + i * stride;
        __m512d scale[each];
#pragma GCC unroll 2
        for (std::size_t k = 0; k < each; ++k)
            scale[k] = _mm512_set1_pd(coefficients[each * i + k]);
#pragma GCC unroll 8
        for (std::size_t v = 0; v < vectors; ++v) {
            __builtin_prefetch(row + rows_ahead * stride + v * width);
            const __m512d entries = v + 1 < vectors ? _mm512_loadu_pd(row + v * width)
                                                    : _mm512_maskz_loadu_pd(last, row + v * width);
#pragma GCC unroll 2
            for (std::size_t k = 0; k < each; ++k)
                sum[k][v] = _mm512_fmadd_pd(scale[k], entries, sum[k][v]);
        }
    }
#pragma GCC unroll 2
    for (std::size_t k = 0; k < each; ++k)
#pragma GCC unroll 8
        for (std::size_t v = 0; v < vectors; ++v) {
            double* const out = sums + k * column_tile + v * width;
            const __mmask8 lanes = v + 1 < vectors ? __mmask8(0xff) : last;
            _mm512_mask_storeu_pd(out, lanes,
                                  _mm512_add_pd(_mm512_maskz_loadu_pd(lanes, out), sum[k][v]));
        }
}

template <std::size_t each>
void add_sums_of_width(double* sums, const double* coefficients, const double* rows,
                       std::size_t stride, std::size_t count, std::size_t n)
{
    using form =
        void (*)(double*, const double*, const double*, std::size_t, std::size_t, __mmask8);
    static constexpr form forms[] = {add_sums<each, 1>, add_sums<each, 2>, add_sums<each, 3>,
                                     add_sums<each, 4>, add_sums<each, 5>, add_sums<each, 6>,
                                     add_sums<each, 7>, add_sums<each, 8>};
    if (n == 0)
        return;
    const std::size_t before = (n - 1) / width; // vectors before the last one
    const auto last = static_cast<__mmask8>((2U << ((n - 1) % width)) - 1U);
    forms[before](sums, coefficients, rows, stride, count, last);
}

} // namespace

void avx512_add_column_sums(double* sums, const double* coefficients, const double* rows,
                            std::size_t stride, std::size_t count, std::size_t n)
{
    add_sums_of_width<1>(sums, coefficients, rows, stride, count, n);
}

void avx512_add_column_sum_pairs(double* sums, const double* coefficients, const double* rows,
                                 std::size_t stride, std::size_t count, std::size_t n)
{
    add_sums_of_width<2>(sums, coefficients, rows, stride, count, n);
}

} // namespace numerical::detail
