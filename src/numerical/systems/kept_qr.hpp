#pragma once

// QR factors whose Q is kept as reflectors and applied without being formed. T = double or
// std::complex<double>.

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/gemm/block_view.hpp"

#include <cstddef>
#include <vector>

namespace numerical {

constexpr std::size_t reflectors_of_block = 32;

// A = Q·R for a rows × columns matrix, k = min(rows, columns), or A·P = Q·R with pivots.
template <class T>
struct qr_factors
{
    aligned_vector<T> vectors; // rows × k: reflector j in column j from row j down, zeros above
    aligned_vector<T>
        factors; // the 32 × 32 factor T of each block of 32 reflectors, padded with zeros
    aligned_vector<T> phases; // k of them: column j of Q is that of the reflectors times phases[j]
    aligned_vector<T> r;      // k × columns, with a real diagonal that isn't negative
    std::vector<std::size_t> permutation; // column j of A·P is column permutation[j] of A
};

enum class column_order { given, pivoted };

// Takes finite elements, row-major. Those near overflow are scaled for the factorization.
template <class T>
qr_factors<T> factor_qr(aligned_vector<T> a, std::size_t rows, std::size_t columns,
                        column_order order);

// The reflectors of Q, borrowed.
template <class T>
struct kept_reflectors
{
    detail::block_view<const T> vectors;
    const T* factors;
    const T* phases;
};

// Multiplies the row-major array `c` of `columns` columns by the rows × rows matrix Q or its
// adjoint. The columns of Q behind the k-th have no phases.
template <class T>
void multiply_by_q(const kept_reflectors<T>& q, aligned_vector<T>& c, std::size_t columns);
template <class T>
void multiply_by_adjoint_q(const kept_reflectors<T>& q, aligned_vector<T>& c, std::size_t columns);

} // namespace numerical
