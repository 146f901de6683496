#pragma once

// The determinant from the diagonal of a finished factorization. T = double or
// std::complex<double>.

#include "numerical/factor/lu.hpp"

namespace numerical {

// The sign of the permutation times the diagonal of U, in ascending order. It overflows and
// underflows where the product does; a singular matrix gets 0 from the zero on U's diagonal.
template <class T>
T determinant(const lu_decomposition<T>& lu);

template <class T>
struct sign_and_log
{
    T sign; // of modulus 1, or 0 for a singular matrix
    double log;
};

// Sign and natural logarithm of |det|, which neither overflow nor underflow; (0, -inf) for a
// singular matrix.
template <class T>
sign_and_log<T> slogdet(const lu_decomposition<T>& lu);

namespace detail {

// The same from the sign of a permutation and `order` diagonal elements `step` apart.
template <class T>
T determinant_of_diagonal(std::int32_t sign, const T* diagonal, std::size_t order,
                          std::size_t step);

// With no zero among them.
template <class T>
sign_and_log<T> slogdet_of_diagonal(std::int32_t sign, const T* diagonal, std::size_t order,
                                    std::size_t step);

} // namespace detail
} // namespace numerical
