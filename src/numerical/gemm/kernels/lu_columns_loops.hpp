#pragma once

// The loops of lu_columns.hpp over columns and runs of rows, for vectors of any width. For the
// kernels' own sources only: unnamed, so that what is compiled here stays in its own object.

#include "numerical/gemm/kernels/gemv_transposed_loops.hpp"
#include "numerical/gemm/kernels/lanes/access.hpp"
#include "numerical/gemm/kernels/lu_columns.hpp"

namespace numerical::detail {
namespace {

// How many rows are applied to all columns of `dest` before the next ones: that many rows of four
// columns of L stay in L1.
constexpr std::size_t chunk_bytes = 4096;
constexpr std::size_t chunk_doubles = chunk_bytes / sizeof(double);

// The first elements of a column, as many as L has columns, become elements of U. All counts are in
// doubles, two to a complex element.
template <class Coefficient>
void solve_top(std::size_t top, const double* l, std::size_t stride, double* c)
{
    if constexpr (Coefficient::doubles == 1) {
        for (std::size_t t = 1; t < top; ++t)
            for (std::size_t s = 0; s < t; ++s)
                c[t] = __builtin_fma(-c[s], l[s * stride + t], c[t]);
    } else {
        for (std::size_t t = 2; t < top; t += 2)
            for (std::size_t s = 0; s < t; s += 2) {
                const double* const row = l + s / 2 * stride + t;
                c[t] = __builtin_fma(c[s + 1], row[1], __builtin_fma(-c[s], row[0], c[t]));
                c[t + 1] = __builtin_fma(-c[s + 1], row[0], __builtin_fma(-c[s], row[1], c[t + 1]));
            }
    }
}

// The rows [from, to) of column c lose the multiples of L's columns, whose coefficients are c's
// first elements.
template <class Lanes, class Coefficient, std::size_t run>
void subtract_columns(const double* l, std::size_t stride, double* c, std::size_t from,
                      std::size_t to)
{
    Coefficient u[run];
#pragma GCC unroll 4
    for (std::size_t t = 0; t < run; ++t)
        u[t] = Coefficient(c + t * Coefficient::doubles);
    const auto subtract = [&](std::size_t r, const auto& access) {
        auto sum = access.load(c + r);
#pragma GCC unroll 4
        for (std::size_t t = 0; t < run; ++t)
            sum = u[t].subtracted_from(sum, access.load(l + t * stride + r));
        access.store(c + r, sum);
    };
    const whole_vector<Lanes> whole;
    std::size_t r = from;
    if constexpr (Lanes::width == panel_padding + 1) {
        for (; r < to; r += Lanes::width)
            subtract(r, whole);
    } else {
        for (; r + Lanes::width <= to; r += Lanes::width)
            subtract(r, whole);
        if (r < to)
            subtract(r, last_vector<Lanes>(to - r));
    }
}

template <class Lanes, class Coefficient, std::size_t run>
void apply(const double* l, double* dest, std::size_t dest_columns, std::size_t stride,
           std::size_t rows)
{
    constexpr std::size_t top = run * Coefficient::doubles;
    for (std::size_t j = 0; j < dest_columns; ++j)
        solve_top<Coefficient>(top, l, stride, dest + j * stride);
    for (std::size_t from = top; from < rows; from += chunk_doubles) {
        const std::size_t to = rows - from < chunk_doubles ? rows : from + chunk_doubles;
        for (std::size_t j = 0; j < dest_columns; ++j)
            subtract_columns<Lanes, Coefficient, run>(l, stride, dest + j * stride, from, to);
    }
}

// Strides and rows in elements.
template <class Lanes, class Coefficient>
void apply_columns(std::size_t run, const double* l, double* dest, std::size_t dest_columns,
                   std::size_t stride, std::size_t rows)
{
    const std::size_t step = stride * Coefficient::doubles;
    const std::size_t below = rows * Coefficient::doubles;
    switch (run) {
    case 1:
        return apply<Lanes, Coefficient, 1>(l, dest, dest_columns, step, below);
    case 2:
        return apply<Lanes, Coefficient, 2>(l, dest, dest_columns, step, below);
    case 3:
        return apply<Lanes, Coefficient, 3>(l, dest, dest_columns, step, below);
    default:
        return apply<Lanes, Coefficient, column_run>(l, dest, dest_columns, step, below);
    }
}

} // namespace
} // namespace numerical::detail
