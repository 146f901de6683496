#include "numerical/eigen/plane_rotation.hpp"

namespace numerical::detail {

plane_rotation rotation_of_subnormals(double x, double y, double length)
{
    if (length == 0)
        return {0, 1, 0};
    constexpr double to_normal = 0x1p600;
    const double scaled = std::hypot(x * to_normal, y * to_normal);
    return {length, x * to_normal / scaled, y * to_normal / scaled};
}

plane_rotation safe_rotation(double x, double y)
{
    return rotation_of(x, y, rotation_length(x, y));
}

} // namespace numerical::detail
