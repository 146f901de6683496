#pragma once

// Element-wise arithmetic of two tensors with broadcasting. Serial at every size: memory, not
// arithmetic, sets its speed.

#include "numerical/tensor.hpp"

namespace numerical {

enum class arithmetic_operation { add, subtract, multiply, divide, power };

// a op b, with the rules of C for complex products and quotients (C99 Annex G). A power by a single
// 2, 0.5 or -1 is a product, a square root or a quotient; any other is pow of the C library.
template <class T>
tensor<T> arithmetic(arithmetic_operation operation, const tensor<T>& a, const tensor<T>& b);

} // namespace numerical
