#pragma once

// Cholesky, QR, eigenvalues and singular values of matrices and stacks of them. A matrix of a stack
// has the bits that it would have alone. Failures are numerical.error with the module's texts; an
// unknown mode or method is a ValueError.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"

namespace numerical::package {

PyObject* cholesky(const binding::call_arguments& call); // cholesky(a) -> L
PyObject* qr(const binding::call_arguments& call);       // qr(a, mode) -> (Q, R), or R for mode "r"
PyObject* eigh(const binding::call_arguments& call);     // eigh(a, method) -> (values, vectors)
PyObject* eigvalsh(const binding::call_arguments& call); // eigvalsh(a) -> values
PyObject* svd(const binding::call_arguments& call); // svd(a, full_matrices, method) -> (U, S, Vh)
PyObject* svdvals(const binding::call_arguments& call); // svdvals(a) -> S

} // namespace numerical::package
