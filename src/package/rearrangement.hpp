#pragma once

// Repetition, cyclic shifts, and selection along an axis.

#include "package/operand.hpp"

#include "binding/fastcall.hpp"

namespace numerical::package {

// tiled(a, counts): the tensor repeated counts[i] times along axis i; missing axes and counts are
// 1.
PyObject* tiled(const binding::call_arguments& call);

// repeated(a, count, axis): each element of the axis repeated `count` times.
PyObject* repeated(const binding::call_arguments& call);

// rolled(a, shift, axis): the last `shift` elements of the axis come first, 0 <= shift <= extent;
// for None of all elements in row-major order.
PyObject* rolled(const binding::call_arguments& call);

// taken_along(a, places, axis): elements along the axis by separate places for each run; `places`
// are Positions of a's shape except for the axis. IndexError "index 5 is out of bounds for axis 0
// with size 3".
PyObject* taken_along(const binding::call_arguments& call);

} // namespace numerical::package
