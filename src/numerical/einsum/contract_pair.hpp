#pragma once

// Two operands contracted by matrix products: both are brought into an order of axes in which every
// batch is a pair of row-major matrices. Diagonals and sums over one operand alone are left to the
// general loop.

#include "numerical/einsum/subscripts.hpp"
#include "numerical/tensor.hpp"

#include <optional>
#include <string>

namespace numerical::detail {

// The result with the labels `output`; nothing if a label occurs twice in an operand or one of
// `summed` occurs in one operand only. `summed` holds the labels that are not in the output, in the
// order of summation.
template <class T>
std::optional<tensor<T>> contract_pair(const labelled<T>& a, const labelled<T>& b,
                                       const std::string& output, const std::string& summed,
                                       const label_extents& extents);

} // namespace numerical::detail
