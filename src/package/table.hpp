#pragma once

// The contents of the package's native module: the functions, and the slots, methods and properties
// that it adds to those of the module's Tensor.

#include "binding/python.hpp"

#include <span>

namespace numerical::package {

// Makes the type, or adds the existing one to the module; false with the error set. Each step is
// left out once one has failed, as a call of Python with an error set may lose the error.
bool define_tensor(PyObject* module);

// The rows of the functions, ended by an empty one; they live as long as the process.
PyMethodDef* function_table();

// The rows by family; a family's file adds here.
std::span<PyMethodDef> linear_algebra_table();
std::span<PyMethodDef> factors_table();
std::span<PyMethodDef> matrix_functions_table();
std::span<PyMethodDef> elementwise_table();
std::span<PyMethodDef> reductions_table();
std::span<PyMethodDef> shaping_table();

} // namespace numerical::package
