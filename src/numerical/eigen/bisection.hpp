#pragma once

// Some eigenvalues of a real symmetric tridiagonal matrix T by bisection (Barth, Martin and
// Wilkinson 1967), in a time that grows with their number: a few of them take less than all by the
// QL iteration.

#include "numerical/eigen/merge_columns.hpp"

#include <vector>

namespace numerical::detail {

// Of all eigenvalues, ascending, those in the range of places. d has the diagonal and e the
// subdiagonal, n elements each, far from overflow when squared. Errors are a few ε·‖T‖ at most. The
// same bits on every path and at every number of threads.
std::vector<double> bisected_values(const std::vector<double>& d, const std::vector<double>& e,
                                    index_range places);

} // namespace numerical::detail
