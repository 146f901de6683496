#include "numerical/scalar.hpp"

#include "numerical/aligned_vector.hpp"

#include <gtest/gtest.h>
#include <limits>

namespace {

using namespace numerical::detail;

constexpr double least = std::numeric_limits<double>::denorm_min();
constexpr double greatest = std::numeric_limits<double>::max();
constexpr double eps = std::numeric_limits<double>::epsilon();

TEST(tiny_scale, brings_what_is_below_2_to_minus_500_to_one_and_leaves_the_rest)
{
    EXPECT_EQ(tiny_scale(0x1p-500), 1);
    EXPECT_EQ(tiny_scale(0x1.8p-501), 0x1p501);
    EXPECT_EQ(tiny_scale(0x1p-1022), 0x1p1022);
    EXPECT_EQ(tiny_scale(least), 0x1p1022);
    EXPECT_EQ(tiny_scale(0), 0x1p1022);
    EXPECT_EQ(tiny_scale(greatest), 1);
    EXPECT_EQ(tiny_scale(std::nan("")), 1);
}

TEST(phase_of, a_real_number_is_its_sign)
{
    for (const double x : {least, 0x1p-1022, 1e-200, 0x1p-500, 1.0, 3e300, greatest}) {
        EXPECT_EQ(phase_of(x), 1) << x;
        EXPECT_EQ(phase_of(-x), -1) << x;
    }
    EXPECT_EQ(phase_of(0.0), 1);
    EXPECT_EQ(phase_of(-0.0), 1);
}

TEST(phase_of, a_complex_number_keeps_its_angle_from_the_least_to_the_greatest)
{
    for (const double unit : {least, 0x1p-1022, 1e-200, 1.0, 1e300, greatest / 8, greatest / 4}) {
        const complex phase = phase_of(complex(3 * unit, -4 * unit));
        EXPECT_NEAR(phase.real(), 0.6, 2 * eps) << unit;
        EXPECT_NEAR(phase.imag(), -0.8, 2 * eps) << unit;
    }
    EXPECT_EQ(phase_of(complex(0)), complex(1));
    EXPECT_EQ(phase_of(complex(least, 0)), complex(1));
    EXPECT_EQ(phase_of(complex(-least, 0)), complex(-1));
    EXPECT_EQ(phase_of(complex(0, greatest)), complex(0, 1));
}

// By parts the modulus is between their greater one and their sum, and no square root is needed.
TEST(largest_modulus, is_found_among_any_number_of_elements)
{
    for (std::size_t n = 1; n <= 11; ++n)
        for (std::size_t at = 0; at < n; ++at) {
            numerical::aligned_vector<complex> z(n, complex(-2, 2));
            EXPECT_EQ(largest_modulus(z.data(), n), std::abs(complex(2, 2)));
            z[at] = complex(0, -3);
            EXPECT_EQ(largest_modulus(z.data(), n), 3);
            numerical::aligned_vector<double> x(n, -1);
            x[at] = -2;
            EXPECT_EQ(largest_modulus(x.data(), n), 2);
            x[at] = std::nan("");
            EXPECT_EQ(largest_modulus(x.data(), n), n > 1 ? 1 : 0);
        }
    EXPECT_EQ(largest_modulus<double>(nullptr, 0), 0);
}

TEST(any_part_above, sees_every_part_and_is_strict)
{
    for (std::size_t n = 1; n <= 9; ++n)
        for (std::size_t at = 0; at < n; ++at) {
            numerical::aligned_vector<complex> z(n, complex(2, -2));
            EXPECT_FALSE(any_part_above(z.data(), n, 2));
            z[at] = complex(0, -3);
            EXPECT_TRUE(any_part_above(z.data(), n, 2));
            z[at] = complex(std::nan(""), 0);
            EXPECT_FALSE(any_part_above(z.data(), n, 2));
            numerical::aligned_vector<double> x(n, -2);
            EXPECT_FALSE(any_part_above(x.data(), n, 2));
            x[at] = -3;
            EXPECT_TRUE(any_part_above(x.data(), n, 2));
        }
    EXPECT_FALSE(any_part_above<double>(nullptr, 0, 0));
}

TEST(has_nan, sees_either_part)
{
    const double nan = std::nan("");
    EXPECT_TRUE(has_nan(nan));
    EXPECT_FALSE(has_nan(HUGE_VAL));
    EXPECT_TRUE(has_nan(complex(nan, 0)));
    EXPECT_TRUE(has_nan(complex(0, nan)));
    EXPECT_FALSE(has_nan(complex(HUGE_VAL, -HUGE_VAL)));
}

TEST(conjugate_all, negates_the_imaginary_parts_alone)
{
    numerical::aligned_vector<complex> z = {{1, 2}, {-3, -4}, {5, 6}};
    conjugate_all(z.data(), 2);
    EXPECT_EQ(z, (numerical::aligned_vector<complex>{{1, -2}, {-3, 4}, {5, 6}}));
    numerical::aligned_vector<double> x = {1, -2};
    conjugate_all(x.data(), 2);
    EXPECT_EQ(x, (numerical::aligned_vector<double>{1, -2}));
}

TEST(as_doubles, lays_complex_numbers_out_in_parts)
{
    const numerical::aligned_vector<complex> z = {{1, 2}, {3, 4}};
    const double* const parts = as_doubles(z.data());
    EXPECT_EQ(numerical::aligned_vector<double>(parts, parts + 4),
              (numerical::aligned_vector<double>{1, 2, 3, 4}));
    double x = 5;
    EXPECT_EQ(as_doubles(&x), &x);
}

} // namespace
