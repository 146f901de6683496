#pragma once

// Arguments read without conversion, for the common forms: no Python code runs, and an object of
// another kind is left to the general function.

#include "binding/class.hpp"
#include "module/tensor_object.hpp"
#include "package/operand.hpp"

#include <cstddef>

namespace numerical::package::common_forms {

// The value of a Tensor; null for any other object, and for a Tensor without a value.
inline const any_tensor* tensor_in(PyObject* object)
{
    return is_tensor(object) ? binding::value_in<any_tensor>(object) : nullptr;
}

// The same for one of that rank.
inline const any_tensor* tensor_in(PyObject* object, std::size_t rank)
{
    const any_tensor* value = tensor_in(object);
    return value != nullptr && boundary::shape_of(*value).size() == rank ? value : nullptr;
}

// An int of Python's own; false for any other object, and for one beyond Py_ssize_t.
inline bool int_in(PyObject* object, Py_ssize_t& out)
{
    if (!PyLong_CheckExact(object))
        return false;
    out = PyLong_AsSsize_t(object);
    if (out != -1 || PyErr_Occurred() == nullptr)
        return true;
    PyErr_Clear();
    return false;
}

// A float or an int of Python's own; false for any other object, and for an int beyond all floats.
inline bool real_in(PyObject* object, double& out)
{
    if (!PyFloat_CheckExact(object) && !PyLong_CheckExact(object))
        return false;
    out = PyFloat_AsDouble(object);
    if (out != -1.0 || PyErr_Occurred() == nullptr)
        return true;
    PyErr_Clear();
    return false;
}

// The items of a list or a tuple, borrowed; none of any other object.
class listed_items
{
public:
    explicit listed_items(PyObject* object)
        : sequence(object), is_list(PyList_CheckExact(object)), is_tuple(PyTuple_CheckExact(object))
    {
    }

    explicit operator bool() const { return is_list || is_tuple; }

    std::size_t size() const
    {
        return static_cast<std::size_t>(is_list ? PyList_Size(sequence) : PyTuple_Size(sequence));
    }

    PyObject* operator[](std::size_t i) const
    {
        const auto place = static_cast<Py_ssize_t>(i);
        return is_list ? PyList_GetItem(sequence, place) : PyTuple_GetItem(sequence, place);
    }

private:
    PyObject* sequence;
    bool is_list;
    bool is_tuple;
};

} // namespace numerical::package::common_forms
