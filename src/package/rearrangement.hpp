#pragma once

// Elements repeated, moved round and picked run by run.

#include "package/operand.hpp"

#include "binding/fastcall.hpp"

namespace numerical::package {

// tiled(a, counts): the whole tensor so often along each axis; missing axes and counts are 1.
PyObject* tiled(const binding::call_arguments& call);

// repeated(a, count, axis): each place of the axis so often.
PyObject* repeated(const binding::call_arguments& call);

// rolled(a, shift, axis): along the axis the last `shift` places first, 0 <= shift <= extent; of
// all elements in row-major order for None.
PyObject* rolled(const binding::call_arguments& call);

// taken_along(a, places, axis): each run's elements at places of its own, Positions of a's shape
// but for the axis. IndexError "index 5 is out of bounds for axis 0 with size 3".
PyObject* taken_along(const binding::call_arguments& call);

} // namespace numerical::package
