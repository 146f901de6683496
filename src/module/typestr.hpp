#pragma once

// The type strings of NumPy's array interface, such as "<f8": byte order, kind, bytes of an item.

#include <cstddef>
#include <optional>
#include <string_view>

namespace numerical::boundary {

struct element_type
{
    char kind; // b, i, u, f or c, for bool, signed and unsigned integers, real and complex numbers
    std::size_t size; // bytes of an item
    bool swap;        // the stored bytes are to be reversed, for a complex item in each half
};

// Nothing for what asarray can't read: other kinds and sizes, and an item of more than one byte
// without a byte order.
std::optional<element_type> parse_typestr(std::string_view text);

} // namespace numerical::boundary
