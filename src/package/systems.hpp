#pragma once

// Systems, inverses and determinants of matrices and stacks of them, by LU with partial pivoting.
// A matrix of a stack has the bits that it would have alone. Failures are numerical.error with the
// module's texts.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"

namespace numerical::package {

// solve(a, b, *, assume_a=None, check_condition=None); options are passed to the package's
// solve_assuming.
PyObject* solve(const binding::call_arguments& call);

PyObject* inv(const binding::call_arguments& call);     // inv(a)
PyObject* det(const binding::call_arguments& call);     // det(a)
PyObject* slogdet(const binding::call_arguments& call); // slogdet(a) -> (sign, logabsdet)

} // namespace numerical::package
