#include "numerical/elementwise/reductions.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/reduction_kernels.hpp"
#include "numerical/errors.hpp"
#include "paths.hpp"
#include "thrown.hpp"

#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace {

using numerical::dimension_error;
using numerical::tensor;
using numerical::detail::contiguous_extreme;
using numerical::detail::extremes_along;
using numerical::detail::pairwise_sum;
using numerical::detail::walk_along;
using test::text_thrown_by;
using complex = std::complex<double>;
using extents = std::vector<std::size_t>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr std::uint64_t canonical = 0x7FF8000000000000;
const std::string no_identity = "a zero-size reduction to a maximum or a minimum has no identity";

std::uint64_t bits(double x)
{
    return std::bit_cast<std::uint64_t>(x);
}

// The definition of the sum, written out on a list of numbers.
template <class T>
T sum_by_definition(const numerical::aligned_vector<T>& x)
{
    const std::size_t n = x.size();
    if (n < 8) {
        T sum(0);
        for (const T& value : x)
            sum += value;
        return sum;
    }
    if (n > 128) {
        const auto middle = x.begin() + static_cast<std::ptrdiff_t>((n / 2) & ~std::size_t{7});
        const T left = sum_by_definition(numerical::aligned_vector<T>(x.begin(), middle));
        return left + sum_by_definition(numerical::aligned_vector<T>(middle, x.end()));
    }
    numerical::aligned_vector<T> r(x.begin(), x.begin() + 8);
    for (std::size_t i = 8; i < n - n % 8; ++i)
        r[i % 8] += x[i];
    T sum = ((r[0] + r[1]) + (r[2] + r[3])) + ((r[4] + r[5]) + (r[6] + r[7]));
    for (std::size_t i = n - n % 8; i < n; ++i)
        sum += x[i];
    return sum;
}

// Numbers whose sum in any other order has other bits.
void fill(numerical::aligned_vector<double>& x, unsigned seed)
{
    std::mt19937_64 random(seed);
    for (double& value : x)
        value = std::ldexp(static_cast<double>(random() >> 11) - 0x1p52,
                           static_cast<int>(random() % 40) - 60);
}

void fill(numerical::aligned_vector<complex>& z, unsigned seed)
{
    numerical::aligned_vector<double> parts(2 * z.size());
    fill(parts, seed);
    for (std::size_t i = 0; i < z.size(); ++i)
        z[i] = {parts[2 * i], parts[2 * i + 1]};
}

std::vector<std::size_t> lengths()
{
    std::vector<std::size_t> all;
    for (std::size_t n = 0; n < 40; ++n)
        all.push_back(n);
    for (const std::size_t n : {63,  64,  65,  119, 120, 127, 128, 129,  130,  135,
                                136, 137, 191, 256, 257, 264, 272, 1000, 1032, 2049})
        all.push_back(n);
    return all;
}

template <class T>
class sums_of : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(sums_of, element_types);

TYPED_TEST(sums_of, runs_of_any_stride_follow_the_definition)
{
    for (const std::size_t n : lengths())
        for (const std::size_t stride : {1, 2, 3, 17}) {
            numerical::aligned_vector<TypeParam> all(n * stride + 1);
            fill(all, 3);
            numerical::aligned_vector<TypeParam> chosen;
            for (std::size_t i = 0; i < n; ++i)
                chosen.push_back(all[i * stride]);
            ASSERT_EQ(pairwise_sum(all.data(), n, stride), sum_by_definition(chosen))
                << n << " numbers, stride " << stride;
        }
}

