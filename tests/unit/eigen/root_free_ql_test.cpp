#include "numerical/eigen/root_free_ql.hpp"

#include "hermitian_matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "paths.hpp"
#include "thrown.hpp"
#include "tridiagonal_families.hpp"
#include "value_oracles.hpp"

#include <cmath>
#include <gtest/gtest.h>

namespace {

using numerical::detail::root_free_ql;
using numbers = numerical::aligned_vector<double>;

TEST(root_free_ql, agrees_with_bisection)
{
    double largest = 0;
    for (const std::size_t n : {1, 2, 3, 4, 5, 8, 21, 24, 25, 26, 27, 64, 150, 400})
        for (const auto& [name, d, e] : test::tridiagonal_families(n)) {
            numbers values = d;
            numbers couplings = e;
            root_free_ql(values, couplings, 30 * n);
            EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
            const double ratio = test::value_ratio(
                values, test::bisected_eigenvalues({d.begin(), d.end()}, {e.begin(), e.end()}));
            EXPECT_LT(ratio, 4) << name << ", n = " << n;
            largest = test::worse(largest, ratio);
        }
    std::printf("largest distance %.2f\n", largest);
}

TEST(root_free_ql, finds_the_known_values_of_a_long_second_difference)
{
    constexpr std::size_t n = 2000;
    numbers d(n, 1.0);
    numbers e(n, -0.5);
    root_free_ql(d, e, 30 * n);
    numbers expected;
    for (std::size_t k = 1; k <= n; ++k)
        expected.push_back(1 - std::cos(double(k) * std::acos(-1.0) / double(n + 1)));
    EXPECT_LT(test::value_ratio(d, expected), 4);
}

TEST(root_free_ql, has_the_same_bits_on_all_paths)
{
    for (const std::size_t n : {30, 200})
        for (const auto& [name, d, e] : test::tridiagonal_families(n)) {
            const auto values_on = [&, &diagonal = d, &couplings = e](int path) {
                const test::path_limit limit(path);
                numbers values = diagonal;
                numbers squares = couplings;
                root_free_ql(values, squares, 30 * n);
                return values;
            };
            for (const int path : test::available_paths())
                EXPECT_EQ(values_on(path), values_on(numerical::detail::portable_path)) << name;
        }
}

TEST(root_free_ql, of_no_rows_is_nothing)
{
    numbers d;
    numbers e;
    root_free_ql(d, e, 0);
    EXPECT_TRUE(d.empty());
}

TEST(root_free_ql, reports_the_end_of_its_steps)
{
    numbers d = test::random_vector<double>(20, 1);
    numbers e = test::random_vector<double>(20, 2);
    EXPECT_EQ(test::text_thrown_by<numerical::convergence_error>([&] { root_free_ql(d, e, 5); }),
              "symmetric eigendecomposition: QL did not converge within its steps");
}

TEST(root_free_ql, takes_few_steps_for_a_value)
{
    constexpr std::size_t few = 400; // a wave counts for eight
    for (const auto& [name, d, e] : test::tridiagonal_families(100)) {
        numbers values = d;
        numbers couplings = e;
        EXPECT_EQ(test::text_thrown_by<numerical::convergence_error>(
                      [&] { root_free_ql(values, couplings, few); }),
                  "nothing was thrown")
            << name;
    }
}

} // namespace
