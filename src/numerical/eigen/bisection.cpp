#include "numerical/eigen/bisection.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/eigen/sturm_kernels.hpp"
#include "numerical/eps.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace numerical::detail {
namespace {

// [low, high] with all eigenvalues in it, and what it is to be narrowed to.
struct bracket
{
    double low;
    double high;
    double narrow;
};

// By the discs of Gershgorin, and a little more for the rounding of a count.
bracket bracket_of(const aligned_vector<double>& d, const aligned_vector<double>& e)
{
    const std::size_t n = d.size();
    bracket all{d[0], d[0], 0};
    for (std::size_t i = 0; i < n; ++i) {
        const double before = i == 0 ? 0.0 : std::abs(e[i - 1]);
        const double after = i + 1 == n ? 0.0 : std::abs(e[i]);
        all.low = std::min(all.low, d[i] - (before + after));
        all.high = std::max(all.high, d[i] + (before + after));
    }
    all.narrow = eps * std::max(std::abs(all.low), std::abs(all.high));
    all.low -= 8 * all.narrow;
    all.high += 8 * all.narrow;
    return all;
}

// The eigenvalues at places [first, first + count), count <= points_of_count. All brackets are
// halved together and stay of one width; points to spare repeat the last one.
void bisect_group(const sturm_sequence& t, const bracket& all, std::size_t first, std::size_t count,
                  double* values)
{
    const auto count_points =
        avx2_in_force(gemm_path_current()) ? avx2_unfused_count_below : count_below;
    std::array<double, points_of_count> low;
    std::array<double, points_of_count> middle;
    std::array<std::size_t, points_of_count> counts;
    low.fill(all.low);
    double width = all.high - all.low;
    while (width > all.narrow) {
        width /= 2;
        for (std::size_t j = 0; j < points_of_count; ++j)
            middle[j] = low[j] + width;
        count_points(t, middle.data(), counts.data());
        for (std::size_t j = 0; j < points_of_count; ++j)
            if (counts[j] <= first + std::min(j, count - 1))
                low[j] = middle[j];
    }
    for (std::size_t j = 0; j < count; ++j)
        values[j] = low[j] + width / 2;
}

} // namespace

aligned_vector<double> bisected_values(const aligned_vector<double>& d,
                                       const aligned_vector<double>& e, index_range places)
{
    if (places.count() == 0)
        return {};
    const std::size_t n = d.size();
    aligned_vector<double> diagonal(n);
    aligned_vector<double> squares(n);
    for (std::size_t i = 0; i < n; ++i) {
        diagonal[i] = d[i] + 0.0; // a negative zero becomes a positive one
        squares[i] = std::max(e[i] * e[i], std::numeric_limits<double>::min());
    }
    const sturm_sequence t{diagonal.data(), squares.data(), n};
    const bracket all = bracket_of(d, e);
    aligned_vector<double> values(places.count());
    const auto bisect = [&](std::size_t g) {
        const std::size_t from = g * points_of_count;
        bisect_group(t, all, places.first + from, std::min(points_of_count, values.size() - from),
                     values.data() + from);
    };
    constexpr std::size_t work_per_row = 400; // some fifty counts
    parallel_for(ceil_div(values.size(), points_of_count), n * work_per_row, bisect);
    return values;
}

} // namespace numerical::detail
