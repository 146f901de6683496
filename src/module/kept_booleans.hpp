#pragma once

// Tensors made by comparisons. Such an object keeps its elements as booleans, bytes that take an
// eighth of the memory of ones and zeros. The numbers are made when a function first needs them,
// and are kept in addition to the booleans from then on. A function that has a form for masks looks
// for the booleans first; no other has to know of them.

#include "binding/python.hpp"
#include "numerical/tensor.hpp"

#include <cstddef>

namespace numerical::boundary {

// The booleans that a Tensor keeps, which live as long as the object; null for a Tensor made of
// numbers, and for any other object.
const booleans* booleans_in(PyObject* object);

// Bytes that a Tensor keeps for its elements: booleans, numbers or both.
std::size_t bytes_of_elements(PyObject* tensor);

// A new Tensor that takes over the booleans; null with the error set.
PyObject* wrap(booleans&& value);

} // namespace numerical::boundary
