#include "numerical/factor/reflector.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/scalar.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "reference.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace {

using complex = std::complex<double>;
using test::wide;
namespace detail = numerical::detail;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double greatest = std::numeric_limits<double>::max();
constexpr double least_normal = std::numeric_limits<double>::min();
constexpr double least = std::numeric_limits<double>::denorm_min();

template <class T>
class reflector : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(reflector, element_types);

wide<double> wide_conjugate(wide<double> x)
{
    return x;
}

wide<complex> wide_conjugate(const wide<complex>& z)
{
    return std::conj(z);
}

// H·x in wider precision.
template <class T>
std::vector<wide<T>> reflected(const numerical::aligned_vector<T>& v,
                               const numerical::aligned_vector<T>& x)
{
    wide<T> d = 0;
    for (std::size_t i = 0; i < v.size(); ++i)
        d += wide_conjugate(wide<T>(v[i])) * wide<T>(x[i]);
    std::vector<wide<T>> y(x.begin(), x.end());
    for (std::size_t i = 0; i < v.size(); ++i)
        y[i] -= wide<T>(2) * d * wide<T>(v[i]);
    return y;
}

template <class T>
long double norm_of(const numerical::aligned_vector<T>& x)
{
    long double sum = 0;
    for (const T& element : x)
        sum += std::norm(wide<T>(element));
    return std::sqrt(sum);
}

template <class T>
numerical::aligned_vector<T> scaled(numerical::aligned_vector<T> x, double factor)
{
    for (T& element : x)
        element *= factor;
    return x;
}

// A vector of length exactly 1 that reflects integers without rounding: `ones`, a power of four, of
// its elements are ±1/√ones, in the complex case also ±i/√ones, the others zero.
template <class T>
numerical::aligned_vector<T> exact_reflector(std::size_t length, std::size_t ones, unsigned seed)
{
    std::mt19937_64 generator(seed);
    numerical::aligned_vector<T> v(length);
    std::fill_n(v.begin(), ones, T(1 / std::sqrt(double(ones))));
    for (T& element : v) {
        if (generator() % 2 == 0)
            element = -element;
        if constexpr (std::is_same_v<T, complex>)
            if (generator() % 2 == 0)
                element *= complex(0, 1);
    }
    std::shuffle(v.begin(), v.end(), generator);
    return v;
}

std::size_t greatest_power_of_four(std::size_t limit)
{
    std::size_t power = 1;
    while (4 * power <= limit)
        power *= 4;
    return power;
}

TYPED_TEST(reflector, maps_its_vector_to_a_multiple_of_the_first_axis)
{
    for (const int path : test::available_paths())
        for (const std::size_t n : {2u, 3u, 8u, 17u, 64u, 301u})
            for (const double magnitude :
                 {1.0, 1e-140, 1e-200, 1e-300, 1e-310, 1e140, 1e200, 1e300}) {
                SCOPED_TRACE(testing::Message() << n << " elements of " << magnitude);
                const test::path_limit limit(path);
                const auto x = scaled(test::random_vector<TypeParam>(n, unsigned(n)), magnitude);
                auto v = x;
                const TypeParam beta = detail::householder_in_place(v);

                EXPECT_NEAR(double(norm_of(v)), 1, 4 * test::eps);
                const auto y = reflected(v, x);
                const auto tolerance =
                    std::max<long double>(8 * test::eps * norm_of(x), double(n) * least);
                EXPECT_LT(std::abs(y[0] - wide<TypeParam>(beta)), tolerance);
                for (std::size_t i = 1; i < n; ++i)
                    ASSERT_LT(std::abs(y[i]), tolerance) << "element " << i;
                EXPECT_NEAR(double(std::abs(wide<TypeParam>(beta)) / norm_of(x)), 1,
                            double(tolerance / norm_of(x)));
            }
}

TYPED_TEST(reflector, has_an_image_of_opposite_phase)
{
    for (const double sign : {1.0, -1.0}) {
        numerical::aligned_vector<TypeParam> x{3 * sign, 4.0};
        EXPECT_EQ(detail::householder_in_place(x), TypeParam(-5 * sign));
    }
    numerical::aligned_vector<TypeParam> x{0.0, 2.0}; // the phase of zero is 1
    EXPECT_EQ(detail::householder_in_place(x), TypeParam(-2));
    EXPECT_EQ(x, (numerical::aligned_vector<TypeParam>(2, 1 / std::sqrt(2.0))));
}

