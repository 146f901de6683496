#pragma once

// The moduli of a run of elements, for norms of matrices that are kept as factors: hypot of each
// complex element would take as long as the factorization of a matrix of some hundred rows.

#include "numerical/scalar.hpp"
#include "numerical/vector_math/complex_functions.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace numerical::detail {

// to[i] = |from[i]| for i < n; neither overflows nor underflows where the modulus does not.
inline void moduli_of(const double* from, double* to, std::size_t n)
{
    std::transform(from, from + n, to, [](double x) { return std::abs(x); });
}

inline void moduli_of(const complex* from, double* to, std::size_t n)
{
    vector_math::modulus(from, to, n);
}

// sums[i] += |row[i]| for i < n; `moduli` is scratch of n numbers.
template <class T>
void add_moduli(double* sums, const T* row, std::size_t n, double* moduli)
{
    moduli_of(row, moduli, n);
    for (std::size_t i = 0; i < n; ++i)
        sums[i] += moduli[i];
}

} // namespace numerical::detail
