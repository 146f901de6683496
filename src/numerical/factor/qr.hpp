#pragma once

// Householder QR by panels of 32 columns, A = Q·R.

#include "numerical/factor/reflector_block.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// Q as the product of its blocks, in order of application; k = min(rows, columns).
template <class T>
struct qr_reflections
{
    std::vector<T> r; // k × columns, upper trapezoidal
    std::vector<reflector_block<T>> blocks;
};

template <class T>
struct thin_qr
{
    std::vector<T> q; // rows × k, or rows × rows where the basis is complete
    std::vector<T> r; // k × columns, with a real, non-negative diagonal
};

// Factors columns [from, to) of the row-major rows × columns array from row `from` down, on the
// calling thread, and leaves reflector j in reflectors[j]. R is left on and above the diagonal;
// the elements below it are not cleared and mean nothing.
template <class T>
void factor_qr_panel(std::vector<T>& a, std::size_t rows, std::size_t columns,
                     std::vector<std::vector<T>>& reflectors, std::size_t from, std::size_t to);

// QᴴA = R. The diagonal of R has the phases that the reflectors gave it.
template <class T>
qr_reflections<T> householder_reflect(std::vector<T> a, std::size_t rows, std::size_t columns);

// Multiplies the k rows of R by phases that make its diagonal real and non-negative. Returns the
// former phases of the diagonal, which belong to the columns of Q: A = (Q·S)·(Sᴴ·R).
template <class T>
std::vector<T> turn_diagonal_real(std::vector<T>& r, std::size_t k, std::size_t columns);

// How many columns of Q are formed: the k that make up A, or all.
enum class basis_extent { thin, complete };

// The factors of A. The columns that complete the basis come from the same reflectors, applied to
// the columns of the identity that the thin factor leaves out.
template <class T>
thin_qr<T> householder_qr(std::vector<T> a, std::size_t rows, std::size_t columns,
                          basis_extent extent = basis_extent::thin);

// The rows × k matrix U of orthonormal columns, followed by columns that complete the basis,
// rows × rows, for rows >= k.
template <class T>
std::vector<T> completed_basis(const std::vector<T>& u, std::size_t rows, std::size_t k);

} // namespace numerical::detail
