#pragma once

// Reduction to Hessenberg form by reflectors, QᴴAQ = H. Large matrices are reduced by panels of
// columns (hessenberg_panel.hpp), small ones column by column.

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/reflector_block.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// Matrices with fewer rows are reduced column by column.
constexpr std::size_t hessenberg_crossover = 96;

// The reflectors of a reduction; entry i spans [i, n), entry 0 is empty. Those of a blocked
// reduction come in blocks instead.
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

// Q, n × n.
template <class T>
aligned_vector<T> hessenberg_basis(const hessenberg_reduction<T>& reduction);

} // namespace numerical::detail
