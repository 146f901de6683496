#include "package/operand.hpp"

#include "binding/caster.hpp"
#include "binding/class.hpp"
#include "binding/fastcall.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <utility>

namespace numerical::package {
namespace {

using binding::not_null;

bool is_kind(PyObject* object, PyTypeObject* type)
{
    return Py_TYPE(object) == type || PyType_IsSubtype(Py_TYPE(object), type) != 0;
}

tensor<complex> widened(const tensor<double>& a)
{
    aligned_vector<complex> data = detail::uninitialized<complex>(a.data.size());
    std::copy(a.data.begin(), a.data.end(), data.begin());
    return tensor<complex>(a.shape, std::move(data));
}

any_tensor from_number(PyObject* object)
{
    if (is_kind(object, &PyComplex_Type)) {
        const double real = PyComplex_RealAsDouble(object);
        const double imaginary = PyComplex_ImagAsDouble(object);
        return tensor<complex>({}, {complex(real, imaginary)});
    }
    const double x =
        is_kind(object, &PyFloat_Type) ? PyFloat_AsDouble(object) : PyLong_AsDouble(object);
    if (x == -1.0 && PyErr_Occurred() != nullptr) { // an int beyond all floats: asarray raises
        PyErr_Clear();
        const binding::owned_ref none(
            PyObject_CallFunctionObjArgs(callbacks().asarray, object, nullptr));
        binding::throw_pending_error();
    }
    return tensor<double>({}, {x});
}

} // namespace

callback_table& callbacks()
{
    static callback_table table;
    return table;
}

bool is_tensor(PyObject* object)
{
    return binding::is_instance<any_tensor>(object);
}

const any_tensor& value_of(PyObject* tensor)
{
    return binding::class_unwrap<any_tensor>(tensor);
}

bool is_number(PyObject* object)
{
    const PyTypeObject* type = Py_TYPE(object);
    return type == &PyFloat_Type || type == &PyLong_Type ||
           (PyType_GetFlags(Py_TYPE(object)) & Py_TPFLAGS_LONG_SUBCLASS) != 0 ||
           is_kind(object, &PyFloat_Type) || is_kind(object, &PyComplex_Type);
}

operand::operand(PyObject* object)
{
    if (is_tensor(object)) {
        held = &value_of(object);
        return;
    }
    if (is_number(object)) {
        own.emplace(from_number(object));
        held = &*own;
        return;
    }
    converted.reset(not_null(PyObject_CallFunctionObjArgs(callbacks().asarray, object, nullptr)));
    held = &value_of(converted.get());
}

operand::operand(PyObject* object, PyObject* dtype)
    : operand(dtype == nullptr || dtype == Py_None
                  ? binding::owned_ref()
                  : binding::owned_ref(not_null(
                        PyObject_CallFunctionObjArgs(callbacks().asarray, object, dtype, nullptr))),
              object)
{
}

operand::operand(binding::owned_ref in_dtype, PyObject* object)
    : operand(in_dtype ? in_dtype.get() : object)
{
    if (in_dtype)
        converted.reset(in_dtype.release());
}

void operand::make_complex()
{
    if (is_complex())
        return;
    any_tensor wide = widened(as<double>());
    own.emplace(std::move(wide));
    held = &*own;
}

void promote(operand& a, operand& b)
{
    if (a.is_complex() == b.is_complex())
        return;
    a.make_complex();
    b.make_complex();
}

} // namespace numerical::package
