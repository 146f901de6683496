#pragma once

// Reduction of a Hermitian matrix to a real symmetric tridiagonal one by reflectors, and the ways
// back. The matrix is Hₙ₋₁···H₁ applied from both sides, H₁ first; reflector i annihilates column
// i - 1 below the subdiagonal. For complex matrices a diagonal scaling by `phases` then makes the
// subdiagonal real and non-negative.
//
// Columns are handled in panels (Dongarra, Sorensen and Hammarling 1989): within a panel the
// trailing matrix stays as it was, and each column is brought up to date from the panel's vectors
// alone; then A -= V·Wᴴ + W·Vᴴ at once by products. The operation that can't be blocked is the
// product of the trailing matrix with each reflector. Matrices that lie in the caches take less
// time without panels.

#include "numerical/aligned_vector.hpp"
#include "numerical/strided/block_view.hpp"

#include <cstddef>
#include <type_traits>
#include <vector>

namespace numerical::detail {

// Reflectors that go back together: wider blocks pass over large matrices less often, and have more
// operations among themselves. As of panels, there is a fixed width and the fastest for the order.
constexpr std::size_t fixed_way_back = 32;

template <class T>
constexpr std::size_t fastest_way_back(std::size_t n)
{
    constexpr std::size_t large = 800;
    return std::is_same_v<T, double> && n >= large ? 48 : fixed_way_back;
}

template <class T>
struct tridiagonal_reduction
{
    // Entry i spans indices i .. n-1; empty where column i - 1 needed no reflection. Entry 0 is
    // empty.
    std::vector<aligned_vector<T>> reflectors;
    aligned_vector<T> phases;              // of modulus 1; all 1 for double
    std::size_t way_back = fixed_way_back; // reflectors of a block
};

// The order of summation, and with it the bits of the results, follows from the width of the panels
// and from what is done without them: a form for functions whose bits never change, and the fastest
// for the order.
enum class reduction_form { fixed, fastest };

// Columns of a panel. A column is brought up to date by the vectors of those before, which takes
// the longer the wider a panel is; the product that a narrow one leaves passes over a large matrix
// more often.
constexpr std::size_t fixed_panel = 32;

constexpr std::size_t fastest_panel(std::size_t n)
{
    constexpr std::size_t large = 600;
    return n < large ? 16 : fixed_panel;
}

// A matrix of this order and what is left of a larger one go by steps (symmetric_steps.hpp), which
// read and write it for each column where a product with a vector reads it: far outside L2 they
// take longer than panels.
template <class T>
constexpr std::size_t most_order_of_steps = std::is_same_v<T, double> ? 1100 : 1040;

// Reduces the n × n matrix `a`, of which the lower triangle is read, and overwrites it. d receives
// the diagonal, e the subdiagonal and a last 0, both of n entries. For double e keeps its signs.
template <class T>
tridiagonal_reduction<T> tridiagonalize(aligned_vector<T>& a, std::size_t n,
                                        aligned_vector<double>& d, aligned_vector<double>& e,
                                        reduction_form form = reduction_form::fixed);

// Of A/scale, A being given by its lower triangle, which is only read: by steps, and without
// reflectors.
template <class T>
void tridiagonalize_for_values(block_view<const std::type_identity_t<T>> lower, double scale,
                               aligned_vector<double>& d, aligned_vector<double>& e);

// The n × n basis B by rows: an eigenvector of the tridiagonal matrix, as a row z, gives the
// matrix's as the row z·B.
template <class T>
aligned_vector<T> tridiagonal_basis(const tridiagonal_reduction<T>& reduction, std::size_t n);

// rows := rows·B without forming B, for any number of rows of n elements.
template <class T>
void to_matrix_basis(const tridiagonal_reduction<T>& reduction, aligned_vector<T>& rows,
                     std::size_t n);

// The same, reflector by reflector: a block of them is gathered with as many operations as it has
// with some twenty rows. Faster up to so many.
constexpr std::size_t most_rows_one_by_one = 20;

template <class T>
void few_to_matrix_basis(const tridiagonal_reduction<T>& reduction, aligned_vector<T>& rows,
                         std::size_t n);

// The same in columns, columns := Bᵀ·columns, and with the same bits: for any number of columns of
// n elements, side by side.
void columns_to_matrix_basis(const tridiagonal_reduction<double>& reduction,
                             aligned_vector<double>& columns, std::size_t n);

} // namespace numerical::detail
