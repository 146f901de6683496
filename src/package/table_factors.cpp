#include "package/lu_factors.hpp"
#include "package/table_entry.hpp"
#include "package/triangle_factors.hpp"

namespace numerical::package {

std::span<PyMethodDef> factors_table()
{
    static PyMethodDef table[] = {
        function<lu_factors>("lu_factors",
                             "lu_factors(a)\n--\n\n(L and U in one, exchanges, norms)."),
        function<lu_solve>("lu_solve", "lu_solve(lu, piv, b, trans)\n--\n\nThe solutions."),
        function<lu_rcond>("lu_rcond", "lu_rcond(lu, piv, norms)\n--\n\nReciprocal conditions."),
        function<lu_det>("lu_det", "lu_det(lu, piv)\n--\n\nThe determinants."),
        function<lu_slogdet>("lu_slogdet", "lu_slogdet(lu, piv)\n--\n\n(signs, logs)."),
        function<lu_places>("lu_places", "lu_places(piv)\n--\n\nWhere each row has gone."),
        function<definite_solve>("definite_solve",
                                 "definite_solve(c, lower, b)\n--\n\nThe solutions."),
        function<definite_rcond>("definite_rcond",
                                 "definite_rcond(c, lower)\n--\n\nReciprocal conditions."),
        function<cholesky_update>("cholesky_update",
                                  "cholesky_update(factor, v)\n--\n\nThat of L L^H + v v^H."),
        function<cholesky_downdate>("cholesky_downdate",
                                    "cholesky_downdate(factor, v)\n--\n\nThat of L L^H - v v^H."),
        function<triangular_solve>(
            "triangular_solve",
            "triangular_solve(a, b, trans, lower, unit_diagonal)\n--\n\nThe solutions."),
        function<triangular_rcond>("triangular_rcond",
                                   "triangular_rcond(a, lower)\n--\n\nReciprocal conditions."),
    };
    return table;
}

} // namespace numerical::package
