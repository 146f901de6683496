#pragma once

// Solutions by the kept factors of P·A = L·U. T = double or std::complex<double>.

#include "numerical/aligned_vector.hpp"
#include "numerical/systems/triangle.hpp"

#include <cstddef>
#include <vector>

namespace numerical {

// Borrowed factors. P is given by exchanges: row i was exchanged with row exchanges[i] >= i, for
// ascending i.
template <class T>
struct kept_lu
{
    detail::block_view<const T> factors; // L below the diagonal, its ones not stored, and U
    const std::ptrdiff_t* exchanges;

    triangle<T> lower() const { return {factors, triangle_half::lower, triangle_diagonal::ones}; }

    triangle<T> upper() const { return {factors, triangle_half::upper}; }
};

// The exchanges that make a permutation, of which row i of P·A is row permutation[i] of A.
aligned_vector<std::ptrdiff_t> exchanges_of(const std::vector<std::size_t>& permutation);

// X := A⁻¹·X, or with Aᵀ or Aᴴ in place of A; the rows of X are contiguous. A zero on U's diagonal
// gives infinities or NaN.
template <class T>
void solve_kept(const kept_lu<T>& lu, matrix_form form, detail::block_view<T> x);

// 1/(‖A‖₁·‖A⁻¹‖₁), the second norm estimated, from the factors and ‖A‖₁; 0 if U is singular.
template <class T>
double reciprocal_condition(const kept_lu<T>& lu, double norm);

} // namespace numerical
