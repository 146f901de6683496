#pragma once

// The real symmetric tridiagonal eigenproblem by divide and conquer (Cuppen 1981): the matrix is
// torn in two at its middle by a rank-one change, the halves are solved by recursion, and a merge
// solves the rank-one problem. Its vector is computed anew from the roots (Gu and Eisenstat 1995),
// which keeps the eigenvectors orthogonal to working precision.

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/merge_columns.hpp"
#include "numerical/eigen/merge_workspace.hpp"
#include "numerical/eigen/tridiagonal.hpp"
#include "numerical/gemm/block_view.hpp"

#include <cstddef>

namespace numerical::detail {

// Below this order QL takes over.
constexpr std::size_t divide_order = 33;

// Up to this order real vectors go back to the matrix's coordinates as columns; beyond L3, rows and
// two transpositions may take less time. The bits are the same.
constexpr std::size_t greatest_order_of_columns = 2048;

// For n from divide_order on. d has the diagonal, e the subdiagonal and a last 0. On return d
// ascends, and column k of the n × n result is the eigenvector of d[k] in the coordinates of the
// matrix that was reduced.
template <class T>
aligned_vector<T> tridiagonal_divide_and_conquer(aligned_vector<double>& d,
                                                 const aligned_vector<double>& e,
                                                 const tridiagonal_reduction<T>& reduction,
                                                 std::size_t n, quotient_form quotients);

// n × range.count() by rows: in its columns the eigenvectors of the range of values.
template <class T>
struct chosen_columns
{
    index_range range;
    aligned_vector<T> columns;
};

using chosen_vectors = chosen_columns<double>;

// The same by rows.
struct chosen_rows
{
    index_range range;
    aligned_vector<double> rows;
};

// Of the tridiagonal matrix itself, with paired quotients, for n from divide_order on; d ascends on
// return. The last merge, which has three quarters of the products, is made for the chosen vectors
// only.
chosen_rows divide_choosing(aligned_vector<double>& d, const aligned_vector<double>& e,
                            std::size_t n, const column_choice& choice);

// The chosen ones of the same eigenvectors, in the columns of the result. d ascends on return. Only
// they are taken back to the coordinates of the matrix.
template <class T>
chosen_columns<T> divide_and_conquer_choosing(aligned_vector<double>& d, aligned_vector<double>& e,
                                              const tridiagonal_reduction<T>& reduction,
                                              std::size_t n, const column_choice& choice);

// Real vectors of the tridiagonal matrix, as rows, in the coordinates of the matrix that was
// reduced and in columns.
template <class T>
aligned_vector<T> columns_in_matrix_basis(const tridiagonal_reduction<T>& reduction,
                                          aligned_vector<double> given, std::size_t n);

// The same in the tridiagonal matrix's own coordinates: d ascends, and column k of z, which is n ×
// n and all zero on entry, becomes the eigenvector of d[k]. e has n - 1 elements.
void divide_block(double* d, const double* e, std::size_t n, block_view<double> z,
                  merge_workspace& workspace);

// The eigensystem of diag(d) + rho·z·zᵀ in the basis q: d has two ascending runs, the first k
// columns of q are zero below row k and the others above it, z has norm √2. d ascends on return
// and q holds the merged columns.
void merge_rank_one(aligned_vector<double>& d, aligned_vector<double> z, double rho,
                    block_view<double> q, std::size_t k, merge_workspace& workspace);

// The same with paired quotients, of which only the chosen columns are made; q is spent.
chosen_vectors merge_rank_one_choosing(aligned_vector<double>& d, aligned_vector<double> z,
                                       double rho, block_view<double> q, std::size_t k,
                                       const column_choice& choice);

} // namespace numerical::detail
