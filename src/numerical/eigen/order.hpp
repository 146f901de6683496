#pragma once

#include "numerical/aligned_vector.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// 0 .. n-1 sorted by value, equal values by index.
std::vector<std::size_t> ascending_order(const aligned_vector<double>& values);

// values[order[0]], values[order[1]] and so on.
aligned_vector<double> in_order(const aligned_vector<double>& values,
                                const std::vector<std::size_t>& order);

} // namespace numerical::detail
