#include "numerical/gemm/kernels/gemv.hpp"

#include "guarded.hpp"
#include "matrices.hpp"
#include "numerical/scalar.hpp"
#include "paths.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

using namespace numerical::detail;
using namespace test;

template <class T>
class gemv : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(gemv, element_types);

constexpr double guard = 12345;

template <class T>
void expect_row_dots(int path, std::size_t count, std::size_t n)
{
    const std::size_t stride = n + 3;
    guarded_numbers<T> v(n, 1);
    guarded_numbers<T> rows(count * stride, 2);
    spoil_beyond(rows, count, stride, n);
    guarded_numbers<T> out(count, 3);
    std::vector<T> want(count);
    for (std::size_t t = 0; t < count; ++t)
        for (std::size_t j = 0; j < n; ++j)
            want[t] += conjugate(rows.data()[t * stride + j]) * v.data()[j];
    row_dots(path, out.data(), v.data(), rows.data(), stride, count, n);
    EXPECT_EQ(out.values(), want) << count << " rows of " << n;
    EXPECT_TRUE(out.intact()) << count << " rows of " << n;
}

TYPED_TEST(gemv, conjugates_the_rows_and_is_exact_on_small_integers)
{
    for (const int path : test::available_paths())
        for (std::size_t count = 0; count <= 9; ++count)
            for (std::size_t n = 0; n <= 42; ++n)
                expect_row_dots<TypeParam>(path, count, n);
}

TEST(complex_gemv, recovers_infinities_on_the_portable_path)
{
    const double infinity = std::numeric_limits<double>::infinity();
    const complex a(infinity, std::numeric_limits<double>::quiet_NaN());
    const complex v(1, 1);
    complex sum;
    row_dots(portable_path, &sum, &v, &a, 1, 1, 1);
    const complex full = std::conj(a) * v;
    EXPECT_TRUE(std::isinf(full.real())) << "textbook formula: both parts are NaN";
    EXPECT_EQ(sum.real(), full.real());
    EXPECT_EQ(std::isnan(sum.imag()), std::isnan(full.imag()));
}

TYPED_TEST(gemv, adds_short_dots_exactly_on_small_integers)
{
    for (const int path : test::available_paths())
        for (std::size_t count = 0; count <= 6; ++count)
            for (std::size_t n = 0; n <= 40; ++n) {
                const std::size_t stride = n + 1;
                auto rows = test::integer_vector<TypeParam>(count * stride, 4);
                for (std::size_t i = 0; i < count; ++i)
                    rows[i * stride + n] = std::numeric_limits<double>::quiet_NaN();
                const auto x = test::integer_vector<TypeParam>(n, 5);
                std::vector<TypeParam> w(count + 1, TypeParam(guard));
                auto expected = w;
                for (std::size_t i = 0; i < count; ++i)
                    for (std::size_t j = 0; j < n; ++j)
                        expected[i] += rows[i * stride + j] * x[j];
                add_row_dots_on(path, w.data(), rows.data(), stride, count, x.data(), n);
                EXPECT_EQ(w, expected) << count << ", " << n << " on path " << path;
            }
}

} // namespace
