#pragma once

// The reduction of a square matrix to bidiagonal form without panels: each column takes one pass
// over what is left of the matrix (bidiagonal_step.hpp), which it also writes. Where the matrix
// lies in the caches that takes less time than panels do, whose columns and rows are brought up to
// date from all vectors of the panel.

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/block_view.hpp"

namespace numerical::detail {

// Of the n × n matrix a, which is only read: H·A·P is upper bidiagonal, with the diagonal d[0 .. n)
// and the superdiagonal e[0 .. n - 1). left[k] annihilates column k below the diagonal and
// right[k], on coordinates k + 1 and up, row k beyond the superdiagonal; both stay empty where
// there is nothing to annihilate.
template <class T>
void bidiagonalize_by_steps(block_view<const T> a, aligned_vector<T>* left,
                            aligned_vector<T>* right, T* d, T* e);

} // namespace numerical::detail
