#include "numerical/eigen/sturm_kernels.hpp"

#include <algorithm>
#include <array>
#include <limits>

namespace numerical::detail {

void count_below(const sturm_sequence& t, const double* points, std::size_t* counts)
{
    std::array<double, points_of_count> pivots;
    pivots.fill(-std::numeric_limits<double>::infinity()); // the first pivot loses nothing
    std::fill_n(counts, points_of_count, std::size_t{0});
    double square = 1;
    for (std::size_t i = 0; i < t.order; ++i) {
        for (std::size_t j = 0; j < points_of_count; ++j) {
            pivots[j] = (t.diagonal[i] - points[j]) - square / pivots[j];
            counts[j] += pivots[j] < 0;
        }
        square = t.squares[i];
    }
}

} // namespace numerical::detail
