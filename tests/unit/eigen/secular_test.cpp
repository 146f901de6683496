#include "numerical/eigen/secular.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "paths.hpp"
#include "ratios.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace numerical::detail;

struct problem
{
    numerical::aligned_vector<double> d;
    numerical::aligned_vector<double> z;
    double weight;
};

template <class Poles>
Poles poles_of(const problem& p)
{
    Poles poles;
    poles.d = p.d.data();
    poles.z = p.z.data();
    poles.count = p.d.size();
    poles.weight = p.weight;
    return poles;
}

template <class Poles>
std::vector<secular_root> roots_of(const Poles& poles)
{
    std::vector<secular_root> roots(poles.count);
    solve_secular_equation(poles, roots.data());
    return roots;
}

// Ascending poles, the first 0, and a unit vector z, as the merges pose them.
problem random_problem(std::size_t count, double spread, unsigned seed)
{
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    problem p{numerical::aligned_vector<double>(count), numerical::aligned_vector<double>(count),
              1.0};
    for (std::size_t i = 1; i < count; ++i)
        p.d[i] = p.d[i - 1] + std::pow(uniform(generator), spread) + 1e-14;
    double square = 0;
    for (double& z : p.z) {
        z = (uniform(generator) - 0.5) * std::pow(10.0, -8 * uniform(generator));
        square += z * z;
    }
    for (double& z : p.z)
        z /= std::sqrt(square);
    return p;
}

long double wide_gap(const linear_poles& poles, std::size_t i, std::size_t origin)
{
    return static_cast<long double>(poles.d[i]) - poles.d[origin];
}

long double wide_gap(const squared_poles& poles, std::size_t i, std::size_t origin)
{
    return (static_cast<long double>(poles.d[i]) - poles.d[origin]) *
           (static_cast<long double>(poles.d[i]) + poles.d[origin]);
}

// τ by bisection in long double, from the same origin.
template <class Poles>
long double bisected_root(const Poles& poles, std::size_t j, std::size_t origin)
{
    long double square = 0;
    for (std::size_t i = 0; i < poles.count; ++i)
        square += static_cast<long double>(poles.z[i]) * poles.z[i];
    long double low = wide_gap(poles, j, origin);
    long double high =
        j + 1 < poles.count ? wide_gap(poles, j + 1, origin) : 2 * poles.weight * square;
    for (int pass = 0; pass < 2000 && low < high; ++pass) {
        const long double middle = (low + high) / 2;
        if (middle == low || middle == high)
            break;
        long double f = 1 / static_cast<long double>(poles.weight);
        for (std::size_t i = 0; i < poles.count; ++i)
            f += static_cast<long double>(poles.z[i]) * poles.z[i] /
                 (wide_gap(poles, i, origin) - middle);
        (f < 0 ? low : high) = middle;
    }
    return (low + high) / 2;
}

template <class Poles>
class secular_equation : public testing::Test
{
};

using gaps = testing::Types<linear_poles, paired_linear_poles, squared_poles>;
TYPED_TEST_SUITE(secular_equation, gaps);

TYPED_TEST(secular_equation, roots_agree_with_bisection_in_wider_precision)
{
    double largest = 0;
    for (const std::size_t count : {1, 2, 3, 4, 5, 7, 8, 9, 16, 33, 70})
        for (const double spread : {1.0, 6.0, 12.0}) {
            const problem p = random_problem(count, spread, static_cast<unsigned>(count));
            const auto poles = poles_of<TypeParam>(p);
            const auto roots = roots_of(poles);
            for (std::size_t j = 0; j < count; ++j) {
                ASSERT_TRUE(roots[j].origin == j || roots[j].origin == j + 1);
                const long double exact = bisected_root(poles, j, roots[j].origin);
                // The roots are zeros of f to its rounding error; what that means for τ depends
                // on the slope there, which the error bound has as a factor.
                long double slope = 0;
                long double bound = std::abs(exact);
                long double sum = 1;
                for (std::size_t i = 0; i < count; ++i) {
                    const long double ratio =
                        p.z[i] / (wide_gap(poles, i, roots[j].origin) - exact);
                    slope += ratio * ratio;
                    sum += std::abs(p.z[i] * ratio);
                }
                bound += sum / slope;
                const auto error = static_cast<double>(std::abs(roots[j].tau - exact) / bound);
                largest = test::worse(largest, error / 0x1p-52);
            }
        }
    std::printf("largest error of a root: %.2f units of rounding\n", largest);
    EXPECT_LT(largest, 30);
}

TYPED_TEST(secular_equation, roots_have_the_same_bits_on_every_path_and_at_every_thread_count)
{
    const problem p = random_problem(203, 3.0, 5);
    const auto poles = poles_of<TypeParam>(p);
    std::vector<secular_root> expected;
    for (const int path : test::available_paths())
        for (const std::size_t threads : test::thread_counts) {
            const test::path_limit on(path);
            const test::thread_limit with(threads);
            const auto roots = roots_of(poles);
            if (expected.empty())
                expected = roots;
            for (std::size_t j = 0; j < roots.size(); ++j) {
                EXPECT_EQ(roots[j].origin, expected[j].origin) << "path " << path;
                EXPECT_EQ(roots[j].tau, expected[j].tau) << "path " << path;
            }
        }
}

TYPED_TEST(secular_equation, a_single_root_is_the_pole_plus_the_weighted_square)
{
    const problem p{{0.0}, {1.0}, 0.75};
    const secular_root root = roots_of(poles_of<linear_poles>(p))[0];
    EXPECT_EQ(root.origin, 0U);
    EXPECT_DOUBLE_EQ(root.tau, 0.75);
}

TYPED_TEST(secular_equation, a_root_near_the_right_pole_is_measured_from_there)
{
    // The left pole's weight pushes its root close under the second pole.
    const problem p{{0.0, 1.0}, {1.0, 1e-7}, 1e3};
    const secular_root root = roots_of(poles_of<linear_poles>(p))[0];
    EXPECT_EQ(root.origin, 1U);
    EXPECT_LT(root.tau, 0.0);
    EXPECT_GT(root.tau, -1e-10);
}

TYPED_TEST(secular_equation, without_a_root_the_iteration_limit_is_reported)
{
    const problem p{{0.0, 1.0}, {std::nan(""), 1.0}, 1.0};
    try {
        roots_of(poles_of<TypeParam>(p));
        FAIL() << "nothing was thrown";
    } catch (const numerical::convergence_error& error) {
        EXPECT_STREQ(error.what(), "the secular equation did not converge");
    }
}

} // namespace
