#pragma once

// From a general matrix to Schur form and back: scaling into a safe range, balancing, Hessenberg
// reduction, the iteration, and the back-transformation.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"
#include "numerical/nonsymmetric/balance.hpp"
#include "numerical/nonsymmetric/small_qr.hpp"

#include <complex>
#include <cstddef>

namespace numerical::detail {

// Matrices with a largest modulus in [1/limit, limit] aren't scaled: squares of such elements, and
// sums of a few thousand squares, neither overflow nor lose significant digits. Other matrices are
// multiplied by a power of two.
constexpr double safe_magnitude = 0x1p450;

// The exponent of the power of two that a has been multiplied by; the error of require_finite.
template <class T>
int scale_to_safe_range(matrix<T>& a, const char* operation);

// The eigenvalues of the diagonal blocks of a Schur form, in the order of the diagonal.
template <class T>
aligned_vector<std::complex<double>> diagonal_eigenvalues(const matrix<T>& t);

// Throws convergence_error: operation + ": the QR iteration did not converge within its steps; 3 of
// 5 eigenvalues were found".
[[noreturn]] void throw_not_converged(const char* operation, std::size_t found, std::size_t n);

// A Schur form of the balanced matrix, in the place of the matrix.
template <class T>
struct balanced_schur
{
    balance balanced;
    matrix<T> t;
    matrix<T> q; // 0 × 0 without vectors; the balancing is not undone
};

// For a square finite matrix in the safe range. convergence_error, whose message begins with
// `operation`, if the iteration has not converged after `step_limit` steps. With
// schur_extent::active_block only the diagonal blocks of t are defined.
template <class T>
balanced_schur<T> reduce_to_schur(matrix<T> a, balancing how, schur_extent extent,
                                  const char* operation, std::size_t step_limit);

} // namespace numerical::detail
