#pragma once

// The singular values and vectors of an arrow that deflation has left: a first row z over a
// diagonal d, ascending, with d₀ = 0.

#include "numerical/eigen/secular.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

struct small_arrow
{
    std::vector<double> d;
    std::vector<double> z;
    std::vector<secular_root> roots; // of the secular equation in σ² - d², one for each value
    std::vector<double> values;      // ascending

    std::size_t size() const { return d.size(); }
};

// The arrow of the active columns with its roots and values. convergence_error "the secular
// equation did not converge".
small_arrow solve_arrow(const std::vector<double>& diagonal, const std::vector<double>& z,
                        const std::vector<std::size_t>& active);

// Fill a row-major size × size matrix whose columns are the vectors of the values, not normalised.
// The right ones are made from the z for which the computed values are exact (Gu and Eisenstat
// 1994), the left ones from the right ones.
void fill_right_vectors(const small_arrow& arrow, double* right);
void fill_left_vectors(const small_arrow& arrow, const double* right, double* left);

} // namespace numerical::detail
