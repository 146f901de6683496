#pragma once

// Arguments that are no tensors. A wrong kind is a TypeError that names the parameter, a value out
// of range a ValueError or, for axes, an IndexError.

#include "binding/python.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/shape_list.hpp"

#include <cstddef>

namespace numerical::package {

// An int, from any object with __index__; TypeError "axis must be an int, not str". One beyond the
// range of Py_ssize_t becomes the nearest value in it.
std::ptrdiff_t integer_parameter(PyObject* object, const char* name);

// An axis counted from the front; IndexError "axis 3 is out of bounds for a tensor of rank 2".
std::size_t axis_parameter(PyObject* object, std::size_t rank, const char* name = "axis");

// Distinct axes from an int or a sequence of ints; ValueError "an axis is named twice in (0, 0)".
shape_list axes_parameter(PyObject* object, std::size_t rank, const char* name = "axis");

// Ints from an int or a sequence of them; TypeError "shape must be an int or a sequence of ints,
// not str".
aligned_vector<std::ptrdiff_t> integers_parameter(PyObject* object, const char* name);

// Extents from an int or a sequence; ValueError "negative dimensions are not allowed".
shape_list shape_parameter(PyObject* object, const char* name = "shape");

// How many elements a shape holds; ValueError "a tensor has fewer than 2**60 elements, and no axis
// is longer".
std::size_t tensor_size(const shape_list& shape);

// The truth value of an argument; `absent` if none was given.
bool flag_parameter(PyObject* object, bool absent = false);

// A float from a real number; `absent` if none was given. TypeError "rtol must be a real number,
// not str".
double real_parameter(PyObject* object, const char* name, double absent);

// Whether the argument is None or wasn't given.
inline bool is_absent(PyObject* object)
{
    return object == nullptr || object == Py_None;
}

} // namespace numerical::package
