#pragma once

// Singular values without vectors, and properties of a matrix that follow from them.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"
#include "numerical/strided/block_view.hpp"
#include "numerical/strided/matrix_view.hpp"

#include <cstddef>

namespace numerical {

// The min(m, n) singular values, descending, as accurate as those of svd_decomposition. The rows of
// A lie without gaps. non_finite_error "SVD: the matrix holds an infinite or NaN entry";
// convergence_error.
template <class T>
aligned_vector<double> singular_values_only(detail::block_view<const T> a);

template <class T>
aligned_vector<double> singular_values_only(const matrix<T>& a)
{
    return singular_values_only(detail::view_of(a));
}

// The number of singular values above max(m, n)·2^-52 times the largest: the rule of matrix_rank
// on these values. non_finite_error with the name "matrix_rank".
template <class T>
std::size_t rank_by_values(detail::block_view<const T> a);

template <class T>
std::size_t rank_by_values(const matrix<T>& a)
{
    return rank_by_values(detail::view_of(a));
}

} // namespace numerical
