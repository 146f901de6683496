#pragma once

// Reduction to Hessenberg form without panels: each column takes one pass over the rows and columns
// that are left, which it also writes (hessenberg_step.hpp). The rows above are multiplied by all
// reflectors at the end, in blocks of these.

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/gemm/block_view.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// A becomes H, with zeros below the subdiagonal. A has at least three rows.
template <class T>
std::vector<reflector_block<T>> reduce_hessenberg_by_steps(block_view<T> a);

} // namespace numerical::detail
