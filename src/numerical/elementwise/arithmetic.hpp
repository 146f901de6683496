#pragma once

// Element-wise arithmetic of two tensors with broadcasting. Serial at every size: memory, not
// arithmetic, sets its speed.

#include "numerical/tensor.hpp"

#include <complex>

namespace numerical {

enum class arithmetic_operation { add, subtract, multiply, divide, power };

// a op b, with the rules of C99 Annex G for complex products and quotients. If the exponent is the
// single number 2, 0.5 or -1, a power is computed as a product, a square root or a quotient,
// otherwise by pow of the C library.
template <class T>
tensor<T> arithmetic(arithmetic_operation operation, const tensor<T>& a, const tensor<T>& b);

// The same for a real and a complex tensor, except powers. The bits are those of the real tensor
// widened beforehand, but that pass over memory is saved.
tensor<std::complex<double>> arithmetic(arithmetic_operation operation, const tensor<double>& a,
                                        const tensor<std::complex<double>>& b);
tensor<std::complex<double>> arithmetic(arithmetic_operation operation,
                                        const tensor<std::complex<double>>& a,
                                        const tensor<double>& b);

} // namespace numerical