// Sums of all columns at once, on every path, with shapes before, at and behind each way's limits.
TYPED_TEST(sums_of, axes_follow_the_definition_element_by_element)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t extent : {1, 2, 7, 8, 9, 15, 16, 17, 40, 127, 128, 129, 300})
            for (const extents& sides : {extents{1, 2}, extents{1, 3}, extents{3, 1}, extents{2, 5},
                                         extents{1, 31}, extents{1, 33}, extents{2, 63},
                                         extents{1, 65}, extents{1, 2050}, extents{1, 4099}}) {
                const std::size_t outer = sides[0];
                const std::size_t inner = sides[1];
                numerical::aligned_vector<TypeParam> data(outer * extent * inner);
                fill(data, 5);
                const tensor<TypeParam> a({outer, extent, inner}, data);
                const auto sums = sum_along(a, 1);
                ASSERT_EQ(sums.shape, sides);
                for (std::size_t i = 0; i < sums.data.size(); ++i) {
                    numerical::aligned_vector<TypeParam> column;
                    for (std::size_t j = 0; j < extent; ++j)
                        column.push_back(data[(i / inner * extent + j) * inner + i % inner]);
                    ASSERT_EQ(sums.data[i], sum_by_definition(column))
                        << "path " << path << ", " << outer << " x " << extent << " x " << inner;
                }
            }
    }
}

TYPED_TEST(sums_of, means_are_true_quotients)
{
    numerical::aligned_vector<TypeParam> data(129 * 3);
    fill(data, 9);
    const tensor<TypeParam> a({129, 3}, data);
    EXPECT_EQ(mean(a), sum(a) / TypeParam(387.0));
    const auto sums = sum_along(a, 0);
    const auto means = mean_along(a, 0);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(means.data[i], sums.data[i] / TypeParam(129.0));
}

TEST(sum, starts_from_plus_zero_below_eight_numbers_only)
{
    for (std::size_t n = 1; n <= 130; ++n) {
        const numerical::aligned_vector<double> x(n, -0.0);
        const double sum = numerical::sum(tensor<double>({n}, x));
        EXPECT_EQ(std::signbit(sum), n >= 8) << n;
        for (const std::size_t columns : {2U, 5U})
            EXPECT_EQ(std::signbit(
                          sum_along(tensor<double>({n, columns}, numerical::aligned_vector<double>(
                                                                     n * columns, -0.0)),
                                    0)
                              .data[1]),
                      n >= 8);
    }
}

TEST(sum, of_nothing_is_zero_and_the_mean_is_nan)
{
    const tensor<double> none({0}, {});
    EXPECT_EQ(bits(numerical::sum(none)), 0U);
    EXPECT_TRUE(std::isnan(numerical::mean(none)));
    EXPECT_TRUE(std::isnan(numerical::mean(tensor<complex>({0}, {})).real()));
    const tensor<double> flat({3, 0}, {});
    EXPECT_EQ(sum_along(flat, 0).shape, extents{0});
    EXPECT_EQ(sum_along(flat, 1).data, (numerical::aligned_vector<double>{0, 0, 0}));
    EXPECT_TRUE(std::isnan(mean_along(flat, 1).data[2]));
    EXPECT_EQ(sum_along(tensor<double>({4}, {1, 2, 3, 4}), 0).shape, extents{});
    const tensor<double> empty_rows({2, 0, 3}, {});
    EXPECT_EQ(sum_along(empty_rows, 1).data, numerical::aligned_vector<double>(6, 0.0));
    EXPECT_EQ(sum_along(empty_rows, 0).shape, (extents{0, 3}));
}

TEST(sum_along, refuses_absurd_results_before_it_allocates)
{
    constexpr std::size_t two_to_33 = std::size_t{1} << 33;
    const tensor<double> a({two_to_33, 0, two_to_33 / 4 + 1}, {});
    const auto text = "dimension product overflows std::size_t";
    EXPECT_EQ(text_thrown_by<dimension_error>([&] { sum_along(a, 1); }), text);
    const tensor<double> b({5, two_to_33, two_to_33, 0}, {});
    EXPECT_EQ(sum_along(b, 0).shape, (extents{two_to_33, two_to_33, 0}));
    EXPECT_EQ(text_thrown_by<dimension_error>([&] { sum_along(b, 3); }), text);
}

