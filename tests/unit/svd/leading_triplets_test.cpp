#include "numerical/svd/leading_triplets.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/bidiagonal_divide.hpp"
#include "numerical/svd/randomized.hpp"
#include "paths.hpp"
#include "svd_cases.hpp"
#include "thrown.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::singular_triplets;
using numerical::detail::adjoint;
using numerical::detail::bidiagonal_leaf_order;
using test::matrix;
using test::svd_decomposition;
using test::svd_method;

constexpr double accepted = 30;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

template <class T>
class leading_triplets_of : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(leading_triplets_of, element_types);

template <class T>
double largest_entry(const matrix<T>& a)
{
    double largest = 0;
    for (const T& x : a.data)
        largest = std::max(largest, std::abs(x));
    return largest == 0 ? 1 : largest;
}

// ‖A·X - Y·S‖/(n·‖A‖·ε) for A divided by its largest entry, and S with it.
template <class T>
double residual_ratio(matrix<T> a, const matrix<T>& x, const numerical::aligned_vector<double>& s,
                      const matrix<T>& y)
{
    const double scale = largest_entry(a);
    for (T& entry : a.data)
        entry /= scale;
    auto residual = test::reference_product(a, x);
    for (std::size_t i = 0; i < residual.data.size(); ++i)
        residual.data[i] -= y.data[i] * (s[i % s.size()] / scale);
    const auto size = static_cast<double>(std::max(a.rows, a.cols));
    const long double unit = std::max<long double>(test::norm_inf(a), 1) * test::eps +
                             std::numeric_limits<double>::denorm_min() / scale;
    return static_cast<double>(test::norm_inf(residual) / (size * unit));
}

template <class T>
void expect_triplets(const matrix<T>& a, const singular_triplets<T>& found, std::size_t k)
{
    ASSERT_EQ(found.values.size(), k);
    ASSERT_EQ(found.u.rows, a.rows);
    ASSERT_EQ(found.u.cols, k);
    ASSERT_EQ(found.v.rows, a.cols);
    ASSERT_EQ(found.v.cols, k);
    if (k == 0)
        return;
    EXPECT_LT(residual_ratio(a, found.v, found.values, found.u), accepted);
    EXPECT_LT(residual_ratio(adjoint(a), found.u, found.values, found.v), accepted);
    EXPECT_LT(test::orthogonality_ratio(found.u), accepted);
    EXPECT_LT(test::orthogonality_ratio(found.v), accepted);
}

// The values within rounding of those of the whole decomposition.
template <class T>
void expect_leading(const matrix<T>& a, std::size_t k, const std::string& name)
{
    SCOPED_TRACE(name + ", " + std::to_string(a.rows) + " x " + std::to_string(a.cols) +
                 ", k = " + std::to_string(k));
    const auto found = numerical::leading_triplets(a, k);
    expect_triplets(a, found, k);
    const svd_decomposition<T> whole(a, svd_method::divide_and_conquer);
    const double unit = double(std::max(a.rows, a.cols)) * test::eps;
    for (std::size_t i = 0; i < k; ++i)
        EXPECT_LE(std::abs(found.values[i] - whole.values[i]), 8 * unit * whole.values[0])
            << "value " << i;
}

TYPED_TEST(leading_triplets_of, hard_square_matrices_are_those_of_the_whole)
{
    const std::size_t leaf = bidiagonal_leaf_order;
    for (const std::size_t n :
         {std::size_t{1}, std::size_t{2}, std::size_t{3}, leaf - 1, leaf, leaf + 1, 2 * leaf})
        for (const auto& [name, a] : test::hard_square_matrices<TypeParam>(n))
            for (const std::size_t k : {std::size_t{0}, std::size_t{1}, n / 3, n - 1, n})
                expect_leading(a, k, name);
}

