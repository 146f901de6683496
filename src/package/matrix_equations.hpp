#pragma once

// Linear matrix equations (numerical/matrix_functions/matrix_equations.hpp), one or a stack of
// them: the leading axes of all operands broadcast.

#include "package/operand.hpp"

#include "binding/fastcall.hpp"

namespace numerical::package {

PyObject* solve_sylvester(const binding::call_arguments& call);           // (a, b, q)
PyObject* solve_continuous_lyapunov(const binding::call_arguments& call); // (a, q)
PyObject* solve_discrete_lyapunov(const binding::call_arguments& call);   // (a, q)

} // namespace numerical::package
