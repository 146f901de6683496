#pragma once

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"

#include <cstddef>

namespace numerical {

// A = L·Lᴴ for a real symmetric or complex Hermitian positive-definite matrix. Only the lower
// triangle of A is used in the arithmetic, and of a complex diagonal only the real part.
template <class T>
struct cholesky_decomposition
{
    std::size_t order;
    std::size_t block;         // block width: 16, from order 129 on 32, from order 257 on 64
    aligned_vector<T> factors; // L, row-major, the strict upper triangle zero

    // Takes the storage of `a`. dimension_error "Cholesky decomposition requires a square matrix",
    // non_finite_error for an infinite or NaN entry in either triangle, and
    // not_positive_definite_error "Cholesky: matrix is not positive-definite" at the first pivot
    // that is not above zero; there is no tolerance.
    explicit cholesky_decomposition(matrix<T>&& a);

    // The same for a dense matrix that stays as it is: its lower triangle alone is copied.
    cholesky_decomposition(const T* a, std::size_t rows, std::size_t cols);

private:
    void factorize();
};

// U of A = Uᴴ·U, row-major with zeros below the diagonal, from the upper triangle of a dense matrix
// that stays as it is. The errors are those of the decomposition.
template <class T>
aligned_vector<T> upper_cholesky_factor(const T* a, std::size_t rows, std::size_t cols);

} // namespace numerical