TYPED_TEST(leading_triplets_of, tall_and_wide_matrices_are_those_of_the_whole_on_every_path)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t length : {34, 70, 150}) {
            expect_leading(test::random_matrix<TypeParam>(length, 34, 3), 7, "tall");
            expect_leading(test::random_matrix<TypeParam>(34, length, 3), 7, "wide");
            expect_leading(test::low_rank_matrix<TypeParam>(length, 40, 5, 3), 9, "low rank");
        }
        expect_leading(test::random_matrix<TypeParam>(140, 140, 4), 20, "square");
    }
}

// A sample of all directions loses nothing.
TYPED_TEST(leading_triplets_of, a_full_sample_gives_them_exactly)
{
    struct extents
    {
        std::size_t rows;
        std::size_t cols;
    };

    for (const auto& [rows, cols] : {extents{1, 1}, {3, 2}, {40, 40}, {90, 35}, {35, 90}})
        for (const double size : {1.0, 1e300, 1e-300}) {
            const auto a = test::scaled(test::random_matrix<TypeParam>(rows, cols, 5), size);
            const std::size_t least = std::min(rows, cols);
            const auto omega = test::random_matrix<TypeParam>(cols, least, 6);
            for (const std::size_t passes : {0, 1, 3})
                expect_triplets(a, numerical::randomized_triplets(a, omega, least, passes), least);
        }
}

// The range of a matrix of rank 5 is in that of any eight columns of A·Ω.
TYPED_TEST(leading_triplets_of, a_small_sample_finds_all_of_a_small_rank)
{
    const auto a = test::low_rank_matrix<TypeParam>(120, 90, 5, 7);
    const auto omega = test::random_matrix<TypeParam>(90, 8, 8);
    for (const std::size_t passes : {0, 2}) {
        const auto found = numerical::randomized_triplets(a, omega, 5, passes);
        expect_triplets(a, found, 5);
        const svd_decomposition<TypeParam> whole(a, svd_method::divide_and_conquer);
        for (std::size_t i = 0; i < 5; ++i)
            EXPECT_NEAR(found.values[i], whole.values[i], 1e-13 * whole.values[0]);
    }
}

TYPED_TEST(leading_triplets_of, bits_do_not_depend_on_threads)
{
    const auto a = test::random_matrix<TypeParam>(260, 180, 9);
    const auto omega = test::random_matrix<TypeParam>(180, 40, 10);
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const auto on = [&](std::size_t threads) {
            const test::thread_limit cap(threads);
            const auto exact = numerical::leading_triplets(a, 30);
            const auto sampled = numerical::randomized_triplets(a, omega, 30, 1);
            return std::tuple(exact.values, exact.u.data, exact.v.data, sampled.values,
                              sampled.u.data, sampled.v.data);
        };
        const auto serial = on(1);
        for (const std::size_t threads : test::thread_counts)
            EXPECT_TRUE(on(threads) == serial) << "path " << path << ", threads " << threads;
    }
}

TYPED_TEST(leading_triplets_of, says_what_is_wrong)
{
    auto spoiled = test::random_matrix<TypeParam>(50, 50, 1);
    const auto omega = test::random_matrix<TypeParam>(50, 5, 2);
    const auto other = test::random_matrix<TypeParam>(49, 5, 2);
    EXPECT_EQ(test::text_thrown_by<numerical::dimension_error>(
                  [&] { numerical::randomized_triplets(spoiled, other, 3, 1); }),
              "randomized SVD: the sample has as many rows as the matrix has columns");
    spoiled.data[77] = nan;
    const char* const not_finite = "SVD: the matrix holds an infinite or NaN entry";
    EXPECT_EQ(test::text_thrown_by<numerical::non_finite_error>(
                  [&] { numerical::leading_triplets(spoiled, 3); }),
              not_finite);
    EXPECT_EQ(test::text_thrown_by<numerical::non_finite_error>(
                  [&] { numerical::randomized_triplets(spoiled, omega, 3, 1); }),
              not_finite);
}

} // namespace
