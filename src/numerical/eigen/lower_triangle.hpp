#pragma once

// What every eigensolver does first with the lower triangle that it is given: the checks, and the
// division by the largest modulus, after which nothing overflows.

#include "numerical/matrix.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/block_view.hpp"

namespace numerical::detail {

// The largest modulus, or 1 for a zero or empty matrix. Where a complex modulus overflows, the
// largest number serves as well. dimension_error `not_square`; non_finite_error with the name of
// the operation.
template <class T>
double checked_scale(block_view<const T> a, const char* operation, const char* not_square);

// The same for an eigenproblem by itself: "symmetric eigendecomposition requires a square matrix",
// or Hermitian.
double checked_scale(block_view<const double> a);
double checked_scale(block_view<const complex> a);

template <class T>
double checked_scale(const matrix<T>& a)
{
    return checked_scale(block_view<const T>{a.data.data(), a.rows, a.cols});
}

// Divides the lower triangle, and drops imaginary parts on the diagonal.
template <class T>
void scale_lower(matrix<T>& a, double scale);

} // namespace numerical::detail
