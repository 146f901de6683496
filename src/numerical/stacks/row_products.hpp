#pragma once

// Products of real matrices one by one, where they are too large to lie side by side and too small
// to be packed. The sum over the inner positions ascends from zero, fused or rounded. For the
// vector paths' own sources only, after the header that defines `lanes`.

#include "numerical/stacks/lane_kernels.hpp"
#include "numerical/stacks/lane_numbers.hpp"
#include "numerical/stacks/lane_transpose.hpp"

namespace numerical::detail {
namespace {

// `rows` rows of C in `columns` columns, at most a vector. A row of B serves all of them.
template <class rounding, std::size_t rows>
void multiply_rows_of(const small_product& p, std::size_t i, std::size_t j, std::size_t columns)
{
    const double* const a = p.a + i * p.depth;
    double* const c = p.c + i * p.cols + j;
    real_number sum[rows];
#pragma GCC unroll 8
    for (std::size_t r = 0; r < rows; ++r)
        sum[r] = real_number::all(0);
    for (std::size_t k = 0; k < p.depth; ++k) {
        const real_number b{lanes::load_first(p.b + k * p.cols + j, columns)};
#pragma GCC unroll 8
        for (std::size_t r = 0; r < rows; ++r)
            sum[r] = rounding::more(sum[r], real_number::all(a[r * p.depth + k]), b);
    }
#pragma GCC unroll 8
    for (std::size_t r = 0; r < rows; ++r)
        lanes::store_first(c + r * p.cols, columns, sum[r].re);
}

template <class rounding>
void multiply_by_rows(const small_product& p)
{
    for (std::size_t j = 0; j < p.cols; j += lanes::width) {
        const std::size_t columns = at_most_a_vector(p.cols - j);
        std::size_t i = 0;
        for (; i + 8 <= p.rows; i += 8)
            multiply_rows_of<rounding, 8>(p, i, j, columns);
        if (i + 4 <= p.rows) {
            multiply_rows_of<rounding, 4>(p, i, j, columns);
            i += 4;
        }
        for (; i < p.rows; ++i)
            multiply_rows_of<rounding, 1>(p, i, j, columns);
    }
}

// A square of A, as wide as a vector, transposed: lane l of r[k] is element k of row l. What is
// missing of rows repeats the last one.
inline void load_columns(const double* a, std::size_t depth, std::size_t rows, std::size_t count,
                         vector (&r)[lanes::width])
{
    if (rows == lanes::width && count == lanes::width) {
#pragma GCC unroll 8
        for (std::size_t l = 0; l < lanes::width; ++l)
            r[l] = lanes::load(a + l * depth);
    } else {
#pragma GCC unroll 8
        for (std::size_t l = 0; l < lanes::width; ++l)
            r[l] = lanes::load_first(a + (l < rows ? l : rows - 1) * depth, count);
    }
    lanes::transpose(r);
}

// A vector's product: the sums of several rows of A lie side by side.
template <class rounding>
void multiply_vector(const small_product& p)
{
    vector r[lanes::width];
    for (std::size_t i = 0; i < p.rows; i += lanes::width) {
        const std::size_t rows = at_most_a_vector(p.rows - i);
        real_number sum = real_number::all(0);
        for (std::size_t k = 0; k < p.depth; k += lanes::width) {
            const std::size_t count = at_most_a_vector(p.depth - k);
            load_columns(p.a + i * p.depth + k, p.depth, rows, count, r);
#pragma GCC unroll 8
            for (std::size_t l = 0; l < lanes::width; ++l)
                if (l < count)
                    sum = rounding::more(sum, real_number{r[l]}, real_number::all(p.b[k + l]));
        }
        lanes::store_first(p.c + i, rows, sum.re);
    }
}

} // namespace
} // namespace numerical::detail
