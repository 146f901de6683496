#pragma once

// The pass of reflected_dots.hpp for vectors of any width. For the kernels' own sources only:
// unnamed, so that what is compiled here stays in its own object.

#include "numerical/gemm/kernels/axpy_loops.hpp"
#include "numerical/gemm/kernels/dot_loops.hpp"
#include "numerical/gemm/kernels/reflected_dots.hpp"

namespace numerical::detail {
namespace {

// `columns` columns from column `first` on: u and v are read once for all of them, each y once for
// both the update and the dot.
template <class Lanes, std::size_t columns>
void pass_over_group(std::size_t first, const reflected_dots_pass& pass)
{
    using vector = typename Lanes::vector;
    constexpr std::size_t step = 4 * Lanes::width; // a vector for each accumulator of a dot
    const double* const u = pass.u;
    const double* const v = pass.v;
    const std::size_t stride = pass.stride;
    double* const group = pass.columns + first * stride;
    const std::size_t end = pass.length - pass.length % step;
    vector factors[columns];
    vector sums[columns][4];
#pragma GCC unroll 4
    for (std::size_t c = 0; c < columns; ++c) {
        factors[c] = Lanes::all(pass.factors[first + c]);
#pragma GCC unroll 4
        for (std::size_t k = 0; k < 4; ++k)
            sums[c][k] = Lanes::zero();
    }
    for (std::size_t i = 0; i < end; i += step)
#pragma GCC unroll 4
        for (std::size_t k = 0; k < 4; ++k) {
            const std::size_t at = i + k * Lanes::width;
            const vector of_u = Lanes::load(u + at);
            const vector of_v = Lanes::load(v + at);
#pragma GCC unroll 4
            for (std::size_t c = 0; c < columns; ++c) {
                double* const y = group + c * stride + at;
                const vector reflected = Lanes::more(Lanes::load(y), factors[c], of_u);
                Lanes::store(y, reflected);
                sums[c][k] = Lanes::more(sums[c][k], of_v, reflected);
            }
        }
#pragma GCC unroll 4
    for (std::size_t c = 0; c < columns; ++c) {
        double* const y = group + c * stride;
        scaled_add<Lanes>(y + end, u + end, pass.factors[first + c], pass.length - end);
        const double sum = end == 0 ? 0 : folded_in_order<Lanes>(sums[c]);
        pass.dots[first + c] = with_last_products(sum, v, y, end, pass.length);
    }
}

template <class Lanes, std::size_t group>
void pass_over_columns(const reflected_dots_pass& pass)
{
    std::size_t first = 0;
    for (; first + group <= pass.count; first += group)
        pass_over_group<Lanes, group>(first, pass);
    for (; first < pass.count; ++first)
        pass_over_group<Lanes, 1>(first, pass);
}

} // namespace
} // namespace numerical::detail
