#pragma once

// Eigenvectors of a Schur form by back-substitution, for many eigenvalues side by side: row i of a
// block of vectors is
//
//     X(i, c) = -(T(i, i+1..)·X(i+1.., c)) / (T(i, i) - λ_c),
//
// and all but the part of T(i, i+1..) next to the diagonal is multiplied as a product. A vector
// that grows beyond a limit is scaled down as a whole, so that defective matrices don't overflow
// (the scaling of LAPACK's trevc, by columns of a block).

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace numerical::detail {

// How many vectors are computed and multiplied by the basis at a time.
constexpr std::size_t vector_columns = 64;

// How many rows are solved between products.
constexpr std::size_t vector_rows = 32;

// A vector with elements beyond this limit is scaled down.
constexpr double greatest_element = 0x1p300;

// X·S with a basis X, n × n: column k is an eigenvector of T for its eigenvalue k; S scales. A real
// pair k, k + 1 has the real part of the vector of the eigenvalue with positive imaginary part in
// column k and the imaginary part in k + 1. t is n × n, upper (quasi-)triangular in standard form.
// Blocks of vectors are computed on the pool.
template <class T>
aligned_vector<T> multiplied_vectors(block_view<const T> t, block_view<const T> basis);

// Blocks of about vector_columns columns, in which a real pair stays together: block b is
// [bounds[b], bounds[b + 1]). is_second(k) tells whether column k is the second one of a pair.
template <class F>
std::vector<std::size_t> bounds_of_vectors(std::size_t n, const F& is_second)
{
    std::vector<std::size_t> bounds{0};
    while (bounds.back() < n) {
        std::size_t to = std::min(bounds.back() + vector_columns, n);
        if (to < n && is_second(to))
            --to;
        bounds.push_back(to);
    }
    return bounds;
}

// J·Tᴴ·J with the reversal J: its right eigenvectors are the left ones of T in reverse order, for
// the conjugate eigenvalues.
template <class T>
aligned_vector<T> reversed_adjoint(block_view<const T> t);

} // namespace numerical::detail
