#include "binding/attributes.hpp"

#include "binding/errors.hpp"

namespace marlinth::binding {

owned_ref optional_attribute(PyObject* object, PyObject* name)
{
    owned_ref value(PyObject_GetAttr(object, name));
    if (!value) {
        if (PyErr_ExceptionMatches(PyExc_AttributeError) == 0)
            throw_pending_error();
        PyErr_Clear();
    }
    return value;
}

} // namespace marlinth::binding
