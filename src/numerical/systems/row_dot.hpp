#pragma once

// Σ a[i]·b[i] along a row of a triangle, of double by the kernel of the path.

#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"

#include <cstddef>

namespace numerical::detail {

inline double row_dot(int path, const double* a, const double* b, std::size_t n)
{
    return dot_on(path, a, b, n);
}

inline complex row_dot(int, const complex* a, const complex* b, std::size_t n)
{
    return plain_dot(a, b, n);
}

} // namespace numerical::detail
