#include "numerical/systems/band.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/strided/matrix_view.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/systems/norm_estimate.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "thrown.hpp"

#include <cmath>
#include <gtest/gtest.h>

namespace {

using numerical::band_decomposition;
using numerical::bandwidths;
using numerical::matrix;
using numerical::matrix_form;
namespace detail = numerical::detail;

template <class T>
class band : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(band, element_types);

// Random in the band, `beyond` elsewhere; the diagonal is small here and there, so that rows change
// places.
template <class T>
matrix<T> band_matrix(std::size_t n, const bandwidths& widths, T beyond)
{
    auto a = test::random_matrix<T>(n, n, unsigned(n));
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < n; ++j)
            if (j + widths.lower < i || i + widths.upper < j)
                a.data[i * n + j] = beyond;
        a.data[i * n + i] += i % 3 == 0 ? 0.0 : 2.0;
    }
    return a;
}

template <class T>
matrix<T> in_form(const matrix<T>& a, matrix_form form)
{
    matrix<T> adjoint = detail::adjoint(a);
    if (form == matrix_form::transposed)
        for (T& x : adjoint.data)
            x = detail::conjugate(x);
    return form == matrix_form::plain ? a : adjoint;
}

TYPED_TEST(band, gives_back_the_right_sides_in_every_form_and_reads_no_more)
{
    using T = TypeParam;
    for (const int path : test::available_paths())
        for (const std::size_t n : {1UL, 2UL, 30UL, 61UL})
            for (const bandwidths& wanted : {bandwidths{0, 0}, bandwidths{1, 1}, bandwidths{0, 3},
                                             bandwidths{4, 0}, bandwidths{5, 17}})
                for (const std::size_t columns : {1UL, 2UL, 9UL})
                    for (const auto form :
                         {matrix_form::plain, matrix_form::transposed, matrix_form::adjoint}) {
                        const test::path_limit limit(path);
                        const bandwidths widths{std::min(wanted.lower, n - 1),
                                                std::min(wanted.upper, n - 1)};
                        const auto read = band_matrix<T>(n, widths, T(std::nan("")));
                        const band_decomposition<T> factors(detail::view_of(read), widths);
                        const auto b = test::random_matrix<T>(n, columns, 2);
                        auto x = b;
                        factors.solve(form, {x.data.data(), n, columns, columns});
                        const auto a = in_form(band_matrix<T>(n, widths, T(0)), form);
                        auto rest = test::reference_product(a, x);
                        for (std::size_t i = 0; i < b.data.size(); ++i)
                            rest.data[i] -= b.data[i];
                        const long double unit =
                            double(n) * test::norm_inf(a) * test::norm_inf(x) * test::eps;
                        ASSERT_LT(double(test::norm_inf(rest) / unit), 2)
                            << n << ", " << widths.lower << ", " << widths.upper;
                    }
}

template <class T>
void expect_widths(const matrix<T>& a, const bandwidths& widths)
{
    const bandwidths found = numerical::bandwidths_of(detail::view_of(a));
    EXPECT_EQ(found.lower, widths.lower) << a.rows;
    EXPECT_EQ(found.upper, widths.upper) << a.rows;
}

TYPED_TEST(band, is_found_in_the_matrix)
{
    using T = TypeParam;
    for (const std::size_t n : {10UL, 64UL, 65UL, 129UL, 200UL})
        for (const bandwidths& widths : {bandwidths{0, 0}, bandwidths{2, 5}, bandwidths{9, 0},
                                         bandwidths{n - 1, n - 2}, bandwidths{0, n / 2}}) {
            expect_widths(band_matrix<T>(n, widths, T(0)), widths);
            expect_widths(band_matrix<T>(n, widths, T(-0.0)), widths);
        }
}

TYPED_TEST(band, is_as_wide_as_its_farthest_element)
{
    using T = TypeParam;
    for (const std::size_t n : {70UL, 200UL})
        for (std::size_t i = 0; i < n; i += 23)
            for (std::size_t j = 0; j < n; ++j)
                for (const T& element : {T(1), T(5e-324), T(std::nan(""))}) {
                    auto a = matrix<T>(n, n, numerical::aligned_vector<T>(n * n));
                    a.data[i * n + j] = element;
                    expect_widths(a, {i > j ? i - j : 0, j > i ? j - i : 0});
                }
}

TYPED_TEST(band, knows_its_condition)
{
    matrix<TypeParam> a(3, 3, {1, 0, 0, 0, 4, 0, 0, 0, 1e-3});
    const band_decomposition<TypeParam> factors(detail::view_of(a), {1, 1});
    const double norm = numerical::one_norm_of_band<TypeParam>(detail::view_of(a), {1, 1});
    EXPECT_EQ(norm, 4);
    EXPECT_NEAR(factors.reciprocal_condition(norm), 1e-3 / 4, 1e-15);
    a.data[4] = 0;
    const band_decomposition<TypeParam> singular(detail::view_of(a), {1, 1});
    EXPECT_TRUE(singular.is_singular());
    EXPECT_EQ(singular.reciprocal_condition(1e-3), 0);
}

TYPED_TEST(band, refuses_what_is_not_finite)
{
    const matrix<TypeParam> a(2, 2, {1, 2, 3, std::nan("")});
    EXPECT_EQ(test::text_thrown_by<numerical::non_finite_error>([&] {
                  band_decomposition<TypeParam>(detail::view_of(a), {0, 0});
              }),
              "band LU decomposition: the matrix holds an infinite or NaN entry");
}

} // namespace
