#pragma once

// Truths of tensors: asked of numbers, combined, and as numbers where arithmetic is done with them.
// Serial at every size, as memory sets the speed.

#include "numerical/elementwise/truth_kernels.hpp"
#include "numerical/tensor.hpp"

#include <complex>
#include <cstddef>
#include <optional>

namespace numerical {

truths answers_to(number_question question, const tensor<double>& a);

// A complex number is finite or zero if both parts are, anything else if one part is.
truths answers_to(number_question question, const tensor<std::complex<double>>& a);

// True where an element isn't zero; NaN isn't.
truths truth_of(const tensor<double>& a);
truths truth_of(const tensor<std::complex<double>>& a);

// The mask that zeros and ones are; nothing if there is another number.
std::optional<truths> truths_of_mask(const tensor<double>& a);

// Pairs by broadcasting; dimension_error as broadcast_shape.
truths combined(truth_operation operation, const truths& a, const truths& b);

truths negated(const truths& a);

std::size_t count_of_true(const truths& a);

// Ones and zeros.
tensor<double> numbers_of(const truths& a);

} // namespace numerical
