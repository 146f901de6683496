#pragma once

// Reduction of a square matrix to real upper bidiagonal form by reflections from both sides,
// A = U·B·Vᴴ (Golub and Kahan 1965). Large ones go by panels of columns (Dongarra, Sorensen and
// Hammarling 1989): inside a panel the matrix stays as it is and the updates are kept as low-rank
// factors, so that half of the work is in two matrix products per panel. The other half, two
// products of the trailing matrix with a vector for each column, is bound by memory. That is the
// form of the functions whose bits never change; the others do without panels.
//
// Bases are held by rows: row i of `left` is the i-th left basis vector and row i of `right` the
// i-th right one, that is A = leftᵀ·B·conj(right).

#include "numerical/aligned_vector.hpp"
#include "numerical/svd/bidiagonal_reduction.hpp"

#include <cstddef>
#include <type_traits>

namespace numerical::detail {

// From this order on panels take less time than one reflector after the other. A complex matrix
// below it stays in L2, and panels cost more than they save.
template <class T>
constexpr std::size_t least_order_of_panels = std::is_same_v<T, double> ? 128 : 400;

constexpr std::size_t bidiagonal_panel_columns = 32;

// From this order on the reduction in one pass for each column takes the least time.
constexpr std::size_t least_order_of_bidiagonal_steps = 16;

// Complex blocks are multiplied as real ones twice the size, which pays later.
template <class T>
constexpr std::size_t blocked_bases_order = std::is_same_v<T, double> ? 64 : 128;

// Below this order the two sides of a decomposition are taken back beside each other; from it on
// the blocks of reflectors of one side occupy the threads by themselves.
constexpr std::size_t side_by_side_order = 600;

template <class T>
struct bidiagonal_bases
{
    aligned_vector<T> left;
    aligned_vector<T> right;
};

// The reduction of the row-major n × n matrix a of finite entries. The real form by panels leaves d
// and e signed; otherwise they are non-negative.
template <class T>
bidiagonal_reduction<T> bidiagonalize(aligned_vector<T> a, std::size_t n);

// The same as fast as it can be (bidiagonal_steps.hpp), with d and e signed if real.
template <class T>
bidiagonal_reduction<T> bidiagonalize_fastest(aligned_vector<T> a, std::size_t n);

// The same by panels, of any order.
template <class T>
bidiagonal_reduction<T> bidiagonalize_blocked(aligned_vector<T> a, std::size_t n);

// The same one reflector after the other, each applied to the whole trailing matrix.
template <class T>
bidiagonal_reduction<T> bidiagonalize_unblocked(aligned_vector<T> matrix, std::size_t n);

// Both n × n bases by rows. Consumes the right reflectors.
template <class T>
bidiagonal_bases<T> form_bidiagonal_bases(bidiagonal_reduction<T>& reduction);

// The left basis times a real matrix of n rows, both by columns: left vectors of B become those of
// A. The basis is never formed.
template <class T>
aligned_vector<T> multiply_left_basis(const bidiagonal_reduction<T>& reduction,
                                      aligned_vector<double> vectors);

// The same of the right basis, and of a matrix of V = double or T. Consumes the right reflectors.
template <class T, class V>
aligned_vector<T> multiply_right_basis(bidiagonal_reduction<T>& reduction,
                                       aligned_vector<V> vectors);

// UᴴX for a matrix X of n rows, the left basis' vectors being the columns of U.
template <class T>
aligned_vector<T> multiply_left_adjoint(const bidiagonal_reduction<T>& reduction,
                                        aligned_vector<T> x);

} // namespace numerical::detail
