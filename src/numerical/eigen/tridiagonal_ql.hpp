#pragma once

// All eigenpairs of a real symmetric tridiagonal matrix by the implicit QL iteration (Bowdler,
// Martin, Reinsch and Wilkinson 1968). The iteration touches only d and e; its rotations are
// recorded and applied to the basis once it has converged.

#include "numerical/aligned_vector.hpp"

#include <cstddef>

namespace numerical::detail {

// d has the diagonal, e the subdiagonal and a last 0. On return d holds the eigenvalues, in no
// order, and row k of the n × n `basis` is z_k·basis, z_k being the eigenvector of d[k].
// convergence_error after max_steps steps in all; then the basis is as it was.
template <class T>
void tridiagonal_ql(aligned_vector<double>& d, aligned_vector<double>& e, aligned_vector<T>& basis,
                    std::size_t n, std::size_t max_steps);

} // namespace numerical::detail
