#pragma once

// Reduction to Hessenberg form by reflectors, QᴴAQ = H. Large matrices are reduced by panels of
// columns: within a panel the trailing matrix stays unchanged while Y = A·V·T is formed along with
// the reflectors; then products update everything. The only operation that isn't blocked is the
// product of each reflector with the trailing matrix, restricted to the rows below the panel
// (Quintana-Orti and van de Geijn 2006).

#include "numerical/factor/reflector_block.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

constexpr std::size_t hessenberg_panel = 32;

// Matrices with fewer rows are reduced column by column.
constexpr std::size_t hessenberg_crossover = 96;

// The reflectors of a reduction; entry i spans [i, n), entry 0 is empty. Those of a blocked
// reduction come in blocks instead.
template <class T>
struct hessenberg_reduction
{
    std::size_t order;
    std::vector<std::vector<T>> reflectors;
    std::vector<reflector_block<T>> blocks;
};

// Reduces the n × n array, with zeros stored below the subdiagonal.
template <class T>
hessenberg_reduction<T> reduce_to_hessenberg(std::vector<T>& a, std::size_t n);

// Q, n × n.
template <class T>
std::vector<T> hessenberg_basis(const hessenberg_reduction<T>& reduction);

} // namespace numerical::detail
