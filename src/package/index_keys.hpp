#pragma once

// The parsed keys of one index: what each selects from the tensor's axes.

#include "binding/python.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/strided/selection.hpp"
#include "numerical/strided/take.hpp"

#include <cstddef>
#include <vector>

namespace numerical::package {

// Positions on one or more axes, from an array of ints or from the nonzero places of a mask.
struct position_array
{
    shape_list shape;
    aligned_vector<std::ptrdiff_t>
        places; // not yet checked against the axis; may count from the end
};

enum class key_kind { new_axis, range, integer, array };

struct index_key
{
    key_kind kind;
    axis_range range{};    // of a range or an integer
    std::size_t axis = 0;  // of the tensor; unused by new_axis
    std::size_t array = 0; // index into index_keys::arrays
};

struct index_keys
{
    std::vector<index_key> keys; // one for each axis of the tensor and each None, in their order
    std::vector<position_array> arrays;
    std::size_t empty_ellipsis = 0; // number of keys before an Ellipsis for no axis, 0 for none
};

// Reads `key` for a tensor of that shape; IndexError as subscript.hpp says.
index_keys read_keys(PyObject* key, const shape_list& shape);

// Positions from a list or an array of ints; IndexError for masks and what holds no ints.
positions read_places(PyObject* object);

// What a slice selects from an axis.
axis_range range_of(PyObject* slice, std::size_t extent);

// The selection of keys with at least one array. IndexError where arrays don't broadcast or
// a position is out of bounds.
selection select(const index_keys& keys, const shape_list& shape, const shape_list& strides);

// The position, counted from the front; IndexError "index 5 is out of bounds for axis 0 with size
// 3".
std::ptrdiff_t position_on(std::ptrdiff_t place, std::size_t axis, std::size_t extent);

// Throws the same error for the first place outside of the axis. Returns whether places count from
// the front or from the end.
counted check_places(const positions& places, std::size_t axis, std::size_t extent);

} // namespace numerical::package
