#pragma once

#include "numerical/matrix.hpp"
#include "numerical/strided/matrix_view.hpp"

namespace numerical {

// The Moore-Penrose pseudo-inverse, n × m, from the singular values that matrix_rank counts.
// non_finite_error "pinv: the matrix holds an infinite or NaN entry". T = double or
// std::complex<double>.
template <class T>
matrix<T> pinv(const matrix<T>& a);

// The same but for rounding, with less work: A = Q·R is factored first, for a wide matrix its
// adjoint. If R is clearly regular no singular value counts as zero, and (AᴴA)⁻¹·Aᴴ = R⁻¹·Qᴴ is the
// result; only otherwise the values have to tell what counts. The text of the error is that of
// pinv. The rows of A lie without gaps.
template <class T>
matrix<T> pseudo_inverse(detail::block_view<const T> a);

template <class T>
matrix<T> pseudo_inverse(const matrix<T>& a)
{
    return pseudo_inverse(detail::view_of(a));
}

} // namespace numerical
