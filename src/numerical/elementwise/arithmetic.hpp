#pragma once

// Element-wise arithmetic of two tensors with broadcasting. Serial at every size: memory, not
// arithmetic, sets its speed.

#include "numerical/tensor.hpp"

#include <complex>

namespace numerical {

enum class arithmetic_operation { add, subtract, multiply, divide, power };

// a op b, with the rules of C for complex products and quotients (C99 Annex G). A power by a single
// 2, 0.5 or -1 is a product, a square root or a quotient; any other is pow of the C library.
template <class T>
tensor<T> arithmetic(arithmetic_operation operation, const tensor<T>& a, const tensor<T>& b);

// The same of a real and a complex tensor, but for powers: with the bits that the real one gives
// widened before, and without that pass of memory.
tensor<std::complex<double>> arithmetic(arithmetic_operation operation, const tensor<double>& a,
                                        const tensor<std::complex<double>>& b);
tensor<std::complex<double>> arithmetic(arithmetic_operation operation,
                                        const tensor<std::complex<double>>& a,
                                        const tensor<double>& b);

} // namespace numerical
