#pragma once

// Decompositions, solvers and products of stacks of matrices: `count` places, each with its own
// operands and its own results. The results of a place are, bit by bit, those of the single call on
// its operands, at every number of threads and wherever it stands in the stack.
//
// Results are dense, place after place, in memory that the caller has made and that overlaps no
// operand. T = double or std::complex<double>.
//
// Shapes that don't fit throw the dimension_error of the single call. What the single call throws
// for the elements of a matrix comes as the cause of a stack_error with the place of the first such
// matrix; the results then mean nothing.

#include "numerical/eigen/eigen.hpp"
#include "numerical/stacks/matrix_stack.hpp"
#include "numerical/stacks/stack_error.hpp"
#include "numerical/svd/svd.hpp"

#include <cstddef>

namespace numerical::stacks {

// x = A⁻¹·b for square A of order n and vectors b of n elements: of `b` rows is n and cols 1.
template <class T>
void solve_vectors(std::size_t count, const matrix_stack<T>& a, const matrix_stack<T>& b, T* x);

// X = A⁻¹·B for n × columns matrices B.
template <class T>
void solve_matrices(std::size_t count, const matrix_stack<T>& a, const matrix_stack<T>& b, T* x);

template <class T>
void inverse(std::size_t count, const matrix_stack<T>& a, T* inverses);

// One number for each matrix.
template <class T>
void determinant(std::size_t count, const matrix_stack<T>& a, T* determinants);

template <class T>
void slogdet(std::size_t count, const matrix_stack<T>& a, T* signs, double* logs);

// The lower factors.
template <class T>
void cholesky(std::size_t count, const matrix_stack<T>& a, T* factors);

// The thin factors Q, rows × k, and R, k × cols, with k = min(rows, cols).
template <class T>
void qr(std::size_t count, const matrix_stack<T>& a, T* q, T* r);

// Small complex matrices that are no wider than tall, many side by side, by the same reflectors in
// an order of their own: as accurate, but not the same to the bit. The results depend neither on
// the place, the count and the threads nor, where no matrix is extreme or of lower rank, on the
// path; such ones are done by qr, whose failures are shared.
bool has_small_qr(std::size_t rows, std::size_t cols);
void small_qr(std::size_t count, const matrix_stack<std::complex<double>>& a,
              std::complex<double>* q, std::complex<double>* r);

// Ascending eigenvalues, n each, and the matrices whose columns are the eigenvectors.
template <class T>
void eigh(std::size_t count, const matrix_stack<T>& a, eigen_method method, double* values,
          T* vectors);

// The eigenvalues by the methods of eigenvalues.hpp, without vectors.
template <class T>
void eigenvalues(std::size_t count, const matrix_stack<T>& a, double* values);

// The thin factors U, rows × k, the k singular values in descending order, and Vᴴ, k × cols.
template <class T>
void svd(std::size_t count, const matrix_stack<T>& a, svd_method method, T* u, double* values,
         T* vh);

// By the methods of values_only.hpp, without vectors; so is the rank.
template <class T>
void singular_values(std::size_t count, const matrix_stack<T>& a, double* values);

// Small matrices by Jacobi's methods, many side by side. Their results are as accurate as those of
// the other functions but not the same to the bit. They depend neither on the place, the count and
// the threads nor, where no matrix is extreme or singular, on the path. What these methods can't do
// is done by eigh and svd by divide and conquer, by pinv and by matrix_rank, whose failures they
// share.
constexpr std::size_t least_small_order = 2;
constexpr std::size_t greatest_small_order = 8;
constexpr std::size_t greatest_small_length = 16;

// The orders of small_eigh.
bool is_small(std::size_t order);

// The shapes of small_svd.
bool is_small(std::size_t rows, std::size_t cols);

// By cyclic Jacobi (Rutishauser 1966).
template <class T>
void small_eigh(std::size_t count, const matrix_stack<T>& a, double* values, T* vectors);

// The values of small_eigh.
template <class T>
void small_eigenvalues(std::size_t count, const matrix_stack<T>& a, double* values);

// By one-sided Jacobi (Hestenes 1958; de Rijk 1989).
template <class T>
void small_svd(std::size_t count, const matrix_stack<T>& a, T* u, double* values, T* vh);

// The values of small_svd, and how many of them count.
template <class T>
void small_singular_values(std::size_t count, const matrix_stack<T>& a, double* values);
template <class T>
void small_matrix_rank(std::size_t count, const matrix_stack<T>& a, std::size_t* ranks);

// By the triplets of small_svd.
template <class T>
void small_pinv(std::size_t count, const matrix_stack<T>& a, T* inverses);

// The pseudo-inverses, cols × rows.
template <class T>
void pinv(std::size_t count, const matrix_stack<T>& a, T* inverses);

template <class T>
void matrix_rank(std::size_t count, const matrix_stack<T>& a, std::size_t* ranks);

// The least-squares solutions of least norm, a.cols × b.cols; vectors are matrices of one column.
template <class T>
void lstsq(std::size_t count, const matrix_stack<T>& a, const matrix_stack<T>& b, T* x);

// C = A·B, vectors being matrices of one row or one column.
template <class T>
void multiply(std::size_t count, const matrix_stack<T>& a, const matrix_stack<T>& b, T* c);

} // namespace numerical::stacks
