#pragma once

// Tensors that came of comparisons. Such an object keeps the truths as bytes, an eighth of the
// memory of its ones and zeros; these are made when they are first asked for, by any function that
// takes a Tensor for numbers, and stand beside the truths from then on. So a function that knows of
// masks asks for the truths first, and no other has to know of them.

#include "binding/python.hpp"
#include "numerical/tensor.hpp"

#include <cstddef>

namespace numerical::boundary {

// The truths that a Tensor keeps, which live as long as the object; null for one that was made of
// numbers, and for any other object.
const truths* truths_in(PyObject* object);

// Bytes that a Tensor keeps for its elements: truths, numbers or both.
std::size_t bytes_of_elements(PyObject* tensor);

// A new Tensor that takes over the truths; null with the error set.
PyObject* wrap(truths&& value);

} // namespace numerical::boundary
