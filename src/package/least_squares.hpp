#pragma once

// Least squares, pseudo-inverse and rank of matrices and stacks of them, with the thresholds of the
// module's functions of the same names: a singular value counts if it is above max(M, N)·2^-52
// times the largest.

#include "package/operand.hpp"

#include "binding/fastcall.hpp"

namespace numerical::package {

PyObject* pinv(const binding::call_arguments& call);        // pinv(a)
PyObject* matrix_rank(const binding::call_arguments& call); // matrix_rank(a): int, or a tensor
PyObject* lstsq(const binding::call_arguments& call);       // lstsq(a, b) -> x

// lstsq_fit(a, b, cutoff) of one matrix: (x, missed, triangle, scale, values or None), as
// least_squares_fit has them.
PyObject* lstsq_fit(const binding::call_arguments& call);

} // namespace numerical::package
