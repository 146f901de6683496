#pragma once

// Tensors of one value, matrices of ones on, or on and below, a diagonal, and what lies on one.

#include "package/operand.hpp"

#include "binding/fastcall.hpp"

namespace numerical::package {

// eye(n, m, k, complex): n × m with ones on diagonal k. tri(n, m, k, complex): on and below it.
PyObject* eye(const binding::call_arguments& call);
PyObject* tri(const binding::call_arguments& call);

// filled(shape, value): float64. ValueError for 2**60 elements or more.
PyObject* filled(const binding::call_arguments& call);

// One value everywhere.
tensor<double> filled_with(double value, shape_list&& shape);

// diag(v, k): the square matrix with the vector v on diagonal k, zeros elsewhere; of a matrix that
// diagonal. ValueError for other ranks.
PyObject* diag(const binding::call_arguments& call);

// trace(a, offset): the sum of a diagonal, of each matrix of a stack; a number for one matrix.
// ValueError below rank 2.
PyObject* trace(const binding::call_arguments& call);

} // namespace numerical::package
