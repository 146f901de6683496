#pragma once

// The loops of the LU panel's kernels over columns and runs of rows, for vectors of any width. For
// the kernels' own sources only: unnamed, so that what is compiled here stays in its own object.

#include "numerical/factor/lu_kernels.hpp"

namespace numerical::detail {
namespace {

// How many rows are applied to all columns of `dest` before the next ones: that many rows of four
// columns of L stay in L1.
constexpr std::size_t chunk_bytes = 4096;
constexpr std::size_t chunk_doubles = chunk_bytes / sizeof(double);

// How the first elements of a column, as many as L has columns, become elements of U. All counts
// are in doubles, two to a complex element.
struct real_top
{
    static constexpr std::size_t doubles = 1;

    static void solve(std::size_t run, const double* l, std::size_t stride, double* c)
    {
        for (std::size_t t = 1; t < run; ++t)
            for (std::size_t s = 0; s < t; ++s)
                c[t] = __builtin_fma(-c[s], l[s * stride + t], c[t]);
    }
};

struct complex_top
{
    static constexpr std::size_t doubles = 2;

    static void solve(std::size_t run, const double* l, std::size_t stride, double* c)
    {
        for (std::size_t t = 2; t < run; t += 2)
            for (std::size_t s = 0; s < t; s += 2) {
                const double* const row = l + s / 2 * stride + t;
                c[t] = __builtin_fma(c[s + 1], row[1], __builtin_fma(-c[s], row[0], c[t]));
                c[t + 1] = __builtin_fma(-c[s + 1], row[0], __builtin_fma(-c[s], row[1], c[t + 1]));
            }
    }
};

// `Columns` is a top with a static subtract<run>(l, stride, u, c, from, to) for the rows below it.
template <class Columns, std::size_t run>
void apply(const double* l, double* dest, std::size_t dest_columns, std::size_t stride,
           std::size_t rows)
{
    constexpr std::size_t top = run * Columns::doubles;
    for (std::size_t j = 0; j < dest_columns; ++j)
        Columns::solve(top, l, stride, dest + j * stride);
    for (std::size_t from = top; from < rows; from += chunk_doubles) {
        const std::size_t to = rows - from < chunk_doubles ? rows : from + chunk_doubles;
        for (std::size_t j = 0; j < dest_columns; ++j)
            Columns::template subtract<run>(l, stride, dest + j * stride, dest + j * stride, from,
                                            to);
    }
}

// Strides and rows in elements.
template <class Columns>
void apply_columns(std::size_t run, const double* l, double* dest, std::size_t dest_columns,
                   std::size_t stride, std::size_t rows)
{
    const std::size_t step = stride * Columns::doubles;
    const std::size_t below = rows * Columns::doubles;
    switch (run) {
    case 1:
        return apply<Columns, 1>(l, dest, dest_columns, step, below);
    case 2:
        return apply<Columns, 2>(l, dest, dest_columns, step, below);
    case 3:
        return apply<Columns, 3>(l, dest, dest_columns, step, below);
    default:
        return apply<Columns, column_run>(l, dest, dest_columns, step, below);
    }
}

} // namespace
} // namespace numerical::detail
