#pragma once

// The class numerical.Positions: places of elements, as returned by argsort, nonzero and
// searchsorted. It is an immutable array of int64, separate from Tensor, since a float64 tensor is
// a mask when used as an index; positions index tensors and each other, compare and count. Their
// buffer is lent to NumPy as '<i8'.

#include "binding/python.hpp"
#include "module/tensor_object.hpp"
#include "numerical/tensor.hpp"

#include <vector>

namespace numerical::package {

namespace binding = marlinth::binding;
using boundary::number;
using boundary::wrap_new;

// Makes the type, or adds the one there is to the module.
void define_positions(PyObject* module);

// The value of a Positions; null for any other object. TypeError if it is uninitialized.
const positions* positions_in(PyObject* object);

PyObject* number(std::ptrdiff_t x);
PyObject* wrap(positions&& value);
PyObject* wrap_new(shape_list&& shape, element_store<std::ptrdiff_t>&& elements);

// A Python int if no axis is left, otherwise a new Positions.
PyObject* int_or_positions(positions&& value);

} // namespace numerical::package
