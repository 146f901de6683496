#pragma once

// Complex functions of single numbers where the formulas of the common range fail: parts that are
// infinite or NaN, and results near the ends of the range. By the rules of ISO/IEC 9899:1999, annex
// G.6.

#include <complex>

namespace numerical::vector_math {

std::complex<double> rare_exp(std::complex<double> z);
std::complex<double> rare_sinh(std::complex<double> z);
std::complex<double> rare_cosh(std::complex<double> z);
std::complex<double> rare_tanh(std::complex<double> z);
std::complex<double> rare_sqrt(std::complex<double> z);
double rare_log_modulus(double x, double y);

} // namespace numerical::vector_math
