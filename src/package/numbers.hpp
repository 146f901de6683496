#pragma once

// Functions that compare, test, round and choose, element by element with broadcasting. Comparisons
// and predicates give masks, float64 tensors of ones and zeros; for operands of rank 0 they give
// Python's bool, for use in conditions.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"

namespace numerical::package {

PyObject* equal(const binding::call_arguments& call);
PyObject* not_equal(const binding::call_arguments& call);
PyObject* less(const binding::call_arguments& call); // float64 only, as all orders
PyObject* less_equal(const binding::call_arguments& call);
PyObject* greater(const binding::call_arguments& call);
PyObject* greater_equal(const binding::call_arguments& call);
PyObject* maximum(const binding::call_arguments& call);
PyObject* minimum(const binding::call_arguments& call);

PyObject* logical_and(const binding::call_arguments& call);
PyObject* logical_or(const binding::call_arguments& call);
PyObject* logical_xor(const binding::call_arguments& call);
PyObject* logical_not(const binding::call_arguments& call);

PyObject* isnan(const binding::call_arguments& call); // of a complex number if one part is
PyObject* isinf(const binding::call_arguments& call);
PyObject* isfinite(const binding::call_arguments& call);
PyObject* signbit(const binding::call_arguments& call); // float64 only, as the next two
PyObject* copysign(const binding::call_arguments& call);
PyObject* nextafter(const binding::call_arguments& call);
PyObject* floor_divide(const binding::call_arguments& call); // float64 only, as remainder
PyObject* remainder(const binding::call_arguments& call);
PyObject* isclose(const binding::call_arguments& call); // as allclose, element by element

PyObject* floor(const binding::call_arguments& call); // float64 only, as ceil and trunc
PyObject* ceil(const binding::call_arguments& call);
PyObject* trunc(const binding::call_arguments& call);
PyObject* round(const binding::call_arguments& call); // round(a, decimals=0)
PyObject* sign(const binding::call_arguments& call);  // of a complex number z/|z|, or 0
PyObject* clip(const binding::call_arguments& call);  // clip(a, min=None, max=None)

PyObject* where(const binding::call_arguments& call); // where(mask), where(mask, a, b)
PyObject* diff(const binding::call_arguments& call);  // diff(a, n=1, axis=-1)

} // namespace numerical::package
