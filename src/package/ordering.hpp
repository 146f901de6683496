#pragma once

// Sorting and searching of float64 tensors; complex128 has no order. Places of elements are
// returned as Positions, a single place as a Python int.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"

namespace numerical::package {

// sort(a, axis=-1, kind=None, *, descending=False, stable=True), of all elements in row-major order
// for axis None. NaNs are last. Every kind is the same stable sort.
PyObject* sort(const binding::call_arguments& call);
PyObject* argsort(const binding::call_arguments& call);

// argmax(a, axis=None, *, keepdims=False): the first place of the largest element, or of a NaN.
PyObject* argmax(const binding::call_arguments& call);
PyObject* argmin(const binding::call_arguments& call);

// searchsorted(a, v, side="left", sorter=None): where v keeps a vector in ascending order.
PyObject* searchsorted(const binding::call_arguments& call);

// nonzero(a): for each axis the places of the elements that aren't zero; ValueError for rank 0.
PyObject* nonzero(const binding::call_arguments& call);
PyObject* places_of_true(PyObject* given, const char* function);

} // namespace numerical::package
