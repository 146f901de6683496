#pragma once

// The rank-2 and rank-1 stores that the factorizations work on, for double and
// std::complex<double>. Dense, row-major, exclusively owned.

#include <complex>
#include <cstddef>
#include <vector>

namespace numerical {

template <class T>
struct matrix
{
    // Element (i, j) is data[i*cols + j].
    std::size_t rows;
    std::size_t cols;
    std::vector<T> data;

    // Takes `data`, which must hold rows·cols elements: dimension_error "matrix buffer size does
    // not match dimensions", or "dimension product overflows std::size_t".
    matrix(std::size_t rows, std::size_t cols, std::vector<T> data);
};

template <class T>
struct vector
{
    std::vector<T> data;
};

namespace detail {

// All zero. dimension_error "dimension product overflows std::size_t".
template <class T>
matrix<T> zero_matrix(std::size_t rows, std::size_t cols);

// non_finite_error, prefix + ": the matrix holds an infinite or NaN entry", if any entry is.
template <class T>
void require_finite(const matrix<T>& a, const char* prefix);

// The same over the lower triangle of a square matrix; elements above the diagonal aren't read.
template <class T>
void require_finite_lower(const matrix<T>& a, const char* prefix);

} // namespace detail
} // namespace numerical
