#pragma once

// The thin singular value decomposition A = U·diag(S)·Vᴴ.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"

#include <cstdint>

namespace numerical {

enum class svd_method : std::uint32_t { bidiagonal_qr = 0, jacobi = 1, divide_and_conquer = 2 };

// The widths of blocks in the bidiagonal methods, by which results differ in rounding: fixed ones,
// or the fastest for the order.
enum class svd_blocks { fixed, fastest };

// With k = min(m, n) for an m × n matrix.
template <class T>
struct svd_decomposition
{
    aligned_vector<double> values; // k, descending
    matrix<T> u;                   // m × k, left vectors in columns
    matrix<T> v;                   // n × k, right vectors in columns

    // non_finite_error "SVD: the matrix holds an infinite or NaN entry"; convergence_error from the
    // method's iteration.
    svd_decomposition(const matrix<T>& a, svd_method method, svd_blocks blocks = svd_blocks::fixed);

private:
    void factor(const matrix<T>& a, svd_method method, svd_blocks blocks);
};

// The values of the decomposition by divide and conquer in fixed blocks, bit by bit, without the
// vectors.
template <class T>
aligned_vector<double> singular_values(const matrix<T>& a);

} // namespace numerical
