#pragma once

// Eigenvalues, eigenvectors, Schur and Hessenberg forms of general square matrices and stacks of
// them (nonsymmetric/nonsymmetric.hpp). Values and vectors are float64 if no number of the stack
// has an imaginary part, otherwise complex128.

#include "package/operand.hpp"

#include "binding/fastcall.hpp"

namespace numerical::package {

PyObject* eig(const binding::call_arguments& call);     // eig(a) -> (values, right vectors)
PyObject* eigvals(const binding::call_arguments& call); // eigvals(a) -> values

// eig_both(a) -> (values, left vectors, right vectors) of one matrix.
PyObject* eig_both(const binding::call_arguments& call);

// schur(a, complex) -> (T, Q) of one matrix, A = Q·T·Qᴴ; T is quasi-triangular for a real matrix
// unless its complex form is requested.
PyObject* schur(const binding::call_arguments& call);

// hessenberg(a, calc_q) -> H of one matrix, or (H, Q), A = Q·H·Qᴴ.
PyObject* hessenberg(const binding::call_arguments& call);

} // namespace numerical::package
