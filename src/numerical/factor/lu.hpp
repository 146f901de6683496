#pragma once

// P·A = L·U by partial pivoting, and solutions of systems by it.
//
// Columns are factored by halves, on several threads down to some hundreds, of which each panel is
// factored while the columns right of it are updated by the panel before (look-ahead). A panel is
// factored on a transposed copy, by halves down to a few columns. Only an exact zero counts as a
// missing pivot; there is no tolerance.

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/block_sums.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/matrix.hpp"
#include "numerical/strided/spread_rows.hpp"

#include <complex>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace numerical {

// How the rows of A came to their places: row i was exchanged with row exchanges[i], i ascending,
// for each row of A.
struct lu_pivots
{
    std::vector<std::size_t> exchanges;
    bool singular; // a column without a pivot was skipped: U has a zero on its diagonal
};

// P·A = L·U of an m × n array, in its place: L, m × k for k = min(m, n), below the diagonal, its
// unit diagonal not stored, and U, k × n. T = double or std::complex<double>. Nothing is checked.
template <class T>
lu_pivots factorize_lu(detail::block_view<T> a);

// The width of a panel.
std::size_t lu_block_width(std::size_t rows, std::size_t cols);

// Whether the right-hand side of the forward substitution is the unpermuted identity, whose columns
// right of a block are still zero when the block is reached.
enum class unit_lower_rhs : bool { no, yes };

// Factored by the constructor, and read-only afterwards. T = double or
// std::complex<double>.
template <class T>
struct lu_decomposition
{
    std::size_t order;
    std::size_t block;                    // width of a panel
    detail::spread_rows<T> factors;       // L below the diagonal, its unit diagonal not stored; U
    std::vector<std::size_t> permutation; // row i of P·A is row permutation[i] of A
    std::int32_t sign = 1;                // of the permutation
    bool singular = false;                // a column without a pivot was skipped: U has a zero

    // Of a copy. dimension_error "LU decomposition requires a square matrix", or non_finite_error
    // for an infinite or NaN entry.
    explicit lu_decomposition(detail::block_view<const T> a);
    explicit lu_decomposition(const matrix<T>& a);

    // Solves in place for right-hand sides whose rows are permuted already.
    void solve_rows(detail::block_view<T> x, unit_lower_rhs identity,
                    block_sums sums = block_sums::in_order) const;

    // A⁻¹·b for one right-hand side of n elements, on the calling thread.
    aligned_vector<T> solve_vector(const aligned_vector<T>& b) const;

    // A⁻¹·B for the row-major n × columns array B.
    aligned_vector<T> solve_matrix(const T* b, std::size_t columns,
                                   block_sums sums = block_sums::in_order) const;

    // A⁻¹, to n × n elements without gaps.
    void write_inverse(T* to, block_sums sums = block_sums::in_order) const;
    matrix<T> inverse(block_sums sums = block_sums::in_order) const;
};

} // namespace numerical
