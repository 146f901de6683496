#pragma once

// A merge of the bidiagonal divide and conquer: the arrow that joins two solved halves is deflated
// and solved, and the vectors of the halves become those of the whole.

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/merge_columns.hpp"
#include "numerical/eigen/merge_workspace.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/svd/arrow_deflation.hpp"
#include "numerical/svd/bidiagonal_vectors.hpp"

namespace numerical::detail {

// dz holds the diagonal of the arrow, dz[0] = 0. On return it holds the singular values of the torn
// problem, ascending, and `vectors` its vectors; they descend for complete square bases only.
void merge_arrow(aligned_vector<double>& dz, torn_problem torn, const bidiagonal_vectors& vectors,
                 column_order order, merge_workspace& workspace);

// The same, of which only the columns `wanted` of square bases are made, in u and v; `vectors` is
// overwritten.
void merge_arrow_choosing(aligned_vector<double>& dz, torn_problem torn,
                          const bidiagonal_vectors& vectors, index_range wanted,
                          block_view<double> u, block_view<double> v);

} // namespace numerical::detail
