#pragma once

// The rank-2 and rank-1 stores that the factorizations work on, for double and
// std::complex<double>. Dense, row-major, exclusively owned.

#include "numerical/aligned_vector.hpp"

#include <complex>
#include <cstddef>

namespace numerical {

template <class T>
struct matrix
{
    // Element (i, j) is data[i*cols + j].
    std::size_t rows;
    std::size_t cols;
    aligned_vector<T> data;

    // Takes over the elements, row_count·col_count of them: dimension_error "matrix buffer size
    // does not match dimensions", or "dimension product overflows std::size_t".
    matrix(std::size_t row_count, std::size_t col_count, aligned_vector<T> elements);
};

template <class T>
struct vector
{
    aligned_vector<T> data;
};

namespace detail {

// All zero. dimension_error "dimension product overflows std::size_t".
template <class T>
matrix<T> zero_matrix(std::size_t rows, std::size_t cols);

} // namespace detail
} // namespace numerical
