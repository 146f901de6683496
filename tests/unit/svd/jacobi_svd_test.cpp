#include "numerical/svd/jacobi_svd.hpp"

#include "numerical/aligned_vector.hpp"
#include "svd_cases.hpp"

#include <complex>
#include <gtest/gtest.h>

namespace {

using test::matrix;
using test::svd_decomposition;
using test::svd_method;

template <class T>
class jacobi_svd : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(jacobi_svd, element_types);

TYPED_TEST(jacobi_svd, completes_the_left_vectors_of_a_zero_matrix_by_the_identity)
{
    const std::size_t n = 5;
    const svd_decomposition<TypeParam> svd(
        matrix<TypeParam>(n, n, numerical::aligned_vector<TypeParam>(n * n)), svd_method::jacobi);
    EXPECT_EQ(svd.values, numerical::aligned_vector<double>(n, 0.0));
    const auto identity = test::filled<TypeParam>(
        n, n, [](std::size_t i, std::size_t j) { return i == j ? 1.0 : 0.0; });
    EXPECT_EQ(svd.u.data, identity.data);
    EXPECT_EQ(svd.v.data, identity.data);
}

TYPED_TEST(jacobi_svd, keeps_the_order_of_equal_values)
{
    const auto diagonal = test::filled<TypeParam>(
        4, 4, [](std::size_t i, std::size_t j) { return i != j ? 0.0 : (i % 2 == 0 ? 1.0 : 2.0); });
    const svd_decomposition<TypeParam> svd(diagonal, svd_method::jacobi);
    EXPECT_EQ(svd.values, (numerical::aligned_vector<double>{2, 2, 1, 1}));
    const std::size_t expected[] = {1, 3, 0, 2};
    for (std::size_t j = 0; j < 4; ++j)
        EXPECT_EQ(svd.v.data[expected[j] * 4 + j], TypeParam(1));
}

TYPED_TEST(jacobi_svd, left_vectors_of_subnormal_values_have_length_1)
{
    const double least = 0x1p-1074;
    const matrix<TypeParam> a(3, 3, {1, 0, 0, 0, 2 * least, 0, 0, least, 1e4 * least});
    const svd_decomposition<TypeParam> svd(a, svd_method::jacobi);
    EXPECT_LT(test::ratios_of(a, svd).largest(), 5) << test::ratios_of(a, svd);
}

TYPED_TEST(jacobi_svd, exact_small_values_survive)
{
    const matrix<TypeParam> diagonal(2, 2, {1, 0, 0, 1e-200});
    const svd_decomposition<TypeParam> svd(diagonal, svd_method::jacobi);
    EXPECT_EQ(svd.values, (numerical::aligned_vector<double>{1, 1e-200}));
}

} // namespace
