#pragma once

// Einstein summation of any number of operands: result[output labels] = sum over the other labels
// of the product of the operands' elements, without conjugation. A plain product reads its operands
// in place; three or more operands are contracted pair by pair.

#include "numerical/tensor.hpp"

#include <string>
#include <vector>

namespace numerical::detail {

// `spec` such as "ij,jk->ik", with one label string for each operand. einsum_error for invalid
// subscripts, or subscripts that don't fit the operands.
template <class T>
tensor<T> einsum_impl(const std::string& spec, const std::vector<const tensor<T>*>& operands);

} // namespace numerical::detail