TEST(walk_along, multiplies_the_extents_on_both_sides)
{
    const auto walk = walk_along({2, 3, 5, 7}, 2);
    EXPECT_EQ(walk.outer, 6U);
    EXPECT_EQ(walk.extent, 5U);
    EXPECT_EQ(walk.inner, 7U);
    EXPECT_EQ(text_thrown_by<dimension_error>([] {
                  walk_along({2, 3, 5}, 3);
              }),
              "axis 3 is out of bounds for a tensor of rank 3");
    EXPECT_EQ(text_thrown_by<dimension_error>([] { walk_along({}, 0); }),
              "axis 0 is out of bounds for a tensor of rank 0");
}

// The definition of the extreme, lane by lane.
template <class C>
double extreme_by_definition(const numerical::aligned_vector<double>& p, const C& compare)
{
    const std::size_t n = p.size();
    const std::size_t full = n - n % 8;
    bool flags[8] = {};
    double acc[8];
    double m = p[0];
    const auto meet = [&](std::size_t lane, double x) {
        flags[lane] = flags[lane] || std::isnan(x);
        acc[lane] = compare(x, acc[lane]) ? x : acc[lane];
    };
    const auto fold = [&] {
        for (const double x : acc)
            m = compare(x, m) ? x : m;
    };
    if (n >= 8) {
        for (std::size_t j = 0; j < 8; ++j)
            acc[j] = p[j];
        for (std::size_t i = 0; i < full; ++i)
            meet(i % 8, p[i]);
        fold();
    }
    for (double& x : acc)
        x = m;
    for (std::size_t i = full; i < n; ++i)
        meet(i % 8, p[i]);
    fold();
    for (const bool flag : flags)
        if (flag)
            return std::bit_cast<double>(canonical);
    return m;
}

// Mostly zeros of both signs among numbers that lose: the order of equals shows in the sign.
numerical::aligned_vector<double> near_zeros(std::mt19937& random, std::size_t n, double loser)
{
    numerical::aligned_vector<double> x(n);
    for (double& value : x) {
        const auto kind = random() % 8;
        value = kind < 2 ? 0.0 : kind < 4 ? -0.0 : loser;
    }
    return x;
}

template <class C>
void expect_extremes(const C& compare, double loser)
{
    std::mt19937 random(21);
    for (std::size_t n = 1; n < 600; n += n < 300 ? 1 : 37)
        for (int round = 0; round < 8; ++round) {
            numerical::aligned_vector<double> x = near_zeros(random, n, loser);
            if (round == 0)
                fill(x, static_cast<unsigned>(n));
            if (round == 1)
                x[random() % n] = std::copysign(nan, -1.0);
            ASSERT_EQ(bits(contiguous_extreme(x.data(), n, compare)),
                      bits(extreme_by_definition(x, compare)))
                << n;
        }
    for (const std::size_t n : {32767, 32768, 32775, 40001}) {
        numerical::aligned_vector<double> x = near_zeros(random, n, loser);
        ASSERT_EQ(bits(contiguous_extreme(x.data(), n, compare)),
                  bits(extreme_by_definition(x, compare)));
        x[n - 1] = nan;
        ASSERT_EQ(bits(contiguous_extreme(x.data(), n, compare)), canonical);
    }
}

TEST(contiguous_extreme, follows_the_definition_in_the_sign_of_zeros_and_nan)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        expect_extremes(std::less<double>(), 3.0);
        expect_extremes(std::greater<double>(), -3.0);
    }
}

TEST(contiguous_extreme, gives_the_canonical_nan_for_one_anywhere)
{
    const double payload = std::bit_cast<double>(0xFFF8000000001234);
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {1, 7, 8, 9, 31, 32, 33, 128, 137, 300})
            for (std::size_t at = 0; at < n; ++at) {
                numerical::aligned_vector<double> x(n, 1.0);
                x[at] = payload;
                ASSERT_EQ(bits(contiguous_extreme(x.data(), n, std::less<double>())), canonical);
                ASSERT_EQ(bits(contiguous_extreme(x.data(), n, std::greater<double>())), canonical);
            }
    }
}

