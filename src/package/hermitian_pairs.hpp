#pragma once

// Eigenproblems of Hermitian matrices and of pairs of them, of which the second is positive
// definite, and parts of their spectra. Matrices may be stacks; those of a pair broadcast. Failures
// are numerical.error, and shapes that don't fit are a ValueError.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"

namespace numerical::package {

// selected_eigh(a, b, type, places, interval) -> (values, vectors), with b None for a alone, type
// 1, 2 or 3 for a·x = w·b·x, a·b·x = w·x or b·a·x = w·x, and of places, a half-open range, and
// interval, open below and closed above, at most one that isn't None. An interval takes no stack.
PyObject* selected_eigh(const binding::call_arguments& call);

// selected_eigvalsh(a, b, type, places, interval) -> values
PyObject* selected_eigvalsh(const binding::call_arguments& call);

} // namespace numerical::package
