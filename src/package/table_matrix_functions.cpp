#include "package/matrix_equations.hpp"
#include "package/matrix_functions.hpp"
#include "package/table_entry.hpp"

namespace numerical::package {

std::span<PyMethodDef> matrix_functions_table()
{
    static PyMethodDef table[] = {
        function<expm>("expm", "expm(a)\n--\n\n"
                               "The exponential of square matrices."),
        function<sqrtm>("sqrtm", "sqrtm(a)\n--\n\n"
                                 "The principal square roots of square matrices."),
        function<logm>("logm", "logm(a)\n--\n\n"
                               "The principal logarithms of square matrices."),
        function<spectral_sum>("spectral_sum", "spectral_sum(b, f)\n--\n\n"
                                               "b.mH @ diag(f) @ b, Hermitian to the bit."),
        function<solve_sylvester>("solve_sylvester", "solve_sylvester(a, b, q)\n--\n\n"
                                                     "x with a @ x + x @ b = q."),
        function<solve_continuous_lyapunov>("solve_continuous_lyapunov",
                                            "solve_continuous_lyapunov(a, q)\n--\n\n"
                                            "x with a @ x + x @ a.mH = q."),
        function<solve_discrete_lyapunov>("solve_discrete_lyapunov",
                                          "solve_discrete_lyapunov(a, q)\n--\n\n"
                                          "x with a @ x @ a.mH - x + q = 0."),
        function<eigenvalues_of_schur>("eigenvalues_of_schur",
                                       "eigenvalues_of_schur(t)\n--\n\n"
                                       "The eigenvalues of a Schur form, as complex128."),
        function<order_schur>("order_schur",
                              "order_schur(t, q, selected)\n--\n\n"
                              "(T, Q, count) with the selected eigenvalues at the top of T."),
    };
    return table;
}

} // namespace numerical::package
