#pragma once

// Tensors of booleans: predicates of numbers, logical operations, and conversion to and from
// numbers. Serial at every size, as memory sets the speed.

#include "numerical/elementwise/boolean_kernels.hpp"
#include "numerical/tensor.hpp"

#include <complex>
#include <cstddef>
#include <optional>

namespace numerical {

booleans evaluated(number_predicate predicate, const tensor<double>& a);

// A complex number is finite or zero if both parts are; any other predicate holds if it does for
// either part.
booleans evaluated(number_predicate predicate, const tensor<std::complex<double>>& a);

// True where an element isn't zero; NaN isn't.
booleans boolean_of(const tensor<double>& a);
booleans boolean_of(const tensor<std::complex<double>>& a);

// The booleans of a tensor of zeros and ones; nothing if it holds another number.
std::optional<booleans> booleans_of_mask(const tensor<double>& a);

// With broadcasting; dimension_error as by broadcast_shape.
booleans combined(boolean_operation operation, const booleans& a, const booleans& b);

booleans negated(const booleans& a);

std::size_t count_of_true(const booleans& a);

// Ones and zeros.
tensor<double> numbers_of(const booleans& a);

} // namespace numerical
