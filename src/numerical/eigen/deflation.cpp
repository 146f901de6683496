#include "numerical/eigen/deflation.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/order.hpp"

#include <algorithm>
#include <cmath>
#include <optional>

namespace numerical::detail {
namespace {

// The poles `prev` and `i` of a rank-one problem, and the rotation that moves all of z there to i.
struct pole_pair
{
    std::size_t prev;
    std::size_t i;
    double length;
    double c;
    double s;
};

pole_pair pair_of(const aligned_vector<double>& z, std::size_t prev, std::size_t i)
{
    const double length = std::hypot(z[i], z[prev]);
    return {.prev = prev, .i = i, .length = length, .c = z[i] / length, .s = -z[prev] / length};
}

double largest_entry(const aligned_vector<double>& values, double largest)
{
    for (const double value : values)
        largest = std::max(largest, std::abs(value));
    return largest;
}

// Applies the rotation to d and z; the off-diagonal element that it creates is negligible.
void rotate_poles(const pole_pair& pair, aligned_vector<double>& d, aligned_vector<double>& z)
{
    const auto& [prev, i, length, c, s] = pair;
    z[i] = length;
    z[prev] = 0;
    const double left = d[prev];
    const double right = d[i];
    d[i] = left * (s * s) + right * (c * c);
    d[prev] = left * (c * c) + right * (s * s);
}

} // namespace

deflation deflate(aligned_vector<double>& d, aligned_vector<double>& z, double rho2,
                  std::vector<unsigned int>& types)
{
    const double tolerance = largest_entry(z, largest_entry(d, 0.0)) * deflation_tolerance;
    deflation found;
    auto& [active, deflated] = found.partition;
    std::optional<std::size_t> prev;
    for (const std::size_t i : ascending_order(d)) {
        if (tolerance >= std::abs(z[i]) * rho2) {
            deflated.push_back(i);
            continue;
        }
        if (prev) {
            const pole_pair pair = pair_of(z, *prev, i);
            if (tolerance >= std::abs((d[i] - d[*prev]) * pair.c * pair.s)) {
                rotate_poles(pair, d, z);
                found.rotations.push_back({.first = *prev, .second = i, .c = pair.c, .s = pair.s});
                types[i] = types[*prev] = types[i] | types[*prev];
                deflated.push_back(*prev);
            } else {
                active.push_back(*prev);
            }
        }
        prev = i;
    }
    if (prev)
        active.push_back(*prev);
    return found;
}

} // namespace numerical::detail
