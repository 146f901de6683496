#pragma once

// Reduction to Hessenberg form by reflectors, QᴴAQ = H: of small matrices column by column, of
// those that the caches hold in one pass for each column (hessenberg_steps.hpp), of larger ones by
// panels of columns (hessenberg_panel.hpp).

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/gemm/block_view.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// Matrices with fewer rows are reduced column by column.
constexpr std::size_t hessenberg_crossover = 32;

// The largest matrices that are reduced without panels: about 16 MiB. Their passes read and write
// the matrix, where panels only read it until their end.
template <class T>
constexpr std::size_t most_order_of_steps = sizeof(T) == sizeof(double) ? 1500 : 1000;

// The reflectors of a reduction; entry i spans [i, n), entry 0 is empty. Those of a larger
// matrix come in blocks instead.
template <class T>
struct hessenberg_reduction
{
    std::size_t order;
    std::vector<aligned_vector<T>> reflectors;
    std::vector<reflector_block<T>> blocks;
};

// Reduces the n × n array, with zeros stored below the subdiagonal.
template <class T>
hessenberg_reduction<T> reduce_to_hessenberg(aligned_vector<T>& a, std::size_t n);

// The same of a matrix of any order above 1, and the blocks of its reflectors.
template <class T>
std::vector<reflector_block<T>> reduce_hessenberg_by_panels(block_view<T> a);

// Q, n × n.
template <class T>
aligned_vector<T> hessenberg_basis(const hessenberg_reduction<T>& reduction);

} // namespace numerical::detail
