#pragma once

// One reflector. Convention: a reflector is a vector v of Euclidean length 1 and represents
// H = I - 2·v·vᴴ, Hermitian and its own inverse, on the rows or columns that v spans. There is
// no separate factor tau and no element forced to 1. An empty vector represents the identity; loops
// over reflectors skip empty ones.

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/block_view.hpp"

#include <algorithm>
#include <cstddef>

namespace numerical::detail {

// Multiplies x by the power of two that brings its largest modulus to [1, 2) if that modulus is
// below 2^-500; returns the factor, 1 for any other x.
template <class T>
double rescale_tiny(aligned_vector<T>& x);

// Whether x, which isn't empty, needs no reflector.
template <class T>
bool is_zero_beyond_first(const aligned_vector<T>& x)
{
    return std::all_of(x.begin() + 1, x.end(), [](const T& element) { return element == T(0); });
}

// Turns x, which must have a non-zero element after the first, into the unit reflector that maps x
// to β·e₁, and returns β. Its phase is opposite to that of x[0], so that v = x - β·e₁ never cancels
// (Householder 1958). The scaling of tiny vectors and the norm's own keep v of unit length for any
// finite x whose norm is below half the largest double.
template <class T>
T householder_in_place(aligned_vector<T>& x);

// The same for any x: a zero x becomes the empty vector, the identity.
template <class T>
void make_reflector(aligned_vector<T>& x);

// A := H·A for a view of v.size() rows. Parallel over tiles of 64 columns.
template <class T>
void reflect_rows(block_view<T> rows, const aligned_vector<T>& v);

// The same for rows [first_row, first_row + v.size()) of the row-major `a`, in columns
// [first_column, ld).
template <class T>
void reflect_rows(aligned_vector<T>& a, std::size_t ld, const aligned_vector<T>& v,
                  std::size_t first_row, std::size_t first_column);

// y := H·y for the first v.size() elements y of each row; that is A := A·Hᵀ.
// An empty v does nothing. The complex sum of y[i]·conj(v[i]) is taken in index order, unfused, in
// runs of 512 that are added by halves; the real one is long_dot_on.
template <class T>
void reflect_columns(block_view<T> stretches, const aligned_vector<T>& v);

// The same for the elements from `column` on in each of the rows [row_from, row_to).
template <class T>
void reflect_columns(aligned_vector<T>& a, std::size_t ld, const aligned_vector<T>& v,
                     std::size_t column, std::size_t row_from, std::size_t row_to);

} // namespace numerical::detail
