#pragma once

// Arrays of 64-bit ints in an index, as NumPy's sorts and permutations give them, read without a
// conversion to a tensor.

#include "binding/python.hpp"
#include "numerical/tensor.hpp"

#include <optional>

namespace numerical::package {

// The ints of a contiguous array of them; nothing for any other object, a number among them.
std::optional<positions> int64_array(PyObject* object);

} // namespace numerical::package
