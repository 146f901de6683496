#pragma once

// Products of tensors: the functions behind @, matmul and the others of their kind.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"

namespace numerical::package {

// matmul(a, b): vectors count as a row on the left and as a column on the right; the leading axes
// of others broadcast, and each pair of matrices is multiplied as it would be alone. ValueError
// where an operand has rank 0 or the inner extents differ.
PyObject* matmul(const binding::call_arguments& call);

} // namespace numerical::package
