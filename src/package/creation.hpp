#pragma once

// Matrices of ones on, or on and below, a diagonal, and of given numbers on one.

#include "package/operand.hpp"

#include "binding/fastcall.hpp"

namespace numerical::package {

// eye(n, m, k, complex): n × m with ones on diagonal k. tri(n, m, k, complex): on and below it.
PyObject* eye(const binding::call_arguments& call);
PyObject* tri(const binding::call_arguments& call);

// diagonal_matrix(v, k): the square matrix with the vector v on diagonal k, zeros elsewhere.
PyObject* diagonal_matrix(const binding::call_arguments& call);

} // namespace numerical::package
