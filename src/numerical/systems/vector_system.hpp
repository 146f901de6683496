#pragma once

// A system with one right-hand side. T = double or std::complex<double>.

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/lu.hpp"

#include <cstddef>

namespace numerical {

// Up to this order the substitution of lu_decomposition is the faster one, and the one that the
// lanes of small systems follow.
template <class T>
constexpr std::size_t greatest_order_by_elements = sizeof(T) == sizeof(double) ? 32 : 48;

// A⁻¹·b from the factors of a regular A: beyond that order the triangles are substituted in
// vectors, as by solve_triangle.
template <class T>
aligned_vector<T> solve_vector(const lu_decomposition<T>& lu, const aligned_vector<T>& b);

} // namespace numerical