TEST(complex_reflector, keeps_the_angle_of_the_first_element)
{
    for (const double magnitude : {1.0, 1e-200, 0x1p-1060}) {
        numerical::aligned_vector<complex> x{magnitude * complex(0, 3), complex(4 * magnitude)};
        const complex beta = detail::householder_in_place(x);
        EXPECT_EQ(beta.real(), 0);
        EXPECT_NEAR(beta.imag() / magnitude, -5, 1e-4);
    }
}

TYPED_TEST(reflector, of_a_zero_vector_is_empty)
{
    for (const std::size_t n : {0u, 1u, 7u}) {
        numerical::aligned_vector<TypeParam> x(n);
        detail::make_reflector(x);
        EXPECT_TRUE(x.empty());
    }
}

TYPED_TEST(reflector, of_the_least_number_is_a_unit_vector)
{
    numerical::aligned_vector<TypeParam> x{0.0, least};
    detail::make_reflector(x);
    EXPECT_EQ(x, (numerical::aligned_vector<TypeParam>(2, 1 / std::sqrt(2.0))));
    numerical::aligned_vector<TypeParam> single{-least};
    detail::make_reflector(single);
    EXPECT_EQ(single, numerical::aligned_vector<TypeParam>{-1.0});
}

TYPED_TEST(reflector, of_one_element_flips_its_sign)
{
    numerical::aligned_vector<TypeParam> x{-3.0};
    detail::make_reflector(x);
    EXPECT_EQ(x, numerical::aligned_vector<TypeParam>{-1.0});
}

TYPED_TEST(reflector, rescales_only_below_2_to_minus_500)
{
    const auto after = [](numerical::aligned_vector<TypeParam> x) {
        const double scale = detail::rescale_tiny(x);
        return std::pair(scale, x);
    };
    using pair = std::pair<double, numerical::aligned_vector<TypeParam>>;
    EXPECT_EQ(after({0x1p-500, 0x1p-600}), (pair{1, {0x1p-500, 0x1p-600}}));
    EXPECT_EQ(after({-0x1.8p-501, 0x1p-600}), (pair{0x1p501, {-1.5, 0x1p-99}}));
    EXPECT_EQ(after({least_normal / 4}), (pair{0x1p1022, {0.25}}));
    EXPECT_EQ(after({least}), (pair{0x1p1022, {0x1p-52}}));
    EXPECT_EQ(after({0.0}), (pair{0x1p1022, {0.0}}));
    EXPECT_EQ(after({}), (pair{0x1p1022, {}}));
    EXPECT_EQ(after({1e300, 1e-300}), (pair{1, {1e300, 1e-300}}));
}

TYPED_TEST(reflector, does_not_overflow_below_half_the_greatest_number)
{
    numerical::aligned_vector<TypeParam> x{greatest / 4, greatest / 4, 0.0};
    const TypeParam beta = detail::householder_in_place(x);
    EXPECT_NEAR(double(norm_of(x)), 1, 4 * test::eps);
    EXPECT_NEAR(detail::real_part(beta) / greatest, -std::sqrt(0.125), test::eps);
}

// The stretch of `length` at `column` of each row in the middle of a NaN frame.
TYPED_TEST(reflector, reflects_the_addressed_stretches_of_rows_alone)
{
    for (const int path : test::available_paths())
        for (const std::size_t length :
             {1u, 2u, 3u, 4u, 5u, 7u, 8u, 9u, 15u, 16u, 17u, 31u, 33u, 63u, 64u, 65u, 100u})
            for (const std::size_t count : {0u, 1u, 2u, 3u, 4u, 5u, 7u, 8u, 9u, 13u, 17u}) {
                const test::path_limit limit(path);
                const std::size_t ld = length + 3;
                const auto v = exact_reflector<TypeParam>(length, greatest_power_of_four(length),
                                                          unsigned(length));
                const auto inner = test::integer_vector<TypeParam>(count * length, 5);
                numerical::aligned_vector<TypeParam> a((count + 2) * ld, nan);
                for (std::size_t i = 0; i < count; ++i)
                    std::copy_n(inner.begin() + std::ptrdiff_t(i * length), length,
                                a.begin() + std::ptrdiff_t((i + 1) * ld + 2));
                detail::reflect_columns(a, ld, v, 2, 1, 1 + count);

                numerical::aligned_vector<TypeParam> y;
                for (std::size_t i = 0; i < a.size(); ++i) {
                    const std::size_t row = i / ld, column = i % ld;
                    if (row < 1 || row > count || column < 2 || column >= 2 + length) {
                        ASSERT_TRUE(std::isnan(detail::real_part(a[i]))) << row << ',' << column;
                        continue;
                    }
                    y.push_back(a[i]);
                    if (column + 1 < 2 + length)
                        continue;
                    const auto first = inner.begin() + std::ptrdiff_t((row - 1) * length);
                    const auto expected = reflected(v, numerical::aligned_vector<TypeParam>(
                                                           first, first + std::ptrdiff_t(length)));
                    for (std::size_t l = 0; l < length; ++l)
                        ASSERT_EQ(wide<TypeParam>(y[l]), expected[l])
                            << "length " << length << ", row " << row << ", path " << path;
                    y.clear();
                }
            }
}

