#pragma once

// Loops of the substitution kernels for vectors of any width. For the kernels' own sources only:
// unnamed, as the vectors are.

#include "numerical/gemm/kernels/trsm.hpp"

namespace numerical::detail {
namespace {

// Two vectors of a row.
template <class Lanes>
struct two_vectors
{
    typename Lanes::vector first;
    typename Lanes::vector second;

    void store(double* x) const
    {
        Lanes::store(x, first);
        Lanes::store(x + Lanes::width, second);
    }

    two_vectors less(double coeff, const two_vectors& row) const
    {
        const auto scale = Lanes::all(coeff);
        return {Lanes::less(first, scale, row.first), Lanes::less(second, scale, row.second)};
    }
};

template <class Lanes>
two_vectors<Lanes> load(const double* x)
{
    return {Lanes::load(x), Lanes::load(x + Lanes::width)};
}

// A row that is ready to be subtracted in multiples.
template <class Lanes>
struct real_row
{
    static constexpr std::size_t doubles = 1; // of an element
    two_vectors<Lanes> parts;

    explicit real_row(const two_vectors<Lanes>& row) : parts(row) {}

    two_vectors<Lanes> less_multiple(const two_vectors<Lanes>& sum, const double* coeff) const
    {
        return sum.less(*coeff, parts);
    }
};

template <class Lanes>
struct complex_row
{
    static constexpr std::size_t doubles = 2;
    two_vectors<Lanes> parts;
    two_vectors<Lanes> turned_parts;

    explicit complex_row(const two_vectors<Lanes>& row)
        : parts(row), turned_parts{Lanes::turned(row.first), Lanes::turned(row.second)}
    {
    }

    two_vectors<Lanes> less_multiple(const two_vectors<Lanes>& sum, const double* coeff) const
    {
        return sum.less(coeff[0], parts).less(coeff[1], turned_parts);
    }
};

// Strides and n in doubles.
template <class Lanes, class Row>
void subtract_from_four(double* out, std::size_t stride, const double* coeffs,
                        std::size_t coeff_stride, const double* rows, std::size_t terms,
                        std::size_t n, four_rows among)
{
    const double* const c1 = coeffs + coeff_stride;
    const double* const c2 = coeffs + 2 * coeff_stride;
    const double* const c3 = coeffs + 3 * coeff_stride;
    const std::size_t end = terms * Row::doubles;
    for (std::size_t j = 0; j < n; j += 2 * Lanes::width) {
        double* const strip = out + j;
        two_vectors<Lanes> s0 = load<Lanes>(strip);
        two_vectors<Lanes> s1 = load<Lanes>(strip + stride);
        two_vectors<Lanes> s2 = load<Lanes>(strip + 2 * stride);
        two_vectors<Lanes> s3 = load<Lanes>(strip + 3 * stride);
        const double* row_strip = rows + j;
        for (std::size_t t = 0; t < end; t += Row::doubles, row_strip += stride) {
            const Row row(load<Lanes>(row_strip));
            s0 = row.less_multiple(s0, coeffs + t);
            s1 = row.less_multiple(s1, c1 + t);
            s2 = row.less_multiple(s2, c2 + t);
            s3 = row.less_multiple(s3, c3 + t);
        }
        if (among == four_rows::unit_triangle) {
            const Row r0(s0);
            s1 = r0.less_multiple(s1, c1 + end);
            const Row r1(s1);
            s2 = r1.less_multiple(r0.less_multiple(s2, c2 + end), c2 + end + Row::doubles);
            const Row r2(s2);
            s3 = r1.less_multiple(r0.less_multiple(s3, c3 + end), c3 + end + Row::doubles);
            s3 = r2.less_multiple(s3, c3 + end + 2 * Row::doubles);
        }
        s0.store(strip);
        s1.store(strip + stride);
        s2.store(strip + 2 * stride);
        s3.store(strip + 3 * stride);
    }
}

} // namespace
} // namespace numerical::detail
