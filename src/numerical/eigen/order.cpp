#include "numerical/eigen/order.hpp"

#include "numerical/aligned_vector.hpp"

#include <algorithm>
#include <numeric>

namespace numerical::detail {

std::vector<std::size_t> ascending_order(const aligned_vector<double>& values)
{
    std::vector<std::size_t> order(values.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return values[a] < values[b] || (values[a] == values[b] && a < b);
    });
    return order;
}

aligned_vector<double> in_order(const aligned_vector<double>& values,
                                const std::vector<std::size_t>& order)
{
    aligned_vector<double> ordered(order.size());
    std::transform(order.begin(), order.end(), ordered.begin(),
                   [&](std::size_t i) { return values[i]; });
    return ordered;
}

} // namespace numerical::detail
