#include "numerical/systems/kept_cholesky.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/cholesky.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "thrown.hpp"

#include <gtest/gtest.h>

namespace {

using numerical::matrix;
using numerical::triangle_half;
namespace detail = numerical::detail;

constexpr double ratio_limit = 4;

template <class T>
class kept_cholesky_system : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(kept_cholesky_system, element_types);

template <class T>
matrix<T> definite(std::size_t n, unsigned seed)
{
    const auto b = test::random_matrix<T>(n, n, seed);
    auto a = test::reference_product(b, detail::adjoint(b));
    for (std::size_t i = 0; i < n; ++i)
        a.data[i * n + i] += 1.0;
    return a;
}

template <class T>
numerical::aligned_vector<T> factor_of(const matrix<T>& a)
{
    return numerical::cholesky_decomposition<T>(matrix<T>(a)).factors;
}

template <class T>
matrix<T> plus_square(matrix<T> a, const numerical::aligned_vector<T>& v, double sign)
{
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = 0; j < a.cols; ++j)
            a.data[i * a.cols + j] += sign * v[i] * detail::conjugate(v[j]);
    return a;
}

template <class T>
double factor_ratio(const matrix<T>& a, const numerical::aligned_vector<T>& l)
{
    const matrix<T> lower(a.rows, a.cols, l);
    return test::difference_ratio(a, test::reference_product(lower, detail::adjoint(lower)));
}

TYPED_TEST(kept_cholesky_system, gives_back_right_sides_from_either_triangle)
{
    using T = TypeParam;
    for (const int path : test::available_paths())
        for (const std::size_t n : {1UL, 33UL, 100UL})
            for (const std::size_t columns : {1UL, 5UL}) {
                const test::path_limit limit(path);
                const auto a = definite<T>(n, 1);
                const matrix<T> lower(n, n, factor_of(a));
                const auto upper = detail::adjoint(lower);
                const auto b = test::random_matrix<T>(n, columns, 2);
                for (const auto half : {triangle_half::lower, triangle_half::upper}) {
                    const auto& factor = half == triangle_half::lower ? lower : upper;
                    auto x = b;
                    numerical::solve_definite<T>({{factor.data.data(), n, n, n}, half},
                                                 {x.data.data(), n, columns, columns});
                    auto rest = test::reference_product(a, x);
                    for (std::size_t i = 0; i < b.data.size(); ++i)
                        rest.data[i] -= b.data[i];
                    const long double unit =
                        double(n) * test::norm_inf(a) * test::norm_inf(x) * test::eps;
                    EXPECT_LT(double(test::norm_inf(rest) / unit), ratio_limit);
                }
            }
}

// Orders around the groups of eight rows.
TYPED_TEST(kept_cholesky_system, is_updated_to_the_factor_of_the_sum)
{
    for (const std::size_t n : {1UL, 2UL, 7UL, 8UL, 9UL, 17UL, 64UL, 100UL})
        for (const double size : {1e-9, 1.0, 1e6}) {
            const auto a = definite<TypeParam>(n, 3);
            auto v = test::random_vector<TypeParam>(n, 4);
            for (auto& x : v)
                x *= size;
            auto l = factor_of(a);
            numerical::update_cholesky(l, v);
            EXPECT_LT(factor_ratio(plus_square(a, v, 1), l), ratio_limit) << n << ", " << size;
        }
}

TYPED_TEST(kept_cholesky_system, is_downdated_to_the_factor_of_the_difference)
{
    for (const std::size_t n : {1UL, 2UL, 7UL, 8UL, 9UL, 17UL, 64UL, 100UL}) {
        const auto a = definite<TypeParam>(n, 5);
        const auto v = test::random_vector<TypeParam>(n, 6);
        auto l = factor_of(plus_square(a, v, 1));
        numerical::downdate_cholesky(l, v);
        EXPECT_LT(factor_ratio(a, l), ratio_limit) << n;
        for (std::size_t i = 0; i < n; ++i) {
            ASSERT_GT(detail::real_part(l[i * (n + 1)]), 0);
            ASSERT_EQ(l[i * (n + 1)], TypeParam(detail::real_part(l[i * (n + 1)])));
        }
    }
}

TYPED_TEST(kept_cholesky_system, is_left_alone_by_a_downdate_beyond_the_definite)
{
    const auto a = definite<TypeParam>(20, 5);
    const auto l = factor_of(a);
    numerical::aligned_vector<TypeParam> v(20);
    for (std::size_t i = 0; i < v.size(); ++i)
        v[i] = l[i * 20]; // the difference is singular
    auto kept = l;
    EXPECT_EQ(test::text_thrown_by<numerical::not_positive_definite_error>(
                  [&] { numerical::downdate_cholesky(kept, v); }),
              "downdate: matrix would not be positive-definite");
    EXPECT_EQ(kept, l);
}

TYPED_TEST(kept_cholesky_system, has_the_same_bits_on_any_number_of_threads)
{
    const std::size_t n = 300;
    const auto v = test::random_vector<TypeParam>(n, 6);
    matrix<TypeParam> a(n, n, numerical::aligned_vector<TypeParam>(n * n));
    for (std::size_t i = 0; i < n; ++i)
        a.data[i * (n + 1)] = double(n);
    const auto after = [&](std::size_t threads) {
        const test::thread_limit some(threads);
        auto l = factor_of(a);
        numerical::update_cholesky(l, v);
        numerical::update_cholesky(l, test::random_vector<TypeParam>(n, 7));
        numerical::downdate_cholesky(l, v);
        return l;
    };
    const auto serial = after(1);
    for (const std::size_t threads : test::thread_counts)
        EXPECT_EQ(after(threads), serial) << threads;
}

} // namespace
