#pragma once

// Indexing of Tensor by NumPy's rules: by ints, slices, Ellipsis, None, arrays of ints, and masks.
// An array of ints is a list or tuple in the index, a Positions, or anything that exposes
// __array_interface__ with integers; a mask is a Tensor of zeros and ones, an array of truth values
// or a list of bools, and counts for as many axes as it has. Every result is a copy; where ints
// alone leave no axis it is a Python number.
//
// Arrays broadcast together. Their axes take the arrays' place in the result if the arrays are
// adjacent, and come first if a slice, None or Ellipsis is between two of them (an int among arrays
// counts as one of them).
//
// IndexError for what lies outside its axis, too many indices, an Ellipsis too many, arrays that
// don't broadcast, a mask of another shape than its axes, and keys of other kinds.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"
#include "package/positions.hpp"

namespace numerical::package {

// self[key], for the slot.
PyObject* subscript(PyObject* self, PyObject* key);

// a[key] of positions: an int where ints leave no axis.
PyObject* subscript_positions(const positions& a, PyObject* key);

// updated(t, key, values, operation): a copy of t in which the elements of t[key] are replaced by
// `operation` ("set", "add", "multiply", "min", "max") of themselves and the values, which
// broadcast to them. ValueError for another operation, or min and max of complex128.
PyObject* updated_copy(const binding::call_arguments& call);

} // namespace numerical::package
