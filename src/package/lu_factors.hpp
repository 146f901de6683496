#pragma once

// Kept factors P·A = L·U of matrices and stacks of them, and solutions by them. A matrix of a stack
// has the bits that it would have alone. The objects that hold the factors are written in Python.
// Systems that don't fit or are singular fail with the messages of solve.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"

namespace numerical::package {

// lu_factors(a) -> (L and U in one, exchanges, 1-norms of a)
PyObject* lu_factors(const binding::call_arguments& call);

// lu(a) -> the same for matrices of any shape.
PyObject* lu_of_any(const binding::call_arguments& call);

// lu_solve(lu, exchanges, b, form); the form is 0 for A, 1 for Aᵀ and 2 for Aᴴ
PyObject* lu_solve(const binding::call_arguments& call);

// lu_rcond(lu, exchanges, norms): estimates of 1/(‖A‖₁·‖A⁻¹‖₁)
PyObject* lu_rcond(const binding::call_arguments& call);

// lu_det(lu, exchanges) and lu_slogdet(lu, exchanges) -> (signs, logs)
PyObject* lu_det(const binding::call_arguments& call);
PyObject* lu_slogdet(const binding::call_arguments& call);

// lu_places(exchanges): where each row of A stands in P·A
PyObject* lu_places(const binding::call_arguments& call);

} // namespace numerical::package
