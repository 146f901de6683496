#include "numerical/nonsymmetric/small_system.hpp"

#include <cmath>
#include <utility>

namespace numerical::detail {
namespace {

// Exchanges rows and columns so that the largest element from row and column k on comes to (k, k).
void bring_pivot(small_system& s, std::size_t k, std::array<std::size_t, most_unknowns>& unknown)
{
    std::pair<std::size_t, std::size_t> pivot{k, k};
    for (std::size_t i = k; i < s.count; ++i)
        for (std::size_t j = k; j < s.count; ++j)
            if (std::abs(s.a[i][j]) > std::abs(s.a[pivot.first][pivot.second]))
                pivot = {i, j};
    std::swap(s.a[k], s.a[pivot.first]);
    std::swap(s.b[k], s.b[pivot.first]);
    for (std::size_t i = 0; i < s.count; ++i)
        std::swap(s.a[i][k], s.a[i][pivot.second]);
    std::swap(unknown[k], unknown[pivot.second]);
}

} // namespace

small_solution solve(small_system s, double least)
{
    small_solution solution;
    std::array<std::size_t, most_unknowns> unknown{0, 1, 2, 3};
    for (std::size_t k = 0; k < s.count; ++k) {
        bring_pivot(s, k, unknown);
        if (std::abs(s.a[k][k]) < least || s.a[k][k] == 0) {
            solution.singular = true;
            s.a[k][k] = least;
        }
        for (std::size_t i = k + 1; i < s.count; ++i) {
            const double factor = s.a[i][k] / s.a[k][k];
            for (std::size_t j = k + 1; j < s.count; ++j)
                s.a[i][j] -= factor * s.a[k][j];
            s.b[i] -= factor * s.b[k];
        }
    }
    for (std::size_t k = s.count; k-- > 0;) {
        double sum = s.b[k];
        for (std::size_t j = k + 1; j < s.count; ++j)
            sum -= s.a[k][j] * solution.x[unknown[j]];
        solution.x[unknown[k]] = sum / s.a[k][k];
    }
    return solution;
}

} // namespace numerical::detail
