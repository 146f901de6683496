#include "general_matrices.hpp"
#include "numerical/eps.hpp"
#include "numerical/nonsymmetric/early_deflation.hpp"
#include "numerical/nonsymmetric/left_components.hpp"

#include <array>
#include <cmath>
#include <gtest/gtest.h>

namespace {

using numerical::detail::block_view;
using numerical::detail::eps;
using numerical::detail::first_of_left_vectors;
using test::complex;

template <class T>
class left_components : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(left_components, element_types);

template <class T, std::size_t n>
std::vector<double> components_of(const std::array<T, n * n>& t, const std::array<T, n * n>& z)
{
    return first_of_left_vectors<T>({t.data(), n, n}, {z.data(), n, n});
}

// The left vectors of [ 1 1 ; 0 3 ] are (2, -1)/√5 and (0, 1).
TYPED_TEST(left_components, are_those_of_the_unit_vectors_of_a_triangle)
{
    const std::array<TypeParam, 4> t{1, 1, 0, 3};
    const auto as_it_is = components_of<TypeParam, 2>(t, {1, 0, 0, 1});
    EXPECT_NEAR(as_it_is[0], 2 / std::sqrt(5.0), 4 * eps);
    EXPECT_EQ(as_it_is[1], 0);
    const auto exchanged = components_of<TypeParam, 2>(t, {0, 1, 1, 0});
    EXPECT_NEAR(exchanged[0], 1 / std::sqrt(5.0), 4 * eps);
    EXPECT_NEAR(exchanged[1], 1, 4 * eps);
}

// Those of [ 1 4 ; -1 1 ] are (1, ±2i)/√5.
TEST(left_components, of_a_pair_are_those_of_its_complex_vectors)
{
    const auto of_two = components_of<double, 2>({1, 4, -1, 1}, {1, 0, 0, 1});
    EXPECT_NEAR(of_two[0], 1 / std::sqrt(5.0), 4 * eps);
    EXPECT_EQ(of_two[1], of_two[0]);
    // y₃ = (y₁ + y₂)/(λ - 3) with λ = 1 + 2i: |y₃|² = 5/8.
    const auto of_three =
        components_of<double, 3>({1, 4, 1, -1, 1, 1, 0, 0, 3}, {1, 0, 0, 0, 1, 0, 0, 0, 1});
    EXPECT_NEAR(of_three[0], 1 / std::sqrt(5 + 5 / 8.0), 4 * eps);
    EXPECT_EQ(of_three[1], of_three[0]);
    EXPECT_EQ(of_three[2], 0);
}

// Of a window of five eigenvalues the first one alone, or with a coupling the first two, depend on
// the row before it. The others have converged.
template <class T>
std::size_t deflated_of_five(double coupling)
{
    std::vector<T> h(36, T(0));
    const block_view<T> view{h.data(), 6, 6};
    for (std::size_t i = 0; i < 6; ++i)
        view(i, i) = double(i + 1);
    view(1, 0) = 1;
    view(2, 1) = coupling;
    view(1, 2) = coupling;
    numerical::detail::far_storage<T> storage;
    return numerical::detail::deflate_early<T>({view, {nullptr, 0, 0}}, 1, 6, true, {0, 6}, storage)
        .deflated;
}

TYPED_TEST(left_components, tell_the_deflation_what_has_converged)
{
    EXPECT_EQ(deflated_of_five<TypeParam>(0), 4U);
    EXPECT_EQ(deflated_of_five<TypeParam>(1), 3U);
}

} // namespace
