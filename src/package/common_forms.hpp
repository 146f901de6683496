#pragma once

// The common forms of small functions. Each takes positional arguments and returns null, without an
// error set, if they have another form.

#include "binding/python.hpp"

#include <span>

namespace numerical::package::common_forms {

using arguments = std::span<PyObject* const>;

// reshape(a, shape), shape an int or a list or tuple of ints, one of which may be -1; as a method
// the ints may be arguments. The result shares the elements, as do those of the next five.
PyObject* reshape(arguments given);
PyObject* reshape_method(arguments given);
PyObject* ravel(arguments given);       // ravel(a)
PyObject* copied(arguments given);      // copy(a)
PyObject* squeeze(arguments given);     // squeeze(a)
PyObject* expand_dims(arguments given); // expand_dims(a, axis) for an int

// zeros(shape), ones(shape), eye(n), with float64 elements.
PyObject* zeros(arguments given);
PyObject* ones(arguments given);
PyObject* eye(arguments given);

// arange(stop), arange(start, stop), arange(start, stop, step) of ints and floats.
PyObject* arange(arguments given);

// diag(v) and diag(v, k) of a vector or a matrix; diagonal(a) and trace(a) of a matrix.
PyObject* diag(arguments given);
PyObject* diagonal(arguments given);
PyObject* trace(arguments given);

// vstack(tensors), hstack(tensors), column_stack(tensors) of a list or tuple of tensors, all of
// them vectors or none of rank below 2.
PyObject* vstack(arguments given);
PyObject* hstack(arguments given);
PyObject* column_stack(arguments given);

// dot(a, b) of vectors and matrices, outer(a, b), kron(a, b) of matrices.
PyObject* dot(arguments given);
PyObject* outer(arguments given);
PyObject* kron(arguments given);

// multi_dot(tensors) of a list or tuple of matrices that fit each other.
PyObject* multi_dot(arguments given);

} // namespace numerical::package::common_forms
