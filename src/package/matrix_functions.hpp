#pragma once

// Functions of matrices, linear matrix equations and ordered Schur forms
// (numerical/matrix_functions).

#include "package/operand.hpp"

#include "binding/fastcall.hpp"

namespace numerical::package {

PyObject* expm(const binding::call_arguments& call);  // expm(a), of a stack as well
PyObject* sqrtm(const binding::call_arguments& call); // sqrtm(a) of one matrix
PyObject* logm(const binding::call_arguments& call);  // logm(a) of one matrix

// solve_sylvester(a, b, q), of one equation each; the others are functions of (a, q).
PyObject* solve_sylvester(const binding::call_arguments& call);
PyObject* solve_continuous_lyapunov(const binding::call_arguments& call);
PyObject* solve_discrete_lyapunov(const binding::call_arguments& call);

// eigenvalues_of_schur(t): what the diagonal blocks hold, complex128.
PyObject* eigenvalues_of_schur(const binding::call_arguments& call);

// order_schur(t, q, selected) -> (T, Q, count): the eigenvalues whose entry in the vector
// `selected` isn't zero go to the top.
PyObject* order_schur(const binding::call_arguments& call);

} // namespace numerical::package
