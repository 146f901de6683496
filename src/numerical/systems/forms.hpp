#pragma once

#include "numerical/gemm/block_view.hpp"
#include "numerical/scalar.hpp"

#include <complex>
#include <cstddef>

namespace numerical {

// The matrix of a system, its transpose or its adjoint.
enum class matrix_form { plain, transposed, adjoint };

namespace detail {

// Solves a transposed or adjoint system by solve(x), which solves the transposed one: Mᴴ·x = b is
// Mᵀ·conj(x) = conj(b). The rows of x are contiguous.
template <class T, class F>
void solve_transposed_or_adjoint(matrix_form form, block_view<T> x, const F& solve)
{
    if (form == matrix_form::adjoint)
        conjugate_all(x.first, x.rows * x.cols);
    solve(x);
    if (form == matrix_form::adjoint)
        conjugate_all(x.first, x.rows * x.cols);
}

} // namespace detail
} // namespace numerical