template <class C>
void expect_column_extremes(const C& compare, double loser)
{
    std::mt19937 random(4);
    for (const std::size_t extent : {1, 2, 8, 9, 17, 18, 40})
        for (const std::size_t inner : {2, 3, 4, 5, 31, 33, 4099}) {
            numerical::aligned_vector<double> data = near_zeros(random, 2 * extent * inner, loser);
            data[random() % data.size()] = -nan;
            const auto result =
                extremes_along(tensor<double>({2, extent, inner}, data), 1, compare);
            ASSERT_EQ(result.shape, (extents{2, inner}));
            for (std::size_t i = 0; i < 2 * inner; ++i) {
                const double* column = data.data() + i / inner * extent * inner + i % inner;
                double expected = column[0];
                bool found_nan = false;
                for (std::size_t j = 0; j < extent; ++j) {
                    const double x = column[j * inner];
                    found_nan = found_nan || std::isnan(x);
                    expected = compare(x, expected) ? x : expected;
                }
                ASSERT_EQ(bits(result.data[i]), found_nan ? canonical : bits(expected));
            }
        }
}

TEST(extremes_along, keeps_the_first_of_equals_in_each_column)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        expect_column_extremes(std::less<double>(), 2.0);
        expect_column_extremes(std::greater<double>(), -2.0);
    }
}

TEST(extremes_along, the_last_axis_goes_by_lanes)
{
    const numerical::aligned_vector<double> row{-1, -1, -1, -1, -1, 0.0, -1, -1, -0.0};
    const tensor<double> a({1, 9}, row);
    const auto result = extremes_along(a, 1, std::greater<double>());
    EXPECT_EQ(result.shape, extents{1});
    EXPECT_FALSE(std::signbit(result.data[0]));
}

TEST(extremes_along, of_an_axis_without_elements_has_no_identity)
{
    const std::less<double> least;
    EXPECT_EQ(text_thrown_by<dimension_error>([&] { extreme(tensor<double>({0}, {}), least); }),
              no_identity);
    const tensor<double> flat({3, 0}, {});
    EXPECT_EQ(text_thrown_by<dimension_error>([&] { extremes_along(flat, 1, least); }),
              no_identity);
    EXPECT_EQ(extremes_along(flat, 0, least).shape, extents{0});
    EXPECT_EQ(text_thrown_by<dimension_error>([&] {
                  extremes_along(tensor<double>({0, 0}, {}), 0, least);
              }),
              no_identity);
    EXPECT_EQ(extremes_along(tensor<double>({2}, {4, 3}), 0, least).data,
              numerical::aligned_vector<double>{3});
}

// Every kernel with guards round its result.
void expect_guarded(const numerical::detail::reduction_kernels& kernels)
{
    constexpr double guard = -777.25;
    for (const std::size_t rows : {1, 7, 8, 9, 16, 33, 129})
        for (std::size_t width = 1; width <= 19; ++width) {
            const std::size_t stride = width + 3;
            numerical::aligned_vector<double> data(rows * stride, nan); // outside the block
            for (std::size_t i = 0; i < rows; ++i)
                std::fill_n(data.begin() + static_cast<std::ptrdiff_t>(i * stride), width, 2.0);
            const numerical::detail::row_block block{data.data(), rows, stride, width};
            numerical::aligned_vector<double> scratch(
                numerical::detail::column_sum_scratch(rows, width) + 1);
            scratch.back() = guard;
            numerical::aligned_vector<double> out(width + 2, guard);
            kernels.column_sums(block, out.data() + 1, scratch.data());
            ASSERT_EQ(scratch.back(), guard);
            for (std::size_t k = 1; k <= width; ++k)
                ASSERT_EQ(out[k], 2.0 * static_cast<double>(rows));
            ASSERT_TRUE(out.front() == guard && out.back() == guard);
            kernels.least_of_columns(block, out.data() + 1);
            ASSERT_EQ(out[width], 2.0);
            kernels.greatest_of_columns(block, out.data() + 1);
            ASSERT_TRUE(out.front() == guard && out.back() == guard && out[1] == 2.0);
        }
}

TEST(reduction_kernels, write_their_columns_and_nothing_else)
{
    expect_guarded(numerical::detail::portable_reduction);
    if (numerical::detail::cpu_features().avx2)
        expect_guarded(numerical::detail::avx2_unfused_reduction);
}

} // namespace
