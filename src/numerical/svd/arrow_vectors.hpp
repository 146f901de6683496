#pragma once

// The singular values and vectors of an arrow that deflation has left: a first row z over a
// diagonal d, ascending, with d₀ = 0.

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/merge_columns.hpp"
#include "numerical/svd/arrow_kernels.hpp"
#include "numerical/svd/bidiagonal_vectors.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

struct small_arrow
{
    aligned_vector<double> d;
    aligned_vector<double> z;
    aligned_vector<double> origin; // of each value, the nearest pole
    aligned_vector<double> gap;    // from there to the value
    aligned_vector<double> values; // ascending

    std::size_t size() const { return d.size(); }

    pole_value_pairs pairs() const { return {d.data(), origin.data(), gap.data()}; }
};

// The arrow of the active columns with its values. convergence_error "the secular equation did not
// converge".
small_arrow solve_arrow(const aligned_vector<double>& diagonal, const aligned_vector<double>& z,
                        const std::vector<std::size_t>& active);

// The vectors of some of the values, in the columns of two matrices of as many rows as the arrow.
// With the z for which the computed values are exact (Gu and Eisenstat 1994) an element of a right
// one is zᵢ/(dᵢ² - σⱼ²) before it is normalised, and that of a left one dᵢ times as much, but -1 in
// the first row, which is the arrow's z.
class arrow_vectors
{
public:
    // Keeps the right vectors, not normalised, in `store` of size × values.count() elements.
    arrow_vectors(const small_arrow& arrow, index_range values, column_order order, double* store);

    // They refer to this object.
    small_vector_rows right_rows() const;
    small_vector_rows left_rows() const;

private:
    void fill_columns(index_range columns, const aligned_vector<double>& z);

    const small_arrow& of;
    std::size_t count; // of the columns
    aligned_vector<double> origin;
    aligned_vector<double> gap;
    double* right;
    aligned_vector<double> right_norms;
    aligned_vector<double> left_norms;
};

} // namespace numerical::detail
