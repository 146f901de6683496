#pragma once

// Linear matrix equations by Schur forms of their coefficients (Bartels and Stewart 1972; Kitagawa
// 1977 for the discrete one): unitary similarities make them triangular. T = double or
// std::complex<double>.
//
// Every function throws dimension_error if the coefficients aren't square or the shapes don't fit,
// non_finite_error if one holds an infinite or NaN entry, convergence_error if the QR iteration
// reaches its limit, and singular_matrix_error if the equation is singular to working precision.

#include "numerical/matrix.hpp"

namespace numerical {

// X with A·X + X·B = Q, for A m × m, B n × n and Q m × n. Unique if A and -B have no eigenvalue in
// common.
template <class T>
matrix<T> solve_sylvester(matrix<T> a, matrix<T> b, const matrix<T>& q);

// X with A·X + X·Aᴴ = Q, n × n; Hermitian to the bit if Q is. Unique if no two eigenvalues of A are
// each other's negative conjugate.
template <class T>
matrix<T> solve_continuous_lyapunov(matrix<T> a, const matrix<T>& q);

// X with A·X·Aᴴ - X + Q = 0, n × n; Hermitian to the bit if Q is. Unique if no product λ·conj(μ) of
// eigenvalues of A is 1.
template <class T>
matrix<T> solve_discrete_lyapunov(matrix<T> a, const matrix<T>& q);

} // namespace numerical
