#pragma once

// The loops of gemv_transposed.hpp for vectors of any width. For the kernels' own sources only:
// unnamed, as the vectors are.

#include "numerical/gemm/kernels/lanes/access.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// A coefficient, ready for the vectors of its row.
template <class Lanes>
struct real_coefficient
{
    using vector = typename Lanes::vector;
    static constexpr std::size_t doubles = 1; // of an element
    vector value;

    real_coefficient() = default;

    explicit real_coefficient(const double* c) : value(Lanes::all(*c)) {}

    vector subtracted_from(vector sum, vector row) const { return Lanes::less(sum, value, row); }
};

template <class Lanes>
struct complex_coefficient
{
    using vector = typename Lanes::vector;
    static constexpr std::size_t doubles = 2;
    vector real;
    vector imag;

    complex_coefficient() = default;

    explicit complex_coefficient(const double* c)
        : real(Lanes::all(c[0])), imag(Lanes::alternating(c[1]))
    {
    }

    vector subtracted_from(vector sum, vector row) const
    {
        return Lanes::less(Lanes::less(sum, real, row), imag, Lanes::swapped(row));
    }
};

// The stride in doubles. The sums stay in registers over all rows.
template <class Lanes, class Coefficient, std::size_t vectors, class Access>
void subtract_from_block(double* out, const double* coeffs, const double* rows, std::size_t stride,
                         std::size_t terms, const Access& access)
{
    typename Lanes::vector sums[vectors];
#pragma GCC unroll 8
    for (std::size_t v = 0; v < vectors; ++v)
        sums[v] = access.load(out + v * Lanes::width);
    for (std::size_t t = 0; t < terms; ++t, rows += stride) {
        const Coefficient c(coeffs + t * Coefficient::doubles);
#pragma GCC unroll 8
        for (std::size_t v = 0; v < vectors; ++v)
            sums[v] = c.subtracted_from(sums[v], access.load(rows + v * Lanes::width));
    }
#pragma GCC unroll 8
    for (std::size_t v = 0; v < vectors; ++v)
        access.store(out + v * Lanes::width, sums[v]);
}

// Stride and n in doubles.
template <class Lanes, class Coefficient>
void subtract_rows(double* out, const double* coeffs, const double* rows, std::size_t stride,
                   std::size_t terms, std::size_t n)
{
    constexpr std::size_t width = Lanes::width;
    const auto every = every_lane<Lanes, Coefficient::doubles>();
    std::size_t j = 0;
    if constexpr (Coefficient::doubles == 2)
        for (; j + 8 * width <= n; j += 8 * width)
            subtract_from_block<Lanes, Coefficient, 8>(out + j, coeffs, rows + j, stride, terms,
                                                       every);
    for (; j + 4 * width <= n; j += 4 * width)
        subtract_from_block<Lanes, Coefficient, 4>(out + j, coeffs, rows + j, stride, terms, every);
    for (; j + width <= n; j += width)
        subtract_from_block<Lanes, Coefficient, 1>(out + j, coeffs, rows + j, stride, terms, every);
    if (j < n)
        subtract_from_block<Lanes, Coefficient, 1>(out + j, coeffs, rows + j, stride, terms,
                                                   last_vector<Lanes>(n - j));
}

} // namespace
} // namespace numerical::detail
