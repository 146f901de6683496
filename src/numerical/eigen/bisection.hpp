#pragma once

// Some eigenvalues of a real symmetric tridiagonal matrix T by bisection (Barth, Martin and
// Wilkinson 1967), in a time that grows with their number: a few of them take less than all by the
// QL iteration.

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/merge_columns.hpp"

namespace numerical::detail {

// Of all eigenvalues, ascending, those in the range of places. d has the diagonal and e the
// subdiagonal, n elements each, far from overflow when squared. Errors are a few ε·‖T‖ at most. The
// same bits on every path and at every number of threads.
aligned_vector<double> bisected_values(const aligned_vector<double>& d,
                                       const aligned_vector<double>& e, index_range places);

} // namespace numerical::detail
