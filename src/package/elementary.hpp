#pragma once

// Elementary functions and powers of tensors by the engine's vector functions
// (numerical/vector_math), whose bits depend on the argument alone. Complex functions that are
// missing there are composed of these or taken from the C library.

#include "numerical/elementwise/arithmetic.hpp"
#include "package/operand.hpp"

#include "binding/fastcall.hpp"

#include <string_view>

namespace numerical::package {

// a op b; a power by a single 2, 0.5 or -1 is a product, a square root or a quotient.
tensor<double> computed_arithmetic(arithmetic_operation operation, const tensor<double>& a,
                                   const tensor<double>& b);
tensor<complex> computed_arithmetic(arithmetic_operation operation, const tensor<complex>& a,
                                    const tensor<complex>& b);

// a op b as a new Tensor, of a real and a complex operand too.
PyObject* arithmetic_of(arithmetic_operation operation, operand& a, operand& b);

// |a|; of complex numbers as hypot of their parts.
tensor<double> computed_modulus(const tensor<double>& a);
tensor<double> computed_modulus(const tensor<complex>& a);

PyObject* exp(const binding::call_arguments& call);
PyObject* exp2(const binding::call_arguments& call);
PyObject* expm1(const binding::call_arguments& call);
PyObject* log(const binding::call_arguments& call);
PyObject* log2(const binding::call_arguments& call);
PyObject* log10(const binding::call_arguments& call);
PyObject* log1p(const binding::call_arguments& call);
PyObject* sqrt(const binding::call_arguments& call);
PyObject* sin(const binding::call_arguments& call);
PyObject* cos(const binding::call_arguments& call);
PyObject* tan(const binding::call_arguments& call);
PyObject* sinh(const binding::call_arguments& call);
PyObject* cosh(const binding::call_arguments& call);
PyObject* tanh(const binding::call_arguments& call);
PyObject* arcsin(const binding::call_arguments& call);
PyObject* arccos(const binding::call_arguments& call);
PyObject* arctan(const binding::call_arguments& call);
PyObject* arcsinh(const binding::call_arguments& call);
PyObject* arccosh(const binding::call_arguments& call);
PyObject* arctanh(const binding::call_arguments& call);
PyObject* arctan2(const binding::call_arguments& call); // float64 only, as hypot
PyObject* hypot(const binding::call_arguments& call);

} // namespace numerical::package
