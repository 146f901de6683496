#pragma once

// Substitution of one vector with a triangle that fits in cache, on the calling thread. On the
// vector paths groups of unknowns share one pass over their rows. T = double or
// std::complex<double>.

#include "numerical/systems/triangle.hpp"

namespace numerical::detail {

// x := M⁻¹·x by the rows of M, with a dot for each unknown.
template <class T>
void substitute_vector(int path, const triangle<T>& m, T* x);

// yᵀ := yᵀ·M⁻¹, also by the rows of M: the multiple of a row by each unknown found is subtracted
// from the remaining right-hand side.
template <class T>
void substitute_vector_from_right(int path, const triangle<T>& m, T* y);

} // namespace numerical::detail
