#pragma once

#include <cstddef>
#include <vector>

namespace numerical::detail {

// 0 .. n-1 sorted by value, equal values by index.
std::vector<std::size_t> ascending_order(const std::vector<double>& values);

} // namespace numerical::detail
