#pragma once

// Systems with band matrices, one or a stack of them.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"

namespace numerical::package {

// band_solve(a, b, widths, conditions) -> (x, rcond or None): widths is (below, above) the
// diagonal, and elements further away aren't read; for None the widths are found from each matrix.
// One rcond for each matrix of the stack if `conditions` is true.
PyObject* band_solve(const binding::call_arguments& call);

} // namespace numerical::package
