#pragma once

// The pair contraction in which no label is summed: every element of the result is one product.
// It is bound by memory, so the result is written once, in its order, without a prior fill.

#include "numerical/einsum/subscripts.hpp"
#include "numerical/tensor.hpp"

#include <string>

namespace numerical::detail {

// All labels of the operands are in the output; one that occurs twice in an operand takes its
// diagonal.
template <class T>
tensor<T> outer_product(const labelled<T>& a, const labelled<T>& b, const std::string& output,
                        const label_extents& extents);

} // namespace numerical::detail
