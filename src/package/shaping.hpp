#pragma once

// Permutations of axes, joins and triangles, which move elements without arithmetic. Every result
// is a copy.

#include "package/operand.hpp"

#include "binding/fastcall.hpp"

namespace numerical::package {

// permute_dims(a, axes=None): the axes in another order, reversed by default.
PyObject* permute_dims(const binding::call_arguments& call);

// Properties of a Tensor: all axes reversed; the last two exchanged, and that conjugated
// (ValueError below rank 2).
PyObject* transposed(PyObject* self);
PyObject* matrix_transposed(PyObject* self);
PyObject* hermitian_transposed(PyObject* self);

// concatenate(tensors, axis=0): tensors of one rank joined along an axis, flat ones for None.
PyObject* concatenate(const binding::call_arguments& call);

// stack(tensors, axis=0): tensors of one shape side by side along a new axis.
PyObject* stack(const binding::call_arguments& call);

// tril(a, k=0), triu(a, k=0): zeros above or below diagonal k of each matrix.
PyObject* tril(const binding::call_arguments& call);
PyObject* triu(const binding::call_arguments& call);

// with_strides(a, shape, strides, first): elements read from `first` on through strides of
// elements, which must not be negative; IndexError where one lies outside.
PyObject* with_strides(const binding::call_arguments& call);

} // namespace numerical::package
