#pragma once

// All singular values of a real upper bidiagonal matrix by the implicitly shifted QR iteration
// (Golub and Kahan 1965; Golub and Van Loan 2013, section 8.6). The iteration touches the two
// diagonals only; what it does to the bases is recorded, and applied once after convergence.

#include "numerical/aligned_vector.hpp"
#include "numerical/svd/bidiagonal_operations.hpp"

#include <cstddef>
#include <utility>

namespace numerical::detail {

// d and e hold the diagonal and the superdiagonal, n entries each, with e[n-1] = 0; left and right
// the n × n bases by rows. On return d holds the singular values, descending, e is destroyed, and
// row k of either basis belongs to d[k]. convergence_error "SVD: the bidiagonal QR iteration did
// not converge within its steps" after max_steps chases in all; the bases are then as they were.
template <class T>
void bidiagonal_qr(aligned_vector<double>& d, aligned_vector<double>& e, aligned_vector<T>& left,
                   aligned_vector<T>& right, std::size_t n, std::size_t max_steps);

// The iteration alone.

bidiagonal_operations iterate_bidiagonal(aligned_vector<double>& d, aligned_vector<double>& e,
                                         std::size_t n, std::size_t max_steps);

struct bidiagonal_entries
{
    aligned_vector<double> d;
    aligned_vector<double> e; // as many, the last one 0
};

// Two iterations at a time. A chase is one chain of square roots and quotients that wait for each
// other; those of two matrices fill each other's gaps.
std::pair<bidiagonal_operations, bidiagonal_operations>
iterate_bidiagonal_pair(bidiagonal_entries& a, bidiagonal_entries& b, std::size_t steps_per_value);

} // namespace numerical::detail
