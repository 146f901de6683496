#pragma once

// Systems with matrices of a stack whose elements stand in a band about the diagonal.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"

namespace numerical::package {

// band_solve(a, b, widths, conditions) -> (x, rcond or None): widths is (below, above) the
// diagonal, elements farther off not being read, or None, where each matrix tells. One rcond for
// each place of the stack if `conditions` is true.
PyObject* band_solve(const binding::call_arguments& call);

} // namespace numerical::package
