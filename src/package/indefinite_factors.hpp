#pragma once

// Kept factors P·A·Pᵀ = L·D·Lᴴ or L·D·Lᵀ of Hermitian and symmetric indefinite matrices and stacks
// of them, and solutions by them; the counterpart of lu_factors.hpp.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"

namespace numerical::package {

// ldl_factors(a, hermitian) -> ((L, diagonal of D, the elements below it), (permutation, 1-norms))
PyObject* ldl_factors(const binding::call_arguments& call);

// The following take the factors: L, diagonal, below, permutation, hermitian.

// ldl_parts(*factors) -> (Pᵀ·L, D), whole matrices
PyObject* ldl_parts(const binding::call_arguments& call);

// ldl_solve(*factors, b)
PyObject* ldl_solve(const binding::call_arguments& call);

// ldl_rcond(*factors, norms)
PyObject* ldl_rcond(const binding::call_arguments& call);

// ldl_det(*factors) and ldl_slogdet(*factors) -> (signs, logs)
PyObject* ldl_det(const binding::call_arguments& call);
PyObject* ldl_slogdet(const binding::call_arguments& call);

} // namespace numerical::package
