#pragma once

// Rank-one updates for vectors of any width. For the kernels' own sources only: unnamed, as the
// vectors are.

#include "numerical/gemm/kernels/lanes/access.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// A vector of x, ready to be subtracted in multiples.
template <class Lanes>
struct real_part_of_row
{
    using vector = typename Lanes::vector;
    static constexpr std::size_t doubles = 1; // of an element
    vector entries;

    explicit real_part_of_row(vector x) : entries(x) {}

    vector subtracted_from(vector row, const double* coeff) const
    {
        return Lanes::less(row, Lanes::all(*coeff), entries);
    }
};

template <class Lanes>
struct complex_part_of_row
{
    using vector = typename Lanes::vector;
    static constexpr std::size_t doubles = 2;
    vector entries;
    vector turned;

    explicit complex_part_of_row(vector x) : entries(x), turned(Lanes::turned(x)) {}

    vector subtracted_from(vector row, const double* coeff) const
    {
        return Lanes::less(Lanes::less(row, Lanes::all(coeff[0]), entries), Lanes::all(coeff[1]),
                           turned);
    }
};

// Stride and n in doubles.
template <class Lanes, template <class> class Part>
void subtract_from_rows(double* rows, std::size_t stride, std::size_t count, const double* coeffs,
                        const double* x, std::size_t n)
{
    using part = Part<Lanes>;
    const auto update = [=](std::size_t j, const auto& access) {
        const part of_x(access.load(x + j));
        for (std::size_t i = 0; i < count; ++i) {
            double* const row = rows + i * stride + j;
            access.store(row, of_x.subtracted_from(access.load(row), coeffs + i * part::doubles));
        }
    };
    std::size_t j = 0;
    for (; j + Lanes::width <= n; j += Lanes::width)
        update(j, whole_vector<Lanes>());
    if (j < n)
        update(j, last_vector<Lanes>(n - j));
}

} // namespace
} // namespace numerical::detail
