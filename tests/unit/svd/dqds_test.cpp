#include "numerical/svd/dqds.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "ratios.hpp"
#include "thrown.hpp"
#include "value_oracles.hpp"

#include <cmath>
#include <cstdio>
#include <gtest/gtest.h>

namespace {

using numerical::detail::dqds_values;
using numerical::detail::value_accuracy;
using numbers = numerical::aligned_vector<double>;

struct bidiagonal
{
    std::string name;
    numbers d;
    numbers e;
};

numbers powers(std::size_t n, double first, double last)
{
    numbers out(n);
    for (std::size_t i = 0; i < n; ++i)
        out[i] = std::pow(10.0, first + (last - first) * double(i) /
                                            double(std::max<std::size_t>(n, 2) - 1));
    return out;
}

numbers times(numbers x, double factor)
{
    for (double& each : x)
        each *= factor;
    return x;
}

std::vector<bidiagonal> families(std::size_t n)
{
    const auto random = test::random_vector<double>(n, 1);
    const auto other = test::random_vector<double>(n, 2);
    std::vector<bidiagonal> all{
        {"random", random, other},
        {"ones", numbers(n, 1.0), numbers(n, 1.0)},
        {"second difference", numbers(n, 2.0), numbers(n, -1.0)},
        {"falling", powers(n, 0, -100), times(powers(n, 0, -100), 0.5)},
        {"rising", powers(n, -100, 0), times(powers(n, -100, 0), 0.5)},
        {"falling beside ones", powers(n, 0, -20), numbers(n, 1.0)},
        {"rising beside ones", powers(n, -20, 0), numbers(n, 1.0)},
        {"ones beside small", numbers(n, 1.0), numbers(n, 1e-9)},
        {"small beside ones", numbers(n, 1e-9), numbers(n, 1.0)},
        {"huge", times(random, 1e300), times(other, 1e300)},
        {"tiny", times(random, 1e-300), times(other, 1e-300)},
        {"diagonal", random, numbers(n, 0.0)},
        {"apart", random, other},
        {"glued", numbers(n), numbers(n, 1.0)},
    };
    for (std::size_t i = 0; i < n; ++i) {
        all[13].d[i] = 1 + std::abs(double(i % 11) - 5);
        if (i % 11 == 10)
            all[13].e[i] = 1e-7;
        if (i % 5 == 2)
            all[12].e[i] = 0;
    }
    return all;
}

// The largest relative error, in units of ε, of values that can be told from zero at all.
double relative_ratio(const numbers& values, const test::wide_values& expected)
{
    long double largest = 0;
    for (std::size_t i = 0; i < values.size(); ++i)
        if (expected[i] > 0x1p-900L * expected[0])
            largest = test::worse(largest, std::abs(values[i] / expected[i] - 1) / 0x1p-52L);
    return static_cast<double>(largest);
}

TEST(dqds, gives_every_value_to_high_relative_accuracy)
{
    double largest = 0;
    for (const std::size_t n : {1, 2, 3, 4, 5, 8, 13, 33, 64, 100})
        for (const auto& [name, d, e] : families(n)) {
            const numbers values = dqds_values(d, e, 30 * n);
            ASSERT_EQ(values.size(), n);
            EXPECT_TRUE(std::is_sorted(values.rbegin(), values.rend()));
            const double ratio = relative_ratio(values, test::bisected_singular_values(d, e));
            EXPECT_LT(ratio, 10 + double(n)) << name << ", n = " << n;
            largest = test::worse(largest, ratio / double(n));
        }
    std::printf("largest relative error %.2f n eps\n", largest);
}

// Values near each other, so that the first shift leaves the others to QL, beside those of the
// families, in which there are small ones first.
TEST(dqds, gives_values_of_the_largest_ones_accuracy_by_ql)
{
    double largest = 0;
    for (const std::size_t n : {1, 31, 32, 33, 34, 64, 100, 150}) {
        std::vector<bidiagonal> all = families(n);
        all.push_back({"near one", numbers(n, 1.0), times(test::random_vector<double>(n, 3), 0.2)});
        all.push_back({"huge ones", numbers(n, 1e300), numbers(n, 1e299)});
        all.push_back({"tiny ones", numbers(n, 1e-300), numbers(n, 1e-301)});
        for (const auto& [name, d, e] : all) {
            const numbers values = dqds_values(d, e, 30 * n, value_accuracy::absolute);
            ASSERT_EQ(values.size(), n);
            EXPECT_TRUE(std::is_sorted(values.rbegin(), values.rend()));
            const auto expected = test::bisected_singular_values(d, e);
            long double error = 0;
            for (std::size_t i = 0; i < n; ++i)
                error = test::worse(error, std::abs(values[i] - expected[i]) / expected[0]);
            const double ratio = static_cast<double>(error / 0x1p-52L);
            EXPECT_LT(ratio, 10 + double(n)) << name << ", n = " << n;
            largest = test::worse(largest, ratio / double(n));
        }
    }
    std::printf("largest absolute error %.2f n eps\n", largest);
}

TEST(dqds, finds_the_exact_zeros_of_a_singular_matrix)
{
    for (const std::size_t n : {2, 5, 40})
        for (const std::size_t at : {std::size_t{0}, n / 2, n - 1}) {
            numbers d = test::random_vector<double>(n, 3);
            const numbers e = test::random_vector<double>(n, 4);
            d[at] = 0;
            const numbers values = dqds_values(d, e, 30 * n);
            EXPECT_EQ(values[n - 1], 0) << n << ", " << at;
            const auto expected = test::bisected_singular_values(d, e);
            EXPECT_LT(relative_ratio({values.begin(), values.end() - 1},
                                     {expected.begin(), expected.end() - 1}),
                      10 + double(n));
        }
    EXPECT_EQ(dqds_values(numbers(6, 0.0), numbers(6, 0.0), 180), numbers(6, 0.0));
    EXPECT_EQ(dqds_values({0, 0, 0}, {3, 4, 0}, 90), (numbers{4, 3, 0}));
}

TEST(dqds, of_no_rows_is_nothing)
{
    EXPECT_TRUE(dqds_values({}, {}, 0).empty());
}

TEST(dqds, reports_the_end_of_its_steps)
{
    const auto d = test::random_vector<double>(20, 1);
    const auto e = test::random_vector<double>(20, 2);
    EXPECT_EQ(test::text_thrown_by<numerical::convergence_error>([&] { dqds_values(d, e, 5); }),
              "SVD: the dqds iteration did not converge within its steps");
}

TEST(dqds, reports_the_end_of_the_sweeps_of_ql)
{
    EXPECT_EQ(test::text_thrown_by<numerical::convergence_error>([] {
                  dqds_values(numbers(40, 1.0), numbers(40, 0.1), 10, value_accuracy::absolute);
              }),
              "SVD: the dqds iteration did not converge within its steps");
}

TEST(dqds, needs_fewer_steps_than_it_is_allowed)
{
    for (const auto& [name, d, e] : families(100))
        for (const auto accuracy : {value_accuracy::relative, value_accuracy::absolute})
            EXPECT_EQ(test::text_thrown_by<numerical::convergence_error>(
                          [&, &x = d, &y = e] { dqds_values(x, y, 2000, accuracy); }),
                      "nothing was thrown")
                << name;
}

} // namespace
