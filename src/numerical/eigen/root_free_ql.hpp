#pragma once

// The eigenvalues alone of a real symmetric tridiagonal matrix by the QL iteration of Pal, Walker
// and Kahan, which needs no square root in its loop (Parlett 1998, chapter 8). Without vectors only
// the squares of the subdiagonal enter, and of each rotation only the squares of its cosine and
// sine. Long blocks take eight sweeps at a time, whose shifts are the eigenvalues of the leading
// 8 × 8 block (ql_kernels.hpp); the bits are the same on every path.

#include "numerical/aligned_vector.hpp"

#include <cstddef>

namespace numerical::detail {

// Sweeps to an eigenvalue, on average, after which the iteration has failed.
constexpr std::size_t ql_steps_per_value = 30;

// d has the diagonal, the first n - 1 elements of e the subdiagonal, n = d.size(); the largest
// entry is near 1. On return d ascends and e is destroyed. A coupling is dropped
// when it is below ε·√|dᵢ·dᵢ₊₁| or below ε² times the largest entry. convergence_error "symmetric
// eigendecomposition: QL did not converge within its steps" after max_steps sweeps in all.
void root_free_ql(aligned_vector<double>& d, aligned_vector<double>& e, std::size_t max_steps);

} // namespace numerical::detail
