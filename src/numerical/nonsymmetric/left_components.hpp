#pragma once

#include "numerical/gemm/block_view.hpp"

#include <vector>

namespace numerical::detail {

// The moduli of the first components of the left eigenvectors of Z·T·Zᴴ, as unit vectors, in the
// order of T's diagonal. T is in Schur form, and the unitary Z is given as its adjoint. Both rows
// of a real pair hold that of the pair.
template <class T>
std::vector<double> first_of_left_vectors(block_view<const T> t, block_view<const T> adjoint);

} // namespace numerical::detail
