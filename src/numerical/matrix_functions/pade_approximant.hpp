#pragma once

// The diagonal Padé approximants r = p/q of e^x, q(x) = p(-x), of degree 3, 5, 7, 9 and 13, for
// matrices. p(A) = V + U with the even part V and the odd part U, so that r(A) solves
// (V - U)·r(A) = V + U (Higham 2005).
//
// Degree and scaling are those of Al-Mohy and Higham (2009): the backward error is bounded by the
// numbers ‖A^p‖^(1/p), which for matrices far from normal are much less than ‖A‖. A norm that the
// powers at hand don't give is replaced by the bound that they do give; only where that isn't
// enough, an estimate is made.

#include <cstddef>
#include <vector>

namespace numerical::detail {

// r(A/2^s), with an s of its choice, which comes as `squarings`: e^A is the result squared so
// often. The dense n × n matrix has elements of at most 2^greatest_pade_exponent/n in modulus; then
// no power that is formed overflows: numbers of norms to the twelfth power times 2^56 arise. T =
// double or std::complex<double>.
constexpr int greatest_pade_exponent = 70;
template <class T>
std::vector<T> pade_approximant(const std::vector<T>& a, std::size_t n, int& squarings);

// Matrices of this order on make estimates of norms before a power is formed that they may spare.
constexpr std::size_t estimate_crossover = 64;

} // namespace numerical::detail
