#pragma once

// Householder QR by panels of 32 columns, A = Q·R.

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/reflector_block.hpp"

#include <cstddef>
#include <type_traits>
#include <vector>

namespace numerical::detail {

// Q as the product of its blocks, in order of application; k = min(rows, columns).
template <class T>
struct qr_reflections
{
    aligned_vector<T> r; // k × columns, upper trapezoidal
    std::vector<reflector_block<T>> blocks;
};

template <class T>
struct thin_qr
{
    aligned_vector<T> q; // rows × k, or rows × rows where the basis is complete
    aligned_vector<T> r; // k × columns, with a real, non-negative diagonal
};

// Factors a panel that has at least as many rows as columns, on the calling thread. R is left on
// and above its diagonal; the elements below it are not cleared and mean nothing. The reflectors
// act on the matrix rows from `offset` on, where the panel begins.
template <class T>
reflector_block<T> factor_qr_panel(block_view<T> panel, std::size_t offset);

// How many reflectors make a block: 32, or more in matrices of more, which takes fewer passes over
// the matrix and gives other last digits. By the fastest blocks elements are at most 2^900.
enum class reflector_blocking { by_panels, fastest };

// The fastest blocks. Their dots with the matrix are tiles of twelve rows.
template <class T>
constexpr std::size_t block_columns = std::is_same_v<T, double> ? 48 : 32;

// The same from this many reflectors on.
constexpr std::size_t least_widely_blocked = 1500;
constexpr std::size_t wide_block_columns = 96;

// QᴴA = R. The diagonal of R has the phases that the reflectors gave it.
template <class T>
qr_reflections<T> householder_reflect(aligned_vector<T> a, std::size_t rows, std::size_t columns,
                                      reflector_blocking blocking = reflector_blocking::by_panels);

// Multiplies the k rows of R by phases that make its diagonal real and non-negative. Returns the
// former phases of the diagonal, which belong to the columns of Q: A = (Q·S)·(Sᴴ·R).
template <class T>
aligned_vector<T> turn_diagonal_real(aligned_vector<T>& r, std::size_t k, std::size_t columns);

// How many columns of Q are formed: none, the k that make up A, or all.
enum class basis_extent { none, thin, complete };

// The factors of A. The columns that complete the basis come from the same reflectors, applied to
// the columns of the identity that the thin factor leaves out.
template <class T>
thin_qr<T> householder_qr(aligned_vector<T> a, std::size_t rows, std::size_t columns,
                          basis_extent extent = basis_extent::thin,
                          reflector_blocking blocking = reflector_blocking::by_panels);

// The rows × k matrix U of orthonormal columns, followed by columns that complete the basis,
// rows × rows, for rows >= k.
template <class T>
aligned_vector<T> completed_basis(const aligned_vector<T>& u, std::size_t rows, std::size_t k);

} // namespace numerical::detail
