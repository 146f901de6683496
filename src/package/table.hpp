#pragma once

// What the package's native module offers: the functions, and the slots, methods and properties
// that it gives to Tensor beside the module's own.

#include "binding/python.hpp"

namespace numerical::package {

// Makes the type, or adds the one there is to the module.
void define_tensor(PyObject* module);

// The rows of the functions, ended by an empty one; they live as long as the process.
PyMethodDef* function_table();

} // namespace numerical::package
