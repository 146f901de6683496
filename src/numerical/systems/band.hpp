#pragma once

// Systems with a band matrix, by LU with partial pivoting within the band: about n·lower·(lower +
// upper) multiply-adds and n·(2·lower + upper + 1) stored elements. Exchanges of rows widen the
// band by `lower` columns to the right (Golub and Van Loan 2013, section 4.3). T = double or
// std::complex<double>.

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/systems/bandwidths.hpp"
#include "numerical/systems/forms.hpp"

#include <cstddef>
#include <vector>

namespace numerical {

template <class T>
class band_decomposition
{
public:
    // Reads the band of the square matrix `a` and no other elements. non_finite_error "band LU
    // decomposition: the matrix holds an infinite or NaN entry".
    band_decomposition(detail::block_view<const T> a, const bandwidths& band);

    // Whether a pivot is exactly zero.
    bool is_singular() const { return singular; }

    // X := A⁻¹·X, or with Aᵀ or Aᴴ in place of A; the rows of X lie one after the other.
    void solve(matrix_form form, detail::block_view<T> x) const;

    // 1/(‖A‖₁·‖A⁻¹‖₁) for A's norm, the second norm estimated; 0 if A is singular.
    double reciprocal_condition(double norm) const;

private:
    std::size_t order;
    std::size_t below;      // width of the band below the diagonal
    std::size_t above;      // width of U above it, with the columns that exchanges add
    aligned_vector<T> rows; // below + above + 1 elements of each row, the diagonal's in place
    aligned_vector<T> multipliers;   // `below` of them for each column
    std::vector<std::size_t> pivots; // row k was exchanged with row pivots[k]
    bool singular = false;

    // Element (i, j) of the band. The next row's element of a column is `stride` further in memory.
    T* at(std::size_t i, std::size_t j) { return rows.data() + i * stride() + j + below; }

    const T* at(std::size_t i, std::size_t j) const
    {
        return rows.data() + i * stride() + j + below;
    }

    std::size_t stride() const { return below + above; }

    std::size_t rows_below(std::size_t k) const;
    std::size_t columns_right(std::size_t k) const;
    void read(detail::block_view<const T> a, const bandwidths& band);
    void factorize();
    void solve_plain(detail::block_view<T> x) const;
    void solve_transposed(detail::block_view<T> x) const;
};

} // namespace numerical
