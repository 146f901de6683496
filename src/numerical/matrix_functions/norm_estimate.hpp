#pragma once

// 1-norms of matrices, and estimates of those of products that are never formed. T = double or
// std::complex<double>; matrices are dense n × n arrays. Moduli beyond 2^500 count as infinite,
// below 2^-500 as zero.

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <limits>

namespace numerical::detail {

// The largest sum of moduli of a column.
template <class T>
double one_norm(const T* a, std::size_t n);

// A lower bound of the 1-norm of the product of the factors, seldom less than a third of it: a
// convex function is maximized by products with vectors (Hager 1984; Higham 1988 for complex
// matrices and for the alternating vector that covers the cases in which the ascent fails). A bound
// above `enough` is returned as soon as it is found.
template <class T>
double estimated_product_norm(std::initializer_list<const T*> factors, std::size_t n,
                              double enough = std::numeric_limits<double>::infinity());

// The 1-norm of (2^exponent·|A|)^power up to rounding, by products of a row of ones with |A|. After
// each of them the ratios of the new row to the last bound the norm, and the upper
// bound is returned as soon as decide_alike(lower, upper) says that this makes no difference.
template <class T>
double norm_of_modulus_power(const T* a, std::size_t n, int exponent, std::size_t power,
                             const std::function<bool(double, double)>& decide_alike);

} // namespace numerical::detail
