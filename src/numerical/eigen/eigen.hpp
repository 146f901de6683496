#pragma once

// Eigendecompositions of real symmetric and complex Hermitian matrices. Only the lower triangle is
// read; the strict upper one may hold anything, and imaginary parts on the diagonal are dropped.
// The work is done on the matrix divided by its largest modulus, in the storage of a matrix that is
// moved in.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"

#include <complex>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace numerical {

enum class eigen_method : std::uint32_t { tridiagonal_ql = 0, jacobi = 1, divide_and_conquer = 2 };

// The widths of panels in the reduction and of blocks on the way back, and the form of quotients in
// merges, by which results differ in rounding: fixed ones, or the fastest for the order.
enum class eigen_blocks { fixed, fastest };

class symmetric_eigen
{
public:
    // dimension_error if `a` isn't square, non_finite_error, convergence_error.
    symmetric_eigen(matrix<double> a, eigen_method method,
                    eigen_blocks blocks = eigen_blocks::fixed);

    std::size_t size;
    aligned_vector<double> values; // ascending
    matrix<double> vectors;        // column j is the unit eigenvector of values[j]

private:
    // From eigenvalues in any order and the n × n matrix of eigenvectors by rows.
    void extract_sorted(const aligned_vector<double>& diagonal, const aligned_vector<double>& rows);
};

class hermitian_eigen
{
public:
    // As above; std::invalid_argument for the Jacobi method.
    hermitian_eigen(matrix<std::complex<double>> a, eigen_method method,
                    eigen_blocks blocks = eigen_blocks::fixed);

    std::size_t size;
    aligned_vector<double> values;
    matrix<std::complex<double>> vectors;
};

namespace detail {

// n × n elements, element (i, j) being rows[order[j]·n + i]: rows that become columns in an order.
template <class T>
aligned_vector<T> columns_by_value(const aligned_vector<T>& rows,
                                   const std::vector<std::size_t>& order, std::size_t n);

// Unsorted eigenvalues of the matrix, and the eigenvectors by rows.
struct jacobi_eigenpairs
{
    aligned_vector<double> diagonal;
    aligned_vector<double> rows;
};

// Works on a/scale, by its lower triangle. convergence_error if not converged after
// `sweep_limit` sweeps.
jacobi_eigenpairs two_sided_jacobi(const matrix<double>& a, double scale, int sweep_limit);

} // namespace detail
} // namespace numerical
