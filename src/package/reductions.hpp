#pragma once

// Sums, means, products, extremes, variances, any and all over all elements, one axis or several.
// Sums are pairwise along the reduced axes in row-major order (elementwise/reductions.hpp). The
// result is a Python number if no axis is left and keepdims is false.

#include "package/operand.hpp"

#include "binding/fastcall.hpp"

namespace numerical::package {

// sum(a, axis=None, *, dtype=None, keepdims=False)
PyObject* sum(const binding::call_arguments& call);
PyObject* mean(const binding::call_arguments& call); // NaN over no element
PyObject* prod(const binding::call_arguments& call);
PyObject* max(const binding::call_arguments& call); // float64 only; NaN if one is NaN
PyObject* min(const binding::call_arguments& call);

// var(a, axis=None, *, correction=0.0, ddof=None, dtype=None, keepdims=False): the sum of the
// squared distances from the mean, divided by count - correction; NaN if that isn't positive.
PyObject* var(const binding::call_arguments& call);
PyObject* std(const binding::call_arguments& call); // its square root

// euclidean_norm(a, axis=None, *, keepdims=False): without overflow or underflow on the way.
PyObject* euclidean_norm(const binding::call_arguments& call);

// any(a, axis=None, *, keepdims=False) and all: masks, or Python's bool if no axis is left.
// count_nonzero: an int, or Positions of the counts.
PyObject* any(const binding::call_arguments& call);
PyObject* all(const binding::call_arguments& call);
PyObject* count_nonzero(const binding::call_arguments& call);

// cumsum(a, axis=None, dtype=None): of all elements in row-major order by default.
PyObject* cumsum(const binding::call_arguments& call);
PyObject* cumprod(const binding::call_arguments& call);

} // namespace numerical::package
