#pragma once

#include "numerical/aligned_vector.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// The bidiagonal form B of a square matrix A = U·B·Vᴴ, and the factors of U and V. The left
// basis is H₀·H₁···diag(left_phases)*, with * the conjugate, from the left reflectors, entry k of
// which acts on coordinates k and up; the right one is the product of the right reflectors, entry k
// of which acts on coordinates k + 1 and up, with right_phases[k] on coordinate k + 1.
template <class T>
struct bidiagonal_reduction
{
    std::size_t order;
    aligned_vector<double> d; // diagonal
    aligned_vector<double> e; // superdiagonal, with e[order - 1] = 0
    std::vector<aligned_vector<T>> left_reflectors;
    std::vector<aligned_vector<T>> right_reflectors;
    aligned_vector<T> left_phases;
    aligned_vector<T> right_phases;

    explicit bidiagonal_reduction(std::size_t n)
        : order(n), d(n), e(n), left_reflectors(n), right_reflectors(n), left_phases(n, T(1)),
          right_phases(n, T(1))
    {
    }
};

} // namespace numerical::detail
