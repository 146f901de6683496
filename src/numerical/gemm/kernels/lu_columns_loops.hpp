#pragma once

// The loops of lu_columns.hpp over columns and runs of rows, for vectors of any width. For the
// kernels' own sources only: unnamed, so that what is compiled here stays in its own object.

#include "numerical/counts.hpp"
#include "numerical/gemm/kernels/gemv_transposed_loops.hpp"
#include "numerical/gemm/kernels/lanes/access.hpp"
#include "numerical/gemm/kernels/largest_loops.hpp"
#include "numerical/gemm/kernels/lu_columns.hpp"

#include <cstdint>

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

// How many of a column's rows lie before the next line of memory, where vectors take a whole line.
// The columns of a panel have the same places in their lines.
template <class Lanes>
std::size_t rows_before_line(const double* column, std::size_t rows)
{
    if constexpr (Lanes::width * sizeof(double) < line_bytes)
        return 0;
    const std::size_t past =
        reinterpret_cast<std::uintptr_t>(column) / sizeof(double) % Lanes::width;
    const std::size_t before = past == 0 ? 0 : Lanes::width - past;
    return before < rows ? before : rows;
}

// The columns of `dest` that lose multiples of L's columns together: a vector of L that has been
// loaded serves all of them. The multiples are by the first elements of each.
template <class Lanes, class Coefficient, std::size_t run, std::size_t together>
class column_update
{
public:
    column_update(const double* columns_of_l, double* dest, std::size_t column_stride)
        : l(columns_of_l), first(dest), stride(column_stride)
    {
#pragma GCC unroll 4
        for (std::size_t j = 0; j < together; ++j)
#pragma GCC unroll 4
            for (std::size_t t = 0; t < run; ++t)
                u[j][t] = Coefficient(dest + j * stride + t * Coefficient::doubles);
    }

    void subtract_rows(std::size_t from, std::size_t to) const
    {
        std::size_t r = from;
        if constexpr (Lanes::width == panel_padding + 1) {
            for (; r < to; r += Lanes::width)
                subtract(r, whole_vector<Lanes>());
        } else {
            if (const std::size_t before = rows_before_line<Lanes>(first + r, to - r);
                before != 0) {
                subtract(r, last_vector<Lanes>(before));
                r += before;
            }
            for (; r + Lanes::width <= to; r += Lanes::width)
                subtract(r, whole_vector<Lanes>());
            if (r < to)
                subtract(r, last_vector<Lanes>(to - r));
        }
    }

private:
    const double* l;
    double* first;
    std::size_t stride;
    Coefficient u[together][run];

    template <class Access>
    void subtract(std::size_t r, const Access& access) const
    {
        typename Lanes::vector sum[together];
#pragma GCC unroll 4
        for (std::size_t j = 0; j < together; ++j)
            sum[j] = access.load(first + j * stride + r);
#pragma GCC unroll 4
        for (std::size_t t = 0; t < run; ++t) {
            const auto rows = access.load(l + t * stride + r);
#pragma GCC unroll 4
            for (std::size_t j = 0; j < together; ++j)
                sum[j] = u[j][t].subtracted_from(sum[j], rows);
        }
#pragma GCC unroll 4
        for (std::size_t j = 0; j < together; ++j)
            access.store(first + j * stride + r, sum[j]);
    }
};

// So many that their coefficients and sums stay in registers.
template <class Lanes, class Coefficient>
constexpr std::size_t columns_together = Lanes::width / 2 / Coefficient::doubles;

template <class Lanes, class Coefficient, std::size_t run>
void apply(const double* l, double* dest, std::size_t dest_columns, std::size_t stride,
           std::size_t rows)
{
    constexpr std::size_t top = run * Coefficient::doubles;
    constexpr std::size_t together = columns_together<Lanes, Coefficient>;
    for (std::size_t j = 0; j < dest_columns; ++j)
        solve_top<Coefficient>(top, l, stride, dest + j * stride);
    for (std::size_t from = top; from < rows; from += chunk_doubles) {
        const std::size_t to = rows - from < chunk_doubles ? rows : from + chunk_doubles;
        std::size_t j = 0;
        for (; j + together <= dest_columns; j += together)
            column_update<Lanes, Coefficient, run, together>(l, dest + j * stride, stride)
                .subtract_rows(from, to);
        for (; j < dest_columns; ++j)
            column_update<Lanes, Coefficient, run, 1>(l, dest + j * stride, stride)
                .subtract_rows(from, to);
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

template <class Lanes, std::size_t run>
std::size_t eliminate_next_column(double* l, std::size_t stride, std::size_t rows)
{
    double* const last = l + (run - 1) * stride;
    double* const next = l + run * stride;
    const auto pivot = Lanes::all(last[run - 1]);
    solve_top<real_coefficient<Lanes>>(run, l, stride, next);
    real_coefficient<Lanes> u[run];
#pragma GCC unroll 4
    for (std::size_t t = 0; t < run; ++t)
        u[t] = real_coefficient<Lanes>(next + t);

    auto largest = Lanes::zero();
    const auto eliminate = [&](std::size_t r, const auto& access) {
        const auto quotient = Lanes::quotient(access.load(last + r), pivot);
        access.store(last + r, quotient);
        auto sum = access.load(next + r);
#pragma GCC unroll 4
        for (std::size_t t = 0; t + 1 < run; ++t)
            sum = u[t].subtracted_from(sum, access.load(l + t * stride + r));
        sum = u[run - 1].subtracted_from(sum, quotient);
        access.store(next + r, sum);
        largest = Lanes::larger(Lanes::magnitude(sum), largest);
    };
    std::size_t r = run;
    if (const std::size_t before = rows_before_line<Lanes>(next + r, rows - r); before != 0) {
        eliminate(r, last_vector<Lanes>(before));
        r += before;
    }
    for (; r + Lanes::width <= rows; r += Lanes::width)
        eliminate(r, whole_vector<Lanes>());
    if (r < rows)
        eliminate(r, last_vector<Lanes>(rows - r));
    if (next[run] != next[run])
        return run;
    return run + first_of_magnitude<Lanes>(next + run, rows - run, Lanes::fold_larger(largest));
}

template <class Lanes>
std::size_t eliminate_next_column(std::size_t run, double* l, std::size_t stride, std::size_t rows)
{
    switch (run) {
    case 1:
        return eliminate_next_column<Lanes, 1>(l, stride, rows);
    case 2:
        return eliminate_next_column<Lanes, 2>(l, stride, rows);
    case 3:
        return eliminate_next_column<Lanes, 3>(l, stride, rows);
    default:
        return eliminate_next_column<Lanes, column_run>(l, stride, rows);
    }
}

} // namespace
} // namespace numerical::detail
