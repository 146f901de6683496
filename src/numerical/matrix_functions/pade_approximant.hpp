#pragma once

// The diagonal Padé approximants r = p/q of e^x, q(x) = p(-x), of degree 9 and 13, for
// matrices, and below them Taylor polynomials, which need fewer products at small norms. p(A) = V +
// U with the even part V and the odd part U, so that r(A) solves (V - U)·r(A) = V + U (Higham
// 2005).
//
// Degree and scaling are those of Al-Mohy and Higham (2009): the backward error is bounded by the
// numbers ‖A^p‖^(1/p), which for matrices far from normal are much smaller than ‖A‖. The norm of a
// power that hasn't been formed is bounded by those that have; it is estimated only where that
// bound isn't sufficient.

#include "numerical/aligned_vector.hpp"

#include <cstddef>

namespace numerical::detail {

// r(A/2^s) with a suitable s, returned in `squarings`: e^A is the result squared s times. The
// elements of the dense n × n matrix must be at most 2^greatest_pade_exponent/n in modulus, so that
// nothing overflows: the largest numbers that arise are norms to the twelfth power times 2^56. T =
// double or std::complex<double>.
constexpr int greatest_pade_exponent = 70;
template <class T>
aligned_vector<T> pade_approximant(const aligned_vector<T>& a, std::size_t n, int& squarings);

// From this order on norms are estimated before a power is formed, which may then not be needed.
constexpr std::size_t estimate_crossover = 64;

} // namespace numerical::detail
