#pragma once

// Contractions that are no matrix products: diagonals, traces, sums over axes of one operand,
// transposes. The loops run on the calling thread. Each element of the result is summed from 0 in
// the row-major order of `summed`, one term after the other, however the loops are nested; without
// `summed` labels the elements are copied unchanged.

#include "numerical/einsum/subscripts.hpp"
#include "numerical/tensor.hpp"

#include <array>
#include <string>

namespace numerical::detail {

// One or two operands.
template <class T, std::size_t N>
tensor<T> general_loop(const std::array<labelled<T>, N>& operands, const std::string& output,
                       const std::string& summed, const label_extents& extents);

} // namespace numerical::detail
