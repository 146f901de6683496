#include "numerical/svd/squared_values.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/svd/twisted_kernels.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "thrown.hpp"
#include "value_oracles.hpp"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;
using numbers = numerical::aligned_vector<double>;

constexpr std::size_t steps = 3000;

struct squared_case
{
    numbers d;
    numbers e;
    numbers q;
    numbers squares;

    squared_case(numbers diagonal, numbers beside) : d(std::move(diagonal)), e(std::move(beside))
    {
        e.back() = 0; // which the oracle leaves out
        for (std::size_t i = 0; i < d.size(); ++i) {
            q.push_back(d[i] * d[i]);
            squares.push_back(e[i] * e[i]);
        }
    }

    bidiagonal_squares view(double shift = 0) const
    {
        return {.q = q, .e = {squares.data(), squares.size() - 1}, .shift = shift};
    }
};

// No value is near zero.
squared_case random_case(std::size_t n)
{
    numbers d = test::random_vector<double>(n, 1);
    for (double& x : d)
        x += std::copysign(1, x);
    return {d, test::random_vector<double>(n, 2)};
}

// The roots, descending, compared to the singular values.
double error_of_roots(const numbers& values, const squared_case& of)
{
    const auto expected = test::bisected_singular_values(of.d, of.e);
    const std::size_t n = values.size();
    long double error = 0;
    for (std::size_t i = 0; i < n; ++i)
        error = test::worse(error, std::abs(std::sqrt(values[n - 1 - i]) - expected[i]));
    return static_cast<double>(error / expected[0] / 0x1p-52L);
}

// One value, a whole batch and one either side are among the numbers of values refined.
TEST(squared_values, have_accurate_roots)
{
    for (const std::size_t n : {2, 15, 16, 17, 33, 100}) {
        const squared_case given = random_case(n);
        const auto values = squared_values_by_ql(given.view(), 1e300, steps);
        EXPECT_FALSE(values.has_value()) << "all of them are small";
        const auto all = squared_values_by_ql(given.view(), 0, steps);
        ASSERT_TRUE(all.has_value());
        for (const std::size_t count : {std::size_t{1}, n / 2, n - 1}) {
            const auto refined = squared_values_by_ql(given.view(), (*all)[count], steps);
            ASSERT_TRUE(refined.has_value()) << n << ", " << count;
            EXPECT_TRUE(std::is_sorted(refined->begin(), refined->end()));
            EXPECT_LT(error_of_roots(*refined, given), 4 + 0.5 * double(n)) << n << ", " << count;
        }
    }
}

// The least value is near 1.2⁻ⁿ, of which QL leaves half the digits; the others are above 0.2.
TEST(squared_values, are_refined_where_QL_has_lost_their_digits)
{
    constexpr std::size_t n = 60;
    const squared_case given(numbers(n, 1.0), numbers(n, 1.2));
    const auto by_ql = squared_values_by_ql(given.view(), 0, steps);
    const auto refined = squared_values_by_ql(given.view(), 0.01, steps);
    ASSERT_TRUE(by_ql.has_value());
    ASSERT_TRUE(refined.has_value());
    EXPECT_GT(error_of_roots(*by_ql, given), 1000);
    const auto least = double(test::bisected_singular_values(given.d, given.e).back());
    EXPECT_NEAR(std::sqrt(refined->front()), least, 4 * 0x1p-52);
    // An error of ε·‖B‖² in the square of a value of ‖B‖/11 is one of 5.5·ε·‖B‖ in the value.
    EXPECT_LT(error_of_roots(*refined, given), 5.5 * std::sqrt(double(n)));
}

TEST(squared_values, count_the_shift_among_those_that_are_accurate)
{
    const squared_case given = random_case(40);
    const auto by_ql = squared_values_by_ql(given.view(), 0, steps);
    EXPECT_EQ(squared_values_by_ql(given.view(2), 2, steps), by_ql);
    EXPECT_NE(squared_values_by_ql(given.view(2), 2.5, steps), by_ql);
}

TEST(squared_values, are_the_same_times_a_power_of_two)
{
    const squared_case given = random_case(50);
    const auto refined = squared_values_by_ql(given.view(), 0.5, steps);
    ASSERT_TRUE(refined.has_value());
    for (const int exponent : {-900, 700}) {
        squared_case scaled = given;
        for (numbers* each : {&scaled.q, &scaled.squares})
            for (double& x : *each)
                x = std::ldexp(x, exponent);
        const auto found = squared_values_by_ql(scaled.view(), std::ldexp(0.5, exponent), steps);
        ASSERT_TRUE(found.has_value());
        for (std::size_t i = 0; i < found->size(); ++i)
            EXPECT_EQ((*found)[i], std::ldexp((*refined)[i], exponent));
    }
}

