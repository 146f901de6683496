#pragma once

// A least-squares problem and all that is reported of it: solution, residual, and the matrix
// from which singular values are found later, if they are wanted.

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/matrix.hpp"
#include "numerical/strided/matrix_view.hpp"

namespace numerical {

template <class T>
struct least_squares_fit
{
    matrix<T> x;
    aligned_vector<double> missed; // of each column of A·X - B the squared norm if A has full rank
    matrix<T> triangle; // of A's smaller extent: its singular values times `scale` are A's
    double scale;
    aligned_vector<double> values; // the singular values, where finding X took them; else none
};

// Of a matrix A whose rows lie without gaps. The X of least norm among those that minimise each
// column of A·X - B. Singular values of A up to cutoff times the largest count as zero. By
// Householder QR if the condition of R says that none do; otherwise by the singular values of R, so
// that neither way sees the matrix itself again. `missed` is empty unless A has at least as many
// rows as columns. By the blocking results differ in rounding.
//
// dimension_error "lstsq: right-hand side size differs from the matrix"; non_finite_error with the
// name "lstsq" for A. Infinities and NaN in B propagate.
template <class T>
least_squares_fit<T>
fit_least_squares(detail::block_view<const T> a, const matrix<T>& b, double cutoff,
                  detail::reflector_blocking blocking = detail::reflector_blocking::fastest);

template <class T>
least_squares_fit<T>
fit_least_squares(const matrix<T>& a, const matrix<T>& b, double cutoff,
                  detail::reflector_blocking blocking = detail::reflector_blocking::fastest)
{
    return fit_least_squares(detail::view_of(a), b, cutoff, blocking);
}

} // namespace numerical
