#pragma once

// QR factors of matrices and stacks of them, whose Q is kept as reflectors.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"

namespace numerical::package {

// qr_factors(a, pivoting) -> ((vectors, factors, phases), (R, permutation))
PyObject* qr_factors(const binding::call_arguments& call);

// qr_apply(vectors, factors, phases, c, adjoint): Q·c, or Qᴴ·c, for the square Q of M rows and c of
// shape (..., M, L)
PyObject* qr_apply(const binding::call_arguments& call);

} // namespace numerical::package
