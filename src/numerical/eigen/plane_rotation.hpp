#pragma once

// Plane rotations [ c s ; -s c ], without overflow or underflow in c and s.

#include <algorithm>
#include <cmath>
#include <limits>

namespace numerical::detail {

// Whether neither square can overflow and the larger one cannot underflow.
inline bool squares_are_safe(double x, double y)
{
    const double larger = std::max(std::abs(x), std::abs(y));
    return 0x1p-500 < larger && larger < 0x1p500;
}

// The length of the vector (x, y): the square root of the sum of squares where it serves, hypot
// beyond.
inline double rotation_length(double x, double y)
{
    if (squares_are_safe(x, y)) [[likely]]
        return std::sqrt(x * x + y * y);
    return std::hypot(x, y);
}

// The rotation that maps (x, y) to (length, 0).
struct plane_rotation
{
    double length;
    double c;
    double s;
};

// The rotation of x and y times a power of two, and the identity for zeros.
plane_rotation rotation_of_subnormals(double x, double y, double length);

// The rotation of x and y, whose length is given. A subnormal length has few digits, or none:
// divided by it, x and y would not be a cosine and a sine.
inline plane_rotation rotation_of(double x, double y, double length)
{
    if (length < std::numeric_limits<double>::min()) [[unlikely]]
        return rotation_of_subnormals(x, y, length);
    return {length, x / length, y / length};
}

// The rotation that takes (x, y) to (length, 0). Calls of the library are kept out of the loops,
// which hold their state in registers.
plane_rotation safe_rotation(double x, double y);

inline plane_rotation rotation_onto_first(double x, double y)
{
    if (!squares_are_safe(x, y)) [[unlikely]]
        return safe_rotation(x, y);
    const double length = std::sqrt(x * x + y * y);
    return {length, x / length, y / length};
}

} // namespace numerical::detail
