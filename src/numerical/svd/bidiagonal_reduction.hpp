#pragma once

#include "numerical/aligned_vector.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// Reflectors that are applied to a basis together. Narrow blocks have fewer operations among
// themselves, and wide ones pass over large matrices less often; tiles of dots have twelve rows.
constexpr std::size_t fixed_bidiagonal_way_back = 32;

constexpr std::size_t fastest_bidiagonal_way_back(std::size_t n)
{
    constexpr std::size_t large = 600;
    return n < large ? 24 : fixed_bidiagonal_way_back;
}

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
    std::size_t way_back = fixed_bidiagonal_way_back; // reflectors of a block

    explicit bidiagonal_reduction(std::size_t n)
        : order(n), d(n), e(n), left_reflectors(n), right_reflectors(n), left_phases(n, T(1)),
          right_phases(n, T(1))
    {
    }
};

} // namespace numerical::detail
