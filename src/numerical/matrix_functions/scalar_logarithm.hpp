#pragma once

// The elements of logarithms and roots of an upper triangular matrix that are known in closed form:
// functions of the eigenvalues and their divided differences, computed without cancellation. T =
// double for positive numbers, or std::complex<double> for nonzero ones.

#include <complex>

namespace numerical::detail {

// a^(1/2^k) - 1, without the cancellation of roots near 1 (Al-Mohy 2012).
template <class T>
T root_less_one(T a, int k);

// (log x - log y)/(x - y), and 1/x for equal numbers (Higham 2008, equation 11.28).
template <class T>
T logarithm_difference(const T& x, const T& y);

// (x^p - y^p)/(x - y) for 0 < p < 1, and p·x^(p-1) for equal numbers (Higham and Lin 2011, equation
// 5.6).
template <class T>
T power_difference(const T& x, const T& y, double p);

} // namespace numerical::detail
