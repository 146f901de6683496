#pragma once

// Functions of matrices (numerical/matrix_functions) and ordered Schur forms.

#include "package/operand.hpp"

#include "binding/fastcall.hpp"

namespace numerical::package {

// Of a matrix or a stack of them.
PyObject* expm(const binding::call_arguments& call);
PyObject* sqrtm(const binding::call_arguments& call);
PyObject* logm(const binding::call_arguments& call);

// spectral_sum(b, f): Bᴴ·diag(f)·B of a matrix with as many rows as the real vector f has elements.
PyObject* spectral_sum(const binding::call_arguments& call);

// eigenvalues_of_schur(t): the eigenvalues of the diagonal blocks, complex128.
PyObject* eigenvalues_of_schur(const binding::call_arguments& call);

// order_schur(t, q, selected) -> (T, Q, count): the eigenvalues whose entry in the vector
// `selected` isn't zero go to the top.
PyObject* order_schur(const binding::call_arguments& call);

} // namespace numerical::package
