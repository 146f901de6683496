#include "numerical/factor/determinant.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::lu_decomposition;
using numerical::matrix;
using complex = std::complex<double>;

constexpr double infinity = std::numeric_limits<double>::infinity();

template <class T>
class determinants : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(determinants, element_types);

template <class T>
lu_decomposition<T> diagonal(const numerical::aligned_vector<T>& d)
{
    const std::size_t n = d.size();
    matrix<T> a(n, n, numerical::aligned_vector<T>(n * n));
    for (std::size_t i = 0; i < n; ++i)
        a.data[i * n + i] = d[i];
    return lu_decomposition<T>(std::move(a));
}

TYPED_TEST(determinants, of_an_empty_matrix_is_one)
{
    const auto lu = diagonal<TypeParam>({});
    EXPECT_EQ(determinant(lu), TypeParam(1));
    EXPECT_EQ(slogdet(lu).sign, TypeParam(1));
    EXPECT_EQ(slogdet(lu).log, 0.0);
}

TYPED_TEST(determinants, of_integers_is_exact)
{
    const lu_decomposition<TypeParam> lu(
        matrix<TypeParam>(3, 3, {0.0, 2.0, 1.0, 4.0, 1.0, 3.0, 0.0, 4.0, 0.0}));
    EXPECT_EQ(determinant(lu), TypeParam(16));
    EXPECT_EQ(slogdet(lu).sign, TypeParam(1));
    EXPECT_NEAR(slogdet(lu).log, std::log(16.0), 1e-15);
}

TYPED_TEST(determinants, of_an_exchange_is_minus_one)
{
    const lu_decomposition<TypeParam> lu(matrix<TypeParam>(2, 2, {0.0, 1.0, 1.0, 0.0}));
    EXPECT_EQ(determinant(lu), TypeParam(-1));
    EXPECT_EQ(slogdet(lu).sign, TypeParam(-1));
    EXPECT_EQ(slogdet(lu).log, 0.0);
}

TYPED_TEST(determinants, of_a_singular_matrix_are_zero_and_minus_infinity)
{
    const lu_decomposition<TypeParam> lu(matrix<TypeParam>(2, 2, {1.0, 2.0, 2.0, 4.0}));
    EXPECT_EQ(determinant(lu), TypeParam(0));
    EXPECT_EQ(slogdet(lu).sign, TypeParam(0));
    EXPECT_EQ(slogdet(lu).log, -infinity);
}

TYPED_TEST(determinants, logarithm_outlives_the_underflow_of_the_product)
{
    const auto lu = diagonal<TypeParam>({1e-200, 1e-200, 1e-200});
    EXPECT_EQ(determinant(lu), TypeParam(0));
    EXPECT_EQ(slogdet(lu).sign, TypeParam(1));
    EXPECT_NEAR(slogdet(lu).log, -600 * std::log(10.0), 1e-12);
}

TYPED_TEST(determinants, logarithm_outlives_the_overflow_of_the_product)
{
    const auto lu = diagonal<TypeParam>({1e200, -1e200});
    EXPECT_EQ(std::abs(determinant(lu)), infinity);
    EXPECT_EQ(slogdet(lu).sign, TypeParam(-1));
    EXPECT_NEAR(slogdet(lu).log, 400 * std::log(10.0), 1e-12);
}

TYPED_TEST(determinants, subnormal_diagonal_keeps_its_sign)
{
    for (const double tiny : {0x1p-1074, 0x1.8p-1050, 0x1p-501}) {
        EXPECT_EQ(slogdet(diagonal<TypeParam>({-tiny, 1.0})).sign, TypeParam(-1)) << tiny;
        EXPECT_EQ(slogdet(diagonal<TypeParam>({-tiny, -tiny})).sign, TypeParam(1)) << tiny;
        EXPECT_NEAR(slogdet(diagonal<TypeParam>({tiny})).log, std::log(tiny), 1e-12) << tiny;
    }
}

TEST(determinants, complex_sign_is_the_product_of_the_phases)
{
    const complex sign = slogdet(diagonal<complex>({{3, 4}, {0, 2}})).sign;
    EXPECT_NEAR(sign.real(), -0.8, 1e-15);
    EXPECT_NEAR(sign.imag(), 0.6, 1e-15);
    const complex tiny = slogdet(diagonal<complex>({{0x3p-1074, 0x4p-1074}})).sign;
    EXPECT_NEAR(tiny.real(), 0.6, 1e-15);
    EXPECT_NEAR(tiny.imag(), 0.8, 1e-15);
}

TEST(determinants, logarithm_outlives_the_overflow_of_a_complex_modulus)
{
    const double big = 1.5e308;
    const auto [sign, log] = slogdet(diagonal<complex>({{big, -big}, 2.0}));
    EXPECT_NEAR(sign.real(), std::sqrt(0.5), 1e-15);
    EXPECT_NEAR(sign.imag(), -std::sqrt(0.5), 1e-15);
    EXPECT_NEAR(log, std::log(big) + 1.5 * std::log(2.0), 1e-12);
}

TYPED_TEST(determinants, of_a_vandermonde_matrix_agree_with_its_formula)
{
    const numerical::aligned_vector<double> nodes{0.5, -1.25, 2.0, 3.5, -0.75, 1.5};
    const std::size_t n = nodes.size();
    matrix<TypeParam> a(n, n, numerical::aligned_vector<TypeParam>(n * n));
    double expected = 1;
    for (std::size_t i = 0; i < n; ++i) {
        double power = 1;
        for (std::size_t j = 0; j < n; ++j, power *= nodes[i])
            a.data[i * n + j] = power;
        for (std::size_t j = 0; j < i; ++j)
            expected *= nodes[i] - nodes[j];
    }
    const lu_decomposition<TypeParam> lu(std::move(a));
    EXPECT_NEAR(std::abs(determinant(lu) / TypeParam(expected) - TypeParam(1)), 0, 1e-13);
    EXPECT_EQ(std::real(slogdet(lu).sign), expected < 0 ? -1 : 1);
    EXPECT_NEAR(slogdet(lu).log, std::log(std::abs(expected)), 1e-13);
}

} // namespace
