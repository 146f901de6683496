#include "binding/caster.hpp"

#include <limits>

namespace marlinth::binding {
namespace {

// The flags of the type are read by call: the structure of a type is not part of the stable ABI.
void require_flag(PyObject* object, unsigned long flag, const char* expected)
{
    if ((PyType_GetFlags(Py_TYPE(object)) & flag) == 0)
        throw cast_error(std::string("expected ") + expected + ", got " + py_type_name(object));
}

[[noreturn]] void throw_out_of_range()
{
    throw cast_error("int out of range");
}

template <class Integer>
void require_no_error(Integer value)
{
    if (value == static_cast<Integer>(-1) && PyErr_Occurred() != nullptr) {
        PyErr_Clear();
        throw_out_of_range();
    }
}

} // namespace

int to_int(PyObject* object)
{
    require_flag(object, Py_TPFLAGS_LONG_SUBCLASS, "int");
    const long long value = PyLong_AsLongLong(object);
    require_no_error(value);
    if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max())
        throw_out_of_range();
    return static_cast<int>(value);
}

unsigned long to_unsigned_long(PyObject* object)
{
    require_flag(object, Py_TPFLAGS_LONG_SUBCLASS, "int");
    const unsigned long long value = PyLong_AsUnsignedLongLong(object);
    require_no_error(value);
    return value;
}

std::string to_text(PyObject* object)
{
    require_flag(object, Py_TPFLAGS_UNICODE_SUBCLASS, "str");
    return as_utf8(object);
}

} // namespace marlinth::binding