TYPED_TEST(reflector, reflects_the_addressed_rows_alone)
{
    for (const int path : test::available_paths())
        for (const std::size_t length : {1u, 2u, 5u, 16u, 40u})
            for (const std::size_t width : {0u, 1u, 3u, 8u, 63u, 64u, 65u, 130u}) {
                const test::path_limit limit(path);
                const std::size_t ld = width + 2;
                const auto v = exact_reflector<TypeParam>(length, greatest_power_of_four(length),
                                                          unsigned(length));
                const auto inner = test::integer_vector<TypeParam>(length * width, 6);
                numerical::aligned_vector<TypeParam> a((length + 2) * ld, nan);
                for (std::size_t i = 0; i < length; ++i)
                    std::copy_n(inner.begin() + std::ptrdiff_t(i * width), width,
                                a.begin() + std::ptrdiff_t((i + 1) * ld + 2));
                detail::reflect_rows(a, ld, v, 1, 2);

                for (std::size_t column = 0; column < ld; ++column) {
                    ASSERT_TRUE(std::isnan(detail::real_part(a[column])));
                    ASSERT_TRUE(std::isnan(detail::real_part(a[(length + 1) * ld + column])));
                    numerical::aligned_vector<TypeParam> x(length);
                    for (std::size_t i = 0; i < length && column >= 2; ++i)
                        x[i] = inner[i * width + column - 2];
                    const auto expected = reflected(v, x);
                    for (std::size_t i = 0; i < length; ++i) {
                        const TypeParam got = a[(i + 1) * ld + column];
                        if (column < 2)
                            ASSERT_TRUE(std::isnan(detail::real_part(got)));
                        else
                            ASSERT_EQ(wide<TypeParam>(got), expected[i]) << width << ' ' << path;
                    }
                }
            }
}

TYPED_TEST(reflector, has_the_same_bits_on_rows_by_any_number_of_threads)
{
    const std::size_t rows = 70, columns = 1000;
    const auto v = test::random_vector<TypeParam>(rows, 1);
    const auto a = test::random_vector<TypeParam>(rows * columns, 2);
    const auto on = [&](std::size_t threads) {
        const test::thread_limit limit(threads);
        auto copy = a;
        detail::reflect_rows(copy, columns, v, 0, 0);
        return copy;
    };
    for (const std::size_t threads : test::thread_counts)
        EXPECT_EQ(on(threads), on(1)) << threads << " threads";
}

TYPED_TEST(reflector, that_is_empty_is_the_identity)
{
    const auto a = test::random_vector<TypeParam>(12, 1);
    auto copy = a;
    detail::reflect_columns(copy, 4, {}, 1, 0, 3);
    EXPECT_EQ(copy, a);
    detail::reflect_rows(copy, 4, {}, 1, 0);
    EXPECT_EQ(copy, a);
}

TEST(complex_reflector, recovers_an_infinity_in_its_sums_as_the_full_product_does)
{
    // (inf + inf·i)·conj(0.5): the textbook formula alone gives NaN in both parts.
    const double inf = std::numeric_limits<double>::infinity();
    const test::path_limit portable(detail::portable_path);
    numerical::aligned_vector<complex> a{{inf, inf}, 0.0, 0.0, 0.0};
    const numerical::aligned_vector<complex> v{0.5, 0.5, 0.5, 0.5};
    detail::reflect_columns(a, 4, v, 0, 0, 1);
    EXPECT_EQ(a[1].real(), -inf);
    EXPECT_EQ(a[1].imag(), -inf);
}

} // namespace
