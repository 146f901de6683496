#include "numerical/svd/arrow_deflation.hpp"

#include "numerical/aligned_vector.hpp"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::detail::arrow_deflation;
using numerical::detail::column_rotation;
using numerical::detail::torn_problem;

constexpr double eps = std::numeric_limits<double>::epsilon();
constexpr unsigned int upper = 1;
constexpr unsigned int torn_row = 2;
constexpr unsigned int lower = 4;

using indices = std::vector<std::size_t>;
using types = std::vector<unsigned int>;

// By columns: element (i, j) is [j][i].
using columns = std::vector<numerical::aligned_vector<double>>;

columns arrow_of(const numerical::aligned_vector<double>& diagonal,
                 const numerical::aligned_vector<double>& z)
{
    columns a(z.size(), numerical::aligned_vector<double>(z.size()));
    for (std::size_t j = 0; j < z.size(); ++j) {
        a[j][j] = diagonal[j];
        a[j][0] = z[j];
    }
    return a;
}

void rotate(numerical::aligned_vector<double>& first, numerical::aligned_vector<double>& second,
            double c, double s)
{
    for (std::size_t i = 0; i < first.size(); ++i) {
        const double x = first[i];
        first[i] = c * x + s * second[i];
        second[i] = c * second[i] - s * x;
    }
}

columns transposed(const columns& a)
{
    columns out = a;
    for (std::size_t i = 0; i < a.size(); ++i)
        for (std::size_t j = 0; j < a.size(); ++j)
            out[i][j] = a[j][i];
    return out;
}

// Leftᵀ·A·Right for the products of the rotations.
columns rotated(columns a, const std::vector<column_rotation>& left,
                const std::vector<column_rotation>& right)
{
    for (const auto& [first, second, c, s] : right)
        rotate(a[first], a[second], c, s);
    a = transposed(a);
    for (const auto& [first, second, c, s] : left)
        rotate(a[first], a[second], c, s);
    return transposed(a);
}

TEST(arrow_deflation, without_negligible_entries_keeps_every_column_in_ascending_order)
{
    torn_problem torn{1, 1.0, 1.0, {0.5, 0.5, -0.5, 0.5}};
    const arrow_deflation deflation({0, 1, 0.25, 0.5}, torn, 4);
    EXPECT_EQ(deflation.partition.active, (indices{0, 2, 3, 1}));
    EXPECT_TRUE(deflation.partition.deflated.empty());
    EXPECT_TRUE(deflation.left_rotations.empty());
    EXPECT_TRUE(deflation.right_rotations.empty());
    EXPECT_EQ(deflation.left_type, (types{torn_row, upper, lower, lower}));
    EXPECT_EQ(deflation.right_type, (types{upper | lower, upper, lower, lower}));
}

TEST(arrow_deflation, negligible_z_is_told_by_eight_eps_of_the_largest_entry)
{
    const double tolerance = 8 * eps * 2; // the diagonal has a 2
    torn_problem torn{2, 1.0, 1.0, {0.5, tolerance, std::nextafter(tolerance, 1)}};
    const arrow_deflation deflation({0, 1, 2}, torn, 3);
    EXPECT_EQ(deflation.partition.deflated, (indices{1}));
    EXPECT_EQ(deflation.partition.active, (indices{0, 2}));
    torn_problem beside_alpha{2, 4.0, 1.0, {0.5, 2 * tolerance, 1}};
    EXPECT_EQ(arrow_deflation({0, 1, 2}, beside_alpha, 3).partition.deflated, (indices{1}));
}

TEST(arrow_deflation, first_entry_of_z_is_raised_to_the_tolerance)
{
    torn_problem torn{1, 1.0, 1.0, {0, 1}};
    const arrow_deflation deflation({0, 0.5}, torn, 2);
    EXPECT_EQ(torn.z[0], 8 * eps);
    EXPECT_EQ(deflation.partition.active, (indices{0, 1}));
}

TEST(arrow_deflation, equal_values_are_rotated_in_both_bases)
{
    const numerical::aligned_vector<double> diagonal{0, 0.5, 0.5, 0.75};
    const numerical::aligned_vector<double> z{0.5, 0.3, 0.4, 0.2};
    torn_problem torn{1, 1.0, 1.0, z};
    const arrow_deflation deflation(diagonal, torn, 4);
    EXPECT_EQ(deflation.partition.active, (indices{0, 2, 3}));
    EXPECT_EQ(deflation.partition.deflated, (indices{1}));
    EXPECT_EQ(torn.z, (numerical::aligned_vector<double>{0.5, 0, 0.5, 0.2}));
    EXPECT_EQ(deflation.left_type, (types{torn_row, upper | lower, upper | lower, lower}));
    EXPECT_EQ(deflation.right_type, (types{upper | lower, upper | lower, upper | lower, lower}));
    const columns left =
        rotated(arrow_of(diagonal, z), deflation.left_rotations, deflation.right_rotations);
    const columns expected = arrow_of(diagonal, torn.z);
    for (std::size_t j = 0; j < 4; ++j)
        for (std::size_t i = 0; i < 4; ++i)
            EXPECT_NEAR(left[j][i], expected[j][i], 2 * eps) << i << ", " << j;
}

TEST(arrow_deflation, zero_values_are_rotated_into_the_first_column_of_the_right_basis)
{
    const numerical::aligned_vector<double> diagonal{0, 0, 0.5};
    const numerical::aligned_vector<double> z{0.3, 0.4, 0.2};
    torn_problem torn{1, 1.0, 1.0, z};
    const arrow_deflation deflation(diagonal, torn, 3);
    EXPECT_EQ(deflation.partition.active, (indices{0, 2}));
    EXPECT_EQ(deflation.partition.deflated, (indices{1}));
    EXPECT_TRUE(deflation.left_rotations.empty());
    EXPECT_EQ(torn.z, (numerical::aligned_vector<double>{0.5, 0, 0.2}));
    EXPECT_EQ(deflation.right_type, (types{upper | lower, upper | lower, lower}));
    const columns left = rotated(arrow_of(diagonal, z), {}, deflation.right_rotations);
    const columns expected = arrow_of(diagonal, torn.z);
    for (std::size_t j = 0; j < 3; ++j)
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_NEAR(left[j][i], expected[j][i], 2 * eps) << i << ", " << j;
}

} // namespace
