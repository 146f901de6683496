#include "module/functions.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/elementwise/sequence.hpp"
#include "numerical/storage.hpp"

#include <complex>
#include <utility>

// Tensors made from numbers, and the same elements under another shape.

namespace numerical::boundary {
namespace {

template <class T>
PyObject* filled(shape_list shape, PyObject* value)
{
    T element;
    read_number(value, element);
    if (PyErr_Occurred() != nullptr)
        return nullptr;
    std::size_t count = 1;
    for (const std::size_t extent : shape) // from the first axis on: a later zero hides no overflow
        count = detail::checked_mul(count, extent);
    aligned_vector<T> data = detail::reserved<T>(count);
    data.assign(count, element);
    return wrap(tensor<T>(std::move(shape), std::move(data)));
}

// The format "OOp". It is read by hand, as every operator with a number on one side calls _full.
bool parse_full(PyObject* args, PyObject*& extents, PyObject*& value, int& is_complex)
{
    PyObject* flag = nullptr;
    if (!binding::parse_objects(args, "OOO", &extents, &value, &flag))
        return false;
    is_complex = PyObject_IsTrue(flag);
    return is_complex >= 0;
}

} // namespace

PyObject* module_full(PyObject*, PyObject* args)
{
    PyObject* extents = nullptr;
    PyObject* value = nullptr;
    int complex = 0;
    if (!parse_full(args, extents, value, complex))
        return nullptr;
    shape_list shape;
    if (!read_shape(extents, shape))
        return nullptr;
    return complex != 0 ? filled<std::complex<double>>(std::move(shape), value)
                        : filled<double>(std::move(shape), value);
}

PyObject* module_eye(PyObject*, PyObject* args)
{
    Py_ssize_t n = 0;
    int complex = 0;
    if (!binding::parse_arguments(args, "np", &n, &complex))
        return nullptr;
    if (n < 0) {
        PyErr_SetString(PyExc_ValueError, "negative dimensions are not allowed");
        return nullptr;
    }
    const auto order = static_cast<std::size_t>(n);
    return complex != 0 ? wrap(eye<std::complex<double>>(order)) : wrap(eye<double>(order));
}

PyObject* module_arange(PyObject*, PyObject* args)
{
    double start = 0;
    double stop = 0;
    double step = 0;
    if (!binding::parse_arguments(args, "ddd", &start, &stop, &step))
        return nullptr;
    return wrap(arange(start, stop, step));
}

PyObject* module_linspace(PyObject*, PyObject* args)
{
    double start = 0;
    double stop = 0;
    Py_ssize_t count = 0;
    if (!binding::parse_arguments(args, "ddn", &start, &stop, &count))
        return nullptr;
    if (count < 0) {
        PyErr_SetString(PyExc_ValueError, "linspace: the number of samples must be non-negative");
        return nullptr;
    }
    return wrap(linspace(start, stop, static_cast<std::size_t>(count)));
}

PyObject* module_reshape(PyObject*, PyObject* args)
{
    PyObject* object = nullptr;
    PyObject* extents = nullptr;
    if (!binding::parse_objects(args, "OO", &object, &extents))
        return nullptr;
    const any_tensor* a = as_tensor(object);
    if (a == nullptr)
        return nullptr;
    shape_list shape;
    if (!read_shape(extents, shape))
        return nullptr;
    return std::visit([&](const auto& of_type) { return wrap(reshape(of_type, std::move(shape))); },
                      *a);
}

} // namespace numerical::boundary
