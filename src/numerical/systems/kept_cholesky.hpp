#pragma once

// Solutions by a kept factor of A = L·Lᴴ, or of A = Uᴴ·U with U = Lᴴ, and its rank-one updates. T =
// double or std::complex<double>.

#include "numerical/aligned_vector.hpp"
#include "numerical/systems/triangle.hpp"

namespace numerical {

// X := A⁻¹·X for the factor in a lower or an upper triangle; the rows of X are contiguous.
template <class T>
void solve_definite(const triangle<T>& factor, detail::block_view<T> x);

// 1/(‖A‖₁·‖A⁻¹‖₁) from the factor alone, both norms estimated.
template <class T>
double reciprocal_condition_of_definite(const triangle<T>& factor);

// Replaces the lower factor, row-major of order n, by that of L·Lᴴ + v·vᴴ, by n plane rotations of
// its columns with v (Gill, Golub, Murray and Saunders 1974). The diagonal stays real and positive.
template <class T>
void update_cholesky(aligned_vector<T>& factor, aligned_vector<T> v);

// The same for L·Lᴴ - v·vᴴ, by the rotations that turn (L⁻¹·v, ρ) into a unit vector (Gill, Golub,
// Murray and Saunders 1974). not_positive_definite_error "downdate: matrix would not be
// positive-definite" where the length of L⁻¹·v leaves no ρ > 0; the factor is then as it was.
template <class T>
void downdate_cholesky(aligned_vector<T>& factor, aligned_vector<T> v);

} // namespace numerical
