#include "package/band_systems.hpp"
#include "package/indefinite_factors.hpp"
#include "package/lu_factors.hpp"
#include "package/orthogonal_factors.hpp"
#include "package/table_entry.hpp"
#include "package/triangle_factors.hpp"

namespace numerical::package {

std::span<PyMethodDef> factors_table()
{
    static PyMethodDef table[] = {
        function<lu_factors>("lu_factors",
                             "lu_factors(a)\n--\n\n(L and U in one, exchanges, norms)."),
        function<lu_of_any>("lu", "lu(a)\n--\n\n"
                                  "(L and U in one, exchanges, norms) of any shape."),
        function<lu_solve>("lu_solve", "lu_solve(lu, piv, b, trans)\n--\n\nThe solutions."),
        function<lu_rcond>("lu_rcond", "lu_rcond(lu, piv, norms)\n--\n\nReciprocal conditions."),
        function<lu_det>("lu_det", "lu_det(lu, piv)\n--\n\nThe determinants."),
        function<lu_slogdet>("lu_slogdet", "lu_slogdet(lu, piv)\n--\n\n(signs, logs)."),
        function<lu_places>("lu_places", "lu_places(piv)\n--\n\nWhere each row has gone."),
        function<definite_solve>("definite_solve",
                                 "definite_solve(c, lower, b)\n--\n\nThe solutions."),
        function<definite_rcond>("definite_rcond",
                                 "definite_rcond(c, lower)\n--\n\nReciprocal conditions."),
        function<upper_cholesky>("upper_cholesky",
                                 "upper_cholesky(a)\n--\n\nU of A = U^H U, for one matrix."),
        function<cholesky_update>("cholesky_update",
                                  "cholesky_update(factor, v)\n--\n\nThat of L L^H + v v^H."),
        function<cholesky_downdate>("cholesky_downdate",
                                    "cholesky_downdate(factor, v)\n--\n\nThat of L L^H - v v^H."),
        function<triangular_solve>(
            "triangular_solve",
            "triangular_solve(a, b, trans, lower, unit_diagonal)\n--\n\nThe solutions."),
        function<triangular_rcond>("triangular_rcond",
                                   "triangular_rcond(a, lower)\n--\n\nReciprocal conditions."),
        function<ldl_factors>("ldl_factors", "ldl_factors(a, hermitian)\n--\n\n"
                                             "((L, diagonal, below), (permutation, norms))."),
        function<ldl_parts>("ldl_parts",
                            "ldl_parts(lower, diagonal, below, permutation, hermitian)\n--\n\n"
                            "(P^T L, D)."),
        function<ldl_solve>("ldl_solve",
                            "ldl_solve(lower, diagonal, below, permutation, hermitian, b)\n--\n\n"
                            "The solutions."),
        function<ldl_rcond>(
            "ldl_rcond", "ldl_rcond(lower, diagonal, below, permutation, hermitian, norms)\n--\n\n"
                         "Reciprocal conditions."),
        function<ldl_det>("ldl_det",
                          "ldl_det(lower, diagonal, below, permutation, hermitian)\n--\n\n"
                          "The determinants."),
        function<ldl_slogdet>("ldl_slogdet",
                              "ldl_slogdet(lower, diagonal, below, permutation, hermitian)\n--\n\n"
                              "(signs, logs)."),
        function<band_solve>("band_solve", "band_solve(a, b, widths, conditions)\n--\n\n"
                                           "(The solutions, rcond or None)."),
        function<qr_factors>("qr_factors", "qr_factors(a, pivoting)\n--\n\n"
                                           "((vectors, factors, phases), (R, permutation))."),
        function<qr_apply>("qr_apply", "qr_apply(vectors, factors, phases, c, adjoint)\n--\n\n"
                                       "Q c or Q^H c."),
    };
    return table;
}

} // namespace numerical::package
