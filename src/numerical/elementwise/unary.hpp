#pragma once

// Functions of single elements by the C library, whose results are returned unchanged: log(0) is
// -inf, the root of a negative number NaN, and no domain error is raised.

#include "numerical/tensor.hpp"

#include <optional>
#include <string_view>

namespace numerical {

// The tensor's operator -, by the vector kernels: every sign bit flipped.
template <class T>
tensor<T> negative(const tensor<T>& a);

template <class T>
tensor<T> square_roots(const tensor<T>& a);

// exp, log, sqrt, sin, cos, tan, tanh or abs of every element; that of abs is real for complex
// elements too. Nothing for any other name.
template <class T>
std::optional<any_tensor> unary(std::string_view name, const tensor<T>& a);

} // namespace numerical
