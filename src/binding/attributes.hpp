#pragma once

// The look-up of an attribute that an object may lack.

#include "binding/owned_ref.hpp"
#include "binding/python.hpp"

namespace marlinth::binding {

// The attribute, or null without an error if the object has none of that name. Whatever else fails
// in the look-up - a property may run any code - is thrown: KeyboardInterrupt and MemoryError must
// not count as an answer.
owned_ref optional_attribute(PyObject* object, PyObject* name);

} // namespace marlinth::binding
