#pragma once

// Functions of the package written in Python whose common forms, tensors and ints given by place,
// are done natively: of a small tensor the call is most of the work. Whatever else is given, other
// kinds, keywords and what must be refused, goes on to the function in Python, which does the
// common forms as well and has the documentation.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"

namespace numerical::package {

// shortcut(function): the native function that takes the calls of the Python function, chosen by
// its name. For a method, one of a Tensor, method_shortcut(function): a descriptor for the type.
// ValueError for a name without common forms.
PyObject* shortcut(const binding::call_arguments& call);
PyObject* method_shortcut(const binding::call_arguments& call);

} // namespace numerical::package
