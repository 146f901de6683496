#pragma once

// The reduction of a Hermitian matrix to tridiagonal form without panels: each column takes
// one pass over what is left of the matrix (symmetric_step.hpp), which it also writes. Where the
// matrix lies in the caches that takes less time than panels do, whose columns are brought up to
// date from all vectors of the panel before each product.

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/block_view.hpp"

#include <cstddef>
#include <type_traits>
#include <vector>

namespace numerical::detail {

// A pass is cut in strips of rows, each with a sum of its own, whatever the number of threads: in
// two where it is worth the while of two of them, and in four where it is worth that of four.
// Orders of what is left, in whole blocks.
constexpr std::size_t least_order_of_two_strips = 160;
constexpr std::size_t least_order_of_four_strips = 640;

// Of A/scale, A being given by its lower triangle, which is only read. As in tridiagonal_reduction:
// reflectors[k + 1] annihilates column k below the subdiagonal and stays empty where there is
// nothing to annihilate; a null `reflectors` keeps none. d receives the diagonal, sub[0 .. order -
// 1) the subdiagonal.
template <class T>
void reduce_by_steps(block_view<const std::type_identity_t<T>> lower, double scale,
                     aligned_vector<T>* reflectors, double* d, T* sub);

} // namespace numerical::detail
