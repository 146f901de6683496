#pragma once

// The step of chase_kernels.hpp for vectors of any width. For the kernels' own sources only, after
// the header that defines `lanes`; unnamed, as the vectors are.

#include "numerical/eigen/chase_loops.hpp"
#include "numerical/svd/chase_kernels.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// A := A·G for the extent - 1 rows of A; the row behind them is read.
template <std::size_t extent>
void reflect_rows_above(double* a, std::size_t stride, const double* u)
{
    using row = row_of_vectors<extent>;
    const row of_u = row::load(u);
    double along_u[extent];
    multiply_square<extent>(along_u, a, stride, of_u, 2);
    for (std::size_t i = 0; i + 1 < extent; ++i) {
        row each = row::load(a + i * stride);
        each.subtract(along_u[i], of_u);
        each.store(a + i * stride);
    }
}

// A := H·A.
template <std::size_t extent>
void reflect_from_left(double* a, std::size_t stride, const double* v)
{
    using row = row_of_vectors<extent>;
    row along_v = minus_sum_of_rows<extent>(a, stride, v);
    along_v.multiply(-2);
    for (std::size_t i = 0; i < extent; ++i) {
        row each = row::load(a + i * stride);
        each.subtract(v[i], along_v);
        each.store(a + i * stride);
    }
}

template <std::size_t extent>
bool upper_chase(double* row, std::size_t stride)
{
    double u[extent];
    row_of_vectors<extent>::load(row).store(u);
    double beta;
    if (!make_chase_reflector<extent>(u, beta))
        return false;
    double* const last_rows = row + extent * stride;
    two_sided_step<extent> step;
    if (!step.prepare(last_rows, stride, u))
        return false;
    row_of_vectors<extent>::zero().store(row);
    row[0] = beta;
    reflect_rows_above<extent>(row + stride, stride, u);
    step.apply(last_rows, stride, u);
    reflect_from_left<extent>(last_rows + extent, stride, step.v);
    return true;
}

} // namespace
} // namespace numerical::detail
