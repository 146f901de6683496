#include "numerical/eigen/deflation.hpp"

#include <algorithm>
#include <cmath>
#include <optional>

namespace numerical::detail {
namespace {

// The poles `previous` and `i` of a rank-one problem, and the rotation that moves all of z there
// to i.
struct pole_pair
{
    std::size_t previous;
    std::size_t i;
    double length;
    double c;
    double s;
};

pole_pair pair_of(const std::vector<double>& z, std::size_t previous, std::size_t i)
{
    const double length = std::hypot(z[i], z[previous]);
    return {previous, i, length, z[i] / length, -z[previous] / length};
}

double largest_modulus(const std::vector<double>& values, double largest)
{
    for (const double value : values)
        largest = std::max(largest, std::abs(value));
    return largest;
}

// What the rotation leaves of d and z; the element off the diagonal that it makes is negligible.
void rotate_poles(const pole_pair& pair, std::vector<double>& d, std::vector<double>& z)
{
    const auto& [previous, i, length, c, s] = pair;
    z[i] = length;
    z[previous] = 0;
    const double left = d[previous];
    const double right = d[i];
    d[i] = left * (s * s) + right * (c * c);
    d[previous] = left * (c * c) + right * (s * s);
}

} // namespace

deflation deflate(std::vector<double>& d, std::vector<double>& z, double rho2,
                  std::vector<unsigned int>& types)
{
    const double tolerance = largest_modulus(z, largest_modulus(d, 0.0)) * deflation_tolerance;
    deflation found;
    auto& [active, deflated] = found.partition;
    std::optional<std::size_t> previous;
    for (const std::size_t i : ascending_order(d)) {
        if (tolerance >= std::abs(z[i]) * rho2) {
            deflated.push_back(i);
            continue;
        }
        if (previous) {
            const pole_pair pair = pair_of(z, *previous, i);
            if (tolerance >= std::abs((d[i] - d[*previous]) * pair.c * pair.s)) {
                rotate_poles(pair, d, z);
                found.rotations.push_back({*previous, i, pair.c, pair.s});
                types[i] = types[*previous] = types[i] | types[*previous];
                deflated.push_back(*previous);
            } else {
                active.push_back(*previous);
            }
        }
        previous = i;
    }
    if (previous)
        active.push_back(*previous);
    return found;
}

} // namespace numerical::detail
