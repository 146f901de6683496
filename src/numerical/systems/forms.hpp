#pragma once

#include "numerical/gemm/block_view.hpp"
#include "numerical/scalar.hpp"

#include <complex>
#include <cstddef>

namespace numerical {

// The matrix of a system, its transpose or its adjoint.
enum class matrix_form { plain, transposed, adjoint };

namespace detail {

inline void conjugate_all(block_view<double>) {}

// Of rows that lie one after the other.
inline void conjugate_all(block_view<complex> x)
{
    for (std::size_t i = 0; i < x.rows * x.cols; ++i)
        x.first[i] = std::conj(x.first[i]);
}

// solve(x) for a form that isn't plain, where it solves the transposed system: Mᴴ·x = b is
// Mᵀ·conj(x) = conj(b).
template <class T, class F>
void solve_transposed_or_adjoint(matrix_form form, block_view<T> x, const F& solve)
{
    if (form == matrix_form::adjoint)
        conjugate_all(x);
    solve(x);
    if (form == matrix_form::adjoint)
        conjugate_all(x);
}

} // namespace detail
} // namespace numerical
