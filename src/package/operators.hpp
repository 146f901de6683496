#pragma once

// The operators of Tensor as type slots: arithmetic, matrix product, signs and comparisons.
//
// The other operand may be a Tensor, a Python number, a list or tuple, or an array that exposes
// __array_interface__. For anything else, and for operands that come first (the callback
// defers_to), the result is NotImplemented, so that Python tries the other operand's operator.

#include "binding/python.hpp"
#include "numerical/elementwise/arithmetic.hpp"

#include <vector>

namespace numerical::package {

// Appends the slots of the operators.
void add_operator_slots(std::vector<PyType_Slot>& slots);

// a op b, where neither operand need be a Tensor; NotImplemented if an object is no operand.
PyObject* of_tensors(arithmetic_operation operation, PyObject* left, PyObject* right);

// The comparison of CPython's code `code`, translated: the slot of Tensor and of Positions.
PyObject* comparison_slot(PyObject* left, PyObject* right, int code);

// a @ b by the rules of matmul; operands are converted if necessary. ValueError if an operand has
// rank 0 or the inner extents differ.
PyObject* matrix_product(PyObject* left, PyObject* right);

} // namespace numerical::package
