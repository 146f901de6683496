#pragma once

// Systems with triangles and with kept Cholesky factors, of matrices and stacks of them; the
// counterpart of lu_factors.hpp.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"

namespace numerical::package {

// definite_solve(factor, lower, b) and definite_rcond(factor, lower), for a Cholesky factor
PyObject* definite_solve(const binding::call_arguments& call);
PyObject* definite_rcond(const binding::call_arguments& call);

// upper_cholesky(a) -> U of A = Uᴴ·U, for one matrix, of which the upper triangle is read
PyObject* upper_cholesky(const binding::call_arguments& call);

// cholesky_update(factor, v) and cholesky_downdate(factor, v), of one lower factor
PyObject* cholesky_update(const binding::call_arguments& call);
PyObject* cholesky_downdate(const binding::call_arguments& call);

// triangular_solve(a, b, form, lower, unit_diagonal)
PyObject* triangular_solve(const binding::call_arguments& call);

// triangular_rcond(a, lower)
PyObject* triangular_rcond(const binding::call_arguments& call);

} // namespace numerical::package
