#include "package/decompositions.hpp"
#include "package/docs_linear_algebra.hpp"
#include "package/general_eigen.hpp"
#include "package/hermitian_pairs.hpp"
#include "package/least_squares.hpp"
#include "package/low_rank.hpp"
#include "package/products.hpp"
#include "package/reductions.hpp"
#include "package/systems.hpp"
#include "package/table_entry.hpp"

namespace numerical::package {

std::span<PyMethodDef> linear_algebra_table()
{
    static PyMethodDef table[] = {
        function<matmul>("matmul", matmul_doc),
        function<solve>("solve", solve_doc),
        function<inv>("inv", inv_doc),
        function<det>("det", det_doc),
        function<slogdet>("slogdet", "slogdet(a)\n--\n\n(sign, logabsdet)."),
        function<cholesky>("cholesky", "cholesky(a)\n--\n\nThe lower factors."),
        function<qr>("qr", "qr(a, mode)\n--\n\n(Q, R), or R for mode \"r\"."),
        function<eigh>("eigh", "eigh(a, method)\n--\n\n(values, vectors)."),
        function<eigvalsh>("eigvalsh", "eigvalsh(a)\n--\n\nThe eigenvalues, ascending."),
        function<selected_eigh>("selected_eigh",
                                "selected_eigh(a, b, type, places, interval)\n--\n\n"
                                "(values, vectors) of a, or of a and b."),
        function<selected_eigvalsh>("selected_eigvalsh",
                                    "selected_eigvalsh(a, b, type, places, interval)\n--\n\n"
                                    "The values of a, or of a and b, ascending."),
        function<svd>("svd", "svd(a, full_matrices, method)\n--\n\n(U, S, Vh)."),
        function<leading_svd>("leading_svd",
                              "leading_svd(a, k)\n--\n\n(U, S, Vh) of the k largest values."),
        function<randomized_svd>("randomized_svd",
                                 "randomized_svd(a, sample, k, power_iterations)\n--\n\n"
                                 "(U, S, Vh) from a random sample of the range."),
        function<standard_normal>("standard_normal", "standard_normal(seed, shape)\n--\n\n"
                                                     "Normal numbers, the seed's own sequence."),
        function<svdvals>("svdvals", svdvals_doc),
        function<euclidean_norm>("euclidean_norm",
                                 "euclidean_norm(a, axis=None, *, keepdims=False)\n--\n\n"
                                 "The square root of the sum of squared moduli."),
        function<pinv>("pinv", "pinv(a)\n--\n\nThe Moore-Penrose inverses."),
        function<matrix_rank>("matrix_rank",
                              "matrix_rank(a)\n--\n\nAn int, or a tensor for a stack."),
        function<lstsq>("lstsq", "lstsq(a, b)\n--\n\nThe solutions of least norm."),
        function<lstsq_fit>("lstsq_fit", "lstsq_fit(a, b, cutoff)\n--\n\n"
                                         "(x, missed, triangle, scale, values or None)."),
        function<eig>("eig", "eig(a)\n--\n\n(values, right vectors)."),
        function<eigvals>("eigvals", eigvals_doc),
        function<eig_both>("eig_both", "eig_both(a)\n--\n\n(values, left vectors, right vectors)."),
        function<schur>("schur", "schur(a, complex)\n--\n\n(T, Q) with a = Q T Q^H."),
        function<hessenberg>("hessenberg",
                             "hessenberg(a, calc_q)\n--\n\nH, or (H, Q), with a = Q H Q^H."),
    };
    return table;
}

} // namespace numerical::package
