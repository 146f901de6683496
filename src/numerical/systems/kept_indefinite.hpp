#pragma once

// Solutions by the kept factors of P·A·Pᵀ = L·D·Lᴴ, or = L·D·Lᵀ. T = double or
// std::complex<double>.

#include "numerical/aligned_vector.hpp"
#include "numerical/systems/indefinite.hpp"
#include "numerical/systems/triangle.hpp"

#include <cstddef>

namespace numerical {

// The factors, borrowed.
template <class T>
struct kept_indefinite
{
    detail::block_view<const T> lower;
    const T* diagonal;
    const T* below;
    const std::ptrdiff_t* permutation;
    symmetry kind;
};

// Whether D has a zero.
template <class T>
bool is_singular(const kept_indefinite<T>& a);

// X := A⁻¹·X; the rows of X are contiguous. A zero of D gives infinities or NaN.
template <class T>
void solve_indefinite(const kept_indefinite<T>& a, detail::block_view<T> x);

// 1/(‖A‖₁·‖A⁻¹‖₁), the second norm estimated, from the factors and ‖A‖₁; 0 if D is singular.
template <class T>
double reciprocal_condition(const kept_indefinite<T>& a, double norm);

// Numbers whose product is the determinant, as many as rows: one for each block of order 1 of D and
// two for each of order 2.
template <class T>
aligned_vector<T> determinant_factors(const kept_indefinite<T>& a);

} // namespace numerical