TEST(squared_values, are_not_told_where_they_lie_too_near)
{
    const squared_case twins({1, 1, 0.5, 0.5, 2}, numbers(5, 1e-15));
    EXPECT_FALSE(squared_values_by_ql(twins.view(), 0.7, steps).has_value());
    EXPECT_FALSE(squared_values_by_ql(twins.view(), 0.2501, steps).has_value());
    const squared_case near_zero({1, 0.5, 1e-7, 0.25}, numbers(4, 1e-8));
    EXPECT_FALSE(squared_values_by_ql(near_zero.view(), 0.1, steps).has_value());
    EXPECT_TRUE(squared_values_by_ql(near_zero.view(0.1), 0.2, steps).has_value());
    EXPECT_TRUE(squared_values_by_ql(twins.view(), 0, steps).has_value());
}

TEST(squared_values, report_the_end_of_their_steps)
{
    EXPECT_EQ(test::text_thrown_by<numerical::convergence_error>(
                  [] { squared_values_by_ql(random_case(40).view(), 0, 3); }),
              "symmetric eigendecomposition: QL did not converge within its steps");
}

TEST(squared_values, have_the_same_bits_on_every_path_and_number_of_threads)
{
    const squared_case given = random_case(300);
    const auto on = [&](int path, std::size_t threads) {
        const test::path_limit paths(path);
        const test::thread_limit limit(threads);
        return squared_values_by_ql(given.view(), 1.0, steps);
    };
    const auto one = on(portable_path, 1);
    ASSERT_TRUE(one.has_value());
    for (const int path : test::available_paths())
        for (const std::size_t threads : test::thread_counts)
            EXPECT_EQ(on(path, threads), one) << path << ", " << threads;
}

// γ of the twisted factorization in row k is the reciprocal of element (k, k) of the inverse, and z
// its column k over that: with the eigenvectors of BᵀB for a diagonal B they are had at once.
TEST(twisted_kernel, finds_the_row_of_the_nearest_value)
{
    constexpr std::size_t n = 5;
    const numbers q{4, 9, 1, 16, 25};
    const numbers none(n);
    for (const twisted_kernel kernel : {portable_twisted, avx2_twisted}) {
        if (kernel == avx2_twisted && !cpu_features().avx2)
            continue;
        twisted_batch batch;
        for (std::size_t j = 0; j < shifts_of_batch; ++j)
            batch.shifts[j] = q[j % n] + (double(j) - 7.5) / 64;
        numbers room(2 * shifts_of_batch * n);
        kernel({q.data(), none.data(), none.data(), n}, batch, room.data());
        for (std::size_t j = 0; j < shifts_of_batch; ++j) {
            const double distance = q[j % n] - batch.shifts[j];
            EXPECT_NEAR(batch.corrections[j], distance, 1e-14) << j;
            EXPECT_NEAR(batch.residual_squares[j], distance * distance, 1e-14) << j;
        }
    }
}

// Rows of random matrices, against the pivots in long double.
TEST(twisted_kernel, gives_the_rayleigh_quotient_of_its_vector)
{
    for (const std::size_t n : {2, 3, 9}) {
        const squared_case given = random_case(n);
        numbers products(n);
        for (std::size_t i = 0; i < n; ++i)
            products[i] = given.q[i] * given.squares[i];
        twisted_batch batch;
        for (std::size_t j = 0; j < shifts_of_batch; ++j)
            batch.shifts[j] = 0.05 + double(j) / 10;
        numbers room(2 * shifts_of_batch * n);
        portable_twisted({given.q.data(), given.squares.data(), products.data(), n}, batch,
                         room.data());
        for (std::size_t j = 0; j < shifts_of_batch; ++j) {
            const long double tau = batch.shifts[j];
            test::wide_values above(n);
            test::wide_values below(n);
            const auto entry = [&](std::size_t i) {
                return given.q[i] + (i > 0 ? (long double)given.squares[i - 1] : 0) - tau;
            };
            for (std::size_t i = 0; i < n; ++i)
                above[i] = entry(i) - (i > 0 ? products[i - 1] / above[i - 1] : 0);
            for (std::size_t i = n; i-- > 0;)
                below[i] = entry(i) - (i + 1 < n ? products[i] / below[i + 1] : 0);
            long double least = INFINITY;
            long double correction = 0;
            for (std::size_t k = 0; k < n; ++k) {
                const long double gamma = above[k] + below[k] - entry(k);
                if (!(std::abs(gamma) < std::abs(least)))
                    continue;
                least = gamma;
                long double norm = 1;
                long double element = 1;
                for (std::size_t i = k; i-- > 0;)
                    norm += element *= products[i] / (above[i] * above[i]);
                element = 1;
                for (std::size_t i = k + 1; i < n; ++i)
                    norm += element *= products[i - 1] / (below[i] * below[i]);
                correction = gamma / norm;
            }
            EXPECT_NEAR(batch.corrections[j], double(correction),
                        1e-13 * std::abs(double(correction)))
                << n << ", " << j;
            EXPECT_NEAR(batch.residual_squares[j], double(correction * least),
                        1e-13 * std::abs(double(correction * least)));
        }
    }
}

} // namespace
