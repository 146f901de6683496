#include "numerical/eigen/eigenvalues.hpp"

#include "hermitian_matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/eigen.hpp"
#include "numerical/errors.hpp"
#include "paths.hpp"
#include "thrown.hpp"
#include "value_oracles.hpp"

#include <complex>
#include <cstdio>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::eigenvalues;
using numerical::matrix;
using complex = std::complex<double>;
using test::text_thrown_by;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double accepted = 10; // times ε·√n·‖A‖

template <class T>
using decomposition_of = std::conditional_t<std::is_same_v<T, double>, numerical::symmetric_eigen,
                                            numerical::hermitian_eigen>;

template <class T>
class hermitian_values : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(hermitian_values, element_types);

TYPED_TEST(hermitian_values, agree_with_jacobi_in_wider_precision)
{
    double largest = 0;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {1, 2, 3, 4, 5, 7, 8, 9, 16, 17, 33})
            for (const auto& [name, a] : test::hermitian_families<TypeParam>(n)) {
                const auto values = eigenvalues(a);
                ASSERT_EQ(values.size(), n);
                EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
                const double ratio = test::value_ratio(values, test::jacobi_eigenvalues(a));
                EXPECT_LT(ratio, accepted) << name << ", n = " << n << ", path " << path;
                largest = test::worse(largest, ratio);
            }
    }
    std::printf("largest distance %.2f\n", largest);
}

TYPED_TEST(hermitian_values, agree_with_those_of_the_decomposition)
{
    double largest = 0;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {31, 64, 65, 100, 129, 257})
            for (const auto& [name, a] : test::hermitian_families<TypeParam>(n)) {
                const decomposition_of<TypeParam> full(a,
                                                       numerical::eigen_method::divide_and_conquer);
                const double ratio = test::value_ratio(eigenvalues(a), full.values);
                EXPECT_LT(ratio, accepted) << name << ", n = " << n << ", path " << path;
                largest = test::worse(largest, ratio);
            }
    }
    std::printf("largest distance %.2f\n", largest);
}

TYPED_TEST(hermitian_values, of_a_prescribed_spectrum)
{
    for (const std::size_t n : {5, 33, 150, 700}) {
        auto expected = test::spectrum(n, [](double x) { return std::sin(7 * x) + 0.25 * x; });
        const auto a = test::with_spectrum<TypeParam>(expected, 12);
        std::sort(expected.begin(), expected.end());
        EXPECT_LT(test::value_ratio(eigenvalues(a), expected), accepted) << n;
    }
}

TYPED_TEST(hermitian_values, read_nothing_above_the_diagonal)
{
    for (const std::size_t n : {2, 3, 9, 70, 300}) {
        const auto clean = test::random_hermitian<TypeParam>(n, 5);
        auto dirty = clean;
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = i + 1; j < n; ++j)
                dirty.data[i * n + j] = TypeParam(nan);
        EXPECT_EQ(eigenvalues(dirty), eigenvalues(clean)) << n;
    }
}

TYPED_TEST(hermitian_values, of_empty_single_and_zero_matrices)
{
    EXPECT_TRUE(eigenvalues(matrix<TypeParam>(0, 0, {})).empty());
    EXPECT_EQ(eigenvalues(matrix<TypeParam>(1, 1, {-2.5})),
              numerical::aligned_vector<double>{-2.5});
    EXPECT_EQ(eigenvalues(matrix<TypeParam>(40, 40, numerical::aligned_vector<TypeParam>(1600))),
              numerical::aligned_vector<double>(40, 0.0));
}

TYPED_TEST(hermitian_values, name_what_is_wrong_with_the_matrix)
{
    const std::string kind = std::is_same_v<TypeParam, double> ? "symmetric" : "Hermitian";
    EXPECT_EQ(text_thrown_by<numerical::dimension_error>([] {
                  eigenvalues(matrix<TypeParam>(2, 3, numerical::aligned_vector<TypeParam>(6)));
              }),
              kind + " eigendecomposition requires a square matrix");
    for (const double bad : {nan, std::numeric_limits<double>::infinity()})
        for (const std::size_t at : {0, 2, 3}) {
            auto a = test::random_hermitian<TypeParam>(2, 1);
            a.data[at] = TypeParam(bad);
            EXPECT_EQ(text_thrown_by<numerical::non_finite_error>([&] { eigenvalues(a); }),
                      kind + " eigendecomposition: the matrix holds an infinite or NaN entry");
        }
}

TEST(hermitian_value, is_free_of_imaginary_parts_on_the_diagonal)
{
    const matrix<complex> with(2, 2, {{2, 1e308}, 0, {1, 0.5}, {-1, 3.0}});
    const matrix<complex> without(2, 2, {2, 0, {1, 0.5}, -1});
    EXPECT_EQ(eigenvalues(with), eigenvalues(without));
}

TEST(hermitian_value, near_the_limits_of_the_range)
{
    const double huge = std::numeric_limits<double>::max();
    EXPECT_EQ(eigenvalues(matrix<double>(2, 2, {huge, 0, 0, -huge})),
              (numerical::aligned_vector<double>{-huge, huge}));
    const double least = std::numeric_limits<double>::denorm_min();
    EXPECT_EQ(eigenvalues(matrix<double>(2, 2, {0, 0, 3 * least, 0})),
              (numerical::aligned_vector<double>{-3 * least, 3 * least}));
    for (const double small : {1e-200, 1e-320})
        EXPECT_EQ(eigenvalues(matrix<double>(2, 2, {small, small, small, 1.0})),
                  (numerical::aligned_vector<double>{small, 1.0}));
}

} // namespace
