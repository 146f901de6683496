#pragma once

// Functions of single elements and of pairs of them, with broadcasting. Arguments may be tensors,
// numbers, nested lists and arrays; complex128 if one of them is.

#include "package/operand.hpp"

#include "binding/fastcall.hpp"

namespace numerical::package {

PyObject* add(const binding::call_arguments& call);
PyObject* subtract(const binding::call_arguments& call);
PyObject* multiply(const binding::call_arguments& call);
PyObject* divide(const binding::call_arguments& call);
PyObject* power(const binding::call_arguments& call);

PyObject* negative(const binding::call_arguments& call);
PyObject* square(const binding::call_arguments& call);
PyObject* conj(const binding::call_arguments& call);
PyObject* real(const binding::call_arguments& call);
PyObject* imag(const binding::call_arguments& call);

// The same of one object, for properties and methods.
PyObject* conjugated(PyObject* given);
PyObject* real_part(PyObject* given);
PyObject* imaginary_part(PyObject* given);

PyObject* abs(const binding::call_arguments& call);

// allclose(a, b, rtol=1e-5, atol=1e-8, equal_nan=False): abs(a - b) <= atol + rtol·abs(b)
// everywhere, equal infinities among them. array_equal(a, b): same shape and equal elements.
PyObject* allclose(const binding::call_arguments& call);
PyObject* array_equal(const binding::call_arguments& call);

} // namespace numerical::package
