#pragma once

// Native entries of functions that are written in Python. The common forms, with tensors and ints
// as positional arguments, are handled natively, since for a small tensor the call is most of the
// work. All other arguments, keywords and errors among them, are passed on to the function in
// Python, which handles every form and has the documentation.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"

namespace numerical::package {

// shortcut(function): the native function that takes the calls of the Python function, chosen by
// its name. For a method, one of a Tensor, method_shortcut(function): a descriptor for the type.
// ValueError for a name without common forms.
PyObject* shortcut(const binding::call_arguments& call);
PyObject* method_shortcut(const binding::call_arguments& call);

} // namespace numerical::package
