#include "package/decompositions.hpp"
#include "package/general_eigen.hpp"
#include "package/least_squares.hpp"
#include "package/products.hpp"
#include "package/reductions.hpp"
#include "package/systems.hpp"
#include "package/table_entry.hpp"

namespace numerical::package {

std::span<PyMethodDef> linear_algebra_table()
{
    static PyMethodDef table[] = {
        function<matmul>("matmul",
                         "matmul(a, b)\n--\n\n"
                         "The matrix product, as @: vectors count as a row or a column, leading\n"
                         "axes are stacked.\n\n"
                         "ValueError if the inner extents differ or an operand has rank 0."),
        function<solve>("solve", "solve(a, b)\n--\n\n"
                                 "x with a @ x = b, by LU. a is (..., M, M); b is (M,), or\n"
                                 "(..., M, K) with one right-hand side in each column.\n\n"
                                 "numerical.error \"solve: matrix is singular\" for an exactly\n"
                                 "singular a."),
        function<inv>("inv", "inv(a)\n--\n\nThe inverse of square matrices, by LU."),
        function<det>("det", "det(a)\n--\n\n"
                             "The determinant; a number for a matrix, a tensor for a stack.\n"
                             "slogdet doesn't overflow."),
        function<slogdet>("slogdet", "slogdet(a)\n--\n\n(sign, logabsdet)."),
        function<cholesky>("cholesky", "cholesky(a)\n--\n\nThe lower factors."),
        function<qr>("qr", "qr(a, mode)\n--\n\n(Q, R), or R for mode \"r\"."),
        function<eigh>("eigh", "eigh(a, method)\n--\n\n(values, vectors)."),
        function<eigvalsh>("eigvalsh", "eigvalsh(a)\n--\n\nThe eigenvalues, ascending."),
        function<svd>("svd", "svd(a, full_matrices, method)\n--\n\n(U, S, Vh)."),
        function<svdvals>("svdvals", "svdvals(a)\n--\n\nThe singular values, descending."),
        function<euclidean_norm>("euclidean_norm",
                                 "euclidean_norm(a, axis=None, *, keepdims=False)\n--\n\n"
                                 "The square root of the sum of squared moduli."),
        function<pinv>("pinv", "pinv(a)\n--\n\nThe Moore-Penrose inverses."),
        function<matrix_rank>("matrix_rank",
                              "matrix_rank(a)\n--\n\nAn int, or a tensor for a stack."),
        function<lstsq>("lstsq", "lstsq(a, b)\n--\n\nThe solutions of least norm."),
        function<eig>("eig", "eig(a)\n--\n\n(values, right vectors)."),
        function<eigvals>("eigvals",
                          "eigvals(a)\n--\n\n"
                          "The eigenvalues of general square matrices: float64 where none\n"
                          "of a real matrix has an imaginary part, complex128 otherwise."),
        function<eig_both>("eig_both", "eig_both(a)\n--\n\n(values, left vectors, right vectors)."),
        function<schur>("schur", "schur(a, complex)\n--\n\n(T, Q) with a = Q T Q^H."),
        function<hessenberg>("hessenberg", "hessenberg(a)\n--\n\n(H, Q) with a = Q H Q^H."),
    };
    return table;
}

} // namespace numerical::package
