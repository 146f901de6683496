#include "numerical/eigen/bisection.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/sturm_kernels.hpp"
#include "numerical/eps.hpp"
#include "numerical/gemm/path.hpp"
#include "paths.hpp"
#include "tridiagonal_families.hpp"
#include "value_oracles.hpp"

#include <array>
#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;
using numbers = numerical::aligned_vector<double>;
using point_counts = std::array<std::size_t, points_of_count>;

point_counts counts_on(int path, const sturm_sequence& t,
                       const std::array<double, points_of_count>& points)
{
    point_counts counts;
    counts.fill(1000);
    (path == portable_path ? count_below : avx2_unfused_count_below)(t, points.data(),
                                                                     counts.data());
    return counts;
}

// The second difference of order n has the eigenvalues 2 - 2·cos(kπ/(n+1)).
TEST(sturm_sequence, counts_the_eigenvalues_below_each_point)
{
    for (const int path : test::available_paths())
        for (const std::size_t n : {1, 2, 3, 13, 40}) {
            const numbers d(n, 2.0);
            const numbers squares(n, 1.0);
            std::array<double, points_of_count> points;
            point_counts expected;
            for (std::size_t j = 0; j < points_of_count; ++j) {
                const std::size_t below = j * n / (points_of_count - 1);
                points[j] = 2 - 2 * std::cos((double(below) + 0.5) * M_PI / double(n + 1));
                expected[j] = below;
            }
            EXPECT_EQ(counts_on(path, {d.data(), squares.data(), n}, points), expected)
                << "n = " << n << ", path " << path;
        }
}

// With a zero diagonal every second pivot of T - 0 is zero, and half the eigenvalues lie below.
TEST(sturm_sequence, passes_pivots_of_zero)
{
    for (const int path : test::available_paths())
        for (const std::size_t n : {2, 4, 10}) {
            const numbers d(n, 0.0);
            const numbers squares(n, 0.25);
            std::array<double, points_of_count> points{};
            points[1] = -0.0;
            point_counts expected;
            expected.fill(n / 2);
            EXPECT_EQ(counts_on(path, {d.data(), squares.data(), n}, points), expected)
                << "n = " << n << ", path " << path;
        }
}

// The counts before and after a full group, and ranges at both ends and inside.
TEST(bisection, agrees_with_that_in_wider_precision)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {1, 2, 3, 12, 25, 64, 150})
            for (const auto& [name, d, e] : test::tridiagonal_families(n)) {
                const test::wide_values expected =
                    test::bisected_eigenvalues({d.begin(), d.end()}, {e.begin(), e.end()});
                const long double norm =
                    std::max(std::abs(expected.front()), std::abs(expected.back()));
                for (const std::size_t count :
                     {std::size_t{1}, std::size_t{11}, points_of_count, points_of_count + 1, n})
                    for (const std::size_t first :
                         {std::size_t{0}, n / 3, n - std::min(n, count)}) {
                        const index_range places{first, std::min(first + count, n)};
                        const numbers found = bisected_values(d, e, places);
                        ASSERT_EQ(found.size(), places.count());
                        EXPECT_TRUE(std::is_sorted(found.begin(), found.end()));
                        for (std::size_t j = 0; j < found.size(); ++j)
                            ASSERT_LE(std::abs(found[j] - expected[first + j]), 8 * eps * norm)
                                << name << ", n = " << n << ", value " << first + j << ", path "
                                << path;
                    }
            }
    }
}

TEST(bisection, of_no_places_is_empty)
{
    EXPECT_TRUE(bisected_values({1, 2}, {1, 0}, {1, 1}).empty());
}

TEST(bisection, has_the_same_bits_on_every_path_and_number_of_threads)
{
    constexpr std::size_t n = 1000;
    const numbers d = test::random_vector<double>(n, 7);
    const numbers e = test::random_vector<double>(n, 8);
    const numbers one = bisected_values(d, e, {17, 117});
    for (const int path : test::available_paths())
        for (const std::size_t threads : test::thread_counts) {
            const test::path_limit on_path(path);
            const test::thread_limit on_threads(threads);
            EXPECT_EQ(bisected_values(d, e, {17, 117}), one) << path << ", " << threads;
        }
}

} // namespace
