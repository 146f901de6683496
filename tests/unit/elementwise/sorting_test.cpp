#include "numerical/elementwise/sorting.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/reductions.hpp"
#include "paths.hpp"
#include "special_numbers.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <random>

namespace {

using numerical::sort_order;
using numerical::detail::walk_shape;

constexpr double infinity = std::numeric_limits<double>::infinity();

// NaNs that differ in sign and payload.
double nan_number(std::uint64_t payload, bool negative)
{
    const std::uint64_t sign = negative ? std::uint64_t{1} << 63 : 0;
    return std::bit_cast<double>(sign | 0x7FF8000000000000 | payload);
}

numerical::aligned_vector<double> even(std::size_t count, unsigned seed)
{
    std::mt19937_64 source(seed);
    std::uniform_real_distribution<double> uniform(-1, 1);
    numerical::aligned_vector<double> out(count);
    for (double& x : out)
        x = uniform(source);
    return out;
}

// Many equal numbers, both zeros, infinities and NaNs among them.
numerical::aligned_vector<double> special(std::size_t count, unsigned seed)
{
    std::mt19937_64 source(seed);
    const numerical::aligned_vector<double> values{0.0,      -0.0,      1.0,    -1.0,  0.5,
                                                   infinity, -infinity, 5e-324, 1e300, -1e300};
    numerical::aligned_vector<double> out(count);
    for (double& x : out) {
        const std::uint64_t draw = source();
        x = draw % 4 == 0 ? nan_number(draw >> 40, draw % 8 == 0)
                          : values[(draw >> 8) % values.size()];
    }
    return out;
}

bool comes_before(double x, double y, sort_order order)
{
    if (x != x || y != y)
        return x == x && y != y;
    return order == sort_order::ascending ? x < y : x > y;
}

// Run by run, by the standard library's stable sort.
numerical::aligned_vector<double> plainly_sorted(numerical::aligned_vector<double> data,
                                                 const walk_shape& walk, sort_order order)
{
    if (data.empty())
        return data;
    for (std::size_t o = 0; o < walk.outer; ++o)
        for (std::size_t k = 0; k < walk.inner; ++k) {
            double* const first = data.data() + o * walk.extent * walk.inner + k;
            numerical::aligned_vector<double> run;
            for (std::size_t i = 0; i < walk.extent; ++i)
                run.push_back(first[i * walk.inner]);
            std::stable_sort(run.begin(), run.end(),
                             [=](double x, double y) { return comes_before(x, y, order); });
            for (std::size_t i = 0; i < walk.extent; ++i)
                first[i * walk.inner] = run[i];
        }
    return data;
}

void expect_sorted(const numerical::aligned_vector<double>& data, const walk_shape& walk)
{
    for (const sort_order order : {sort_order::ascending, sort_order::descending}) {
        const auto want = plainly_sorted(data, walk, order);
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            const auto got = numerical::detail::sorted(data.data(), walk, order);
            ASSERT_EQ(got.size(), want.size());
            for (std::size_t i = 0; i < got.size(); ++i)
                ASSERT_EQ(std::bit_cast<std::uint64_t>(got[i]),
                          std::bit_cast<std::uint64_t>(want[i]))
                    << "at " << i << " of " << walk.outer << " x " << walk.extent << " x "
                    << walk.inner << " on path " << path << ": " << got[i] << ", not " << want[i];
        }
    }
}

void expect_sorted(const walk_shape& walk)
{
    const std::size_t count = walk.outer * walk.extent * walk.inner;
    expect_sorted(even(count, 1), walk);
    expect_sorted(special(count, 2), walk);
}

TEST(sorting, is_stable_with_nans_last_at_every_short_length)
{
    for (std::size_t n = 0; n <= 70; ++n)
        for (std::size_t runs = 1; runs <= 5; ++runs)
            expect_sorted({runs, n, 1});
}

TEST(sorting, is_along_any_axis)
{
    for (const walk_shape& walk : {walk_shape{1, 33, 7},
                                   {3, 100, 5},
                                   {2, 17, 1},
                                   {5, 1, 3},
                                   {4, 0, 2},
                                   {0, 5, 1},
                                   {1, 700, 2}})
        expect_sorted(walk);
}

// The lengths up to which one to four runs go side by side, and those of wider digits.
TEST(sorting, holds_where_the_method_changes)
{
    for (const std::size_t length :
         {48U, 49U, 255U, 256U, 257U, 768U, 769U, 1536U, 1537U, 2047U, 2048U, 2049U, 8191U, 8192U})
        for (std::size_t runs = 1; runs <= 5; ++runs)
            expect_sorted({runs, length, 1});
}

// Of zeros and ones: a network that sorts them all sorts any numbers.
TEST(sorting, of_zeros_and_ones_is_right_for_all_of_them)
{
    for (std::size_t n = 1; n <= 12; ++n) {
        const std::size_t runs = std::size_t{1} << n;
        numerical::aligned_vector<double> data;
        for (std::size_t bits = 0; bits < runs; ++bits)
            for (std::size_t i = 0; i < n; ++i)
                data.push_back(double(bits >> i & 1));
        expect_sorted(data, {runs, n, 1});
    }
}

TEST(sorting, is_stable_at_every_length)
{
    for (const std::size_t count : {1, 2, 48, 49, 500, 8191, 8192, 9000}) {
        const numerical::aligned_vector<double> x =
            test::drawn(count, static_cast<unsigned>(count));
        numerical::aligned_vector<std::ptrdiff_t> expected(count);
        std::iota(expected.begin(), expected.end(), 0);
        const auto before = [&](std::ptrdiff_t i, std::ptrdiff_t j) {
            const double a = x[static_cast<std::size_t>(i)];
            const double b = x[static_cast<std::size_t>(j)];
            return a < b || (b != b && a == a);
        };
        std::stable_sort(expected.begin(), expected.end(), before);
        numerical::aligned_vector<double> in_order;
        for (const std::ptrdiff_t i : expected)
            in_order.push_back(x[static_cast<std::size_t>(i)]);
        EXPECT_EQ(numerical::detail::sorted_places(x.data(), {1, count, 1}, sort_order::ascending),
                  expected);
        test::expect_same_bits(
            numerical::detail::sorted(x.data(), {1, count, 1}, sort_order::ascending), in_order);
    }
}

TEST(sorting, finds_places_by_both_sides)
{
    const numerical::aligned_vector<double> ascending{-1, 0, 0, 2, infinity, test::nan};
    const numerical::aligned_vector<double> values{-2, -0.0, 2, 3, infinity, test::nan};
    using numerical::detail::search_places;
    using numerical::detail::search_side;
    EXPECT_EQ(search_places(ascending.data(), 6, values.data(), 6, search_side::left),
              (numerical::aligned_vector<std::ptrdiff_t>{0, 1, 3, 4, 4, 5}));
    EXPECT_EQ(search_places(ascending.data(), 6, values.data(), 6, search_side::right),
              (numerical::aligned_vector<std::ptrdiff_t>{0, 3, 4, 4, 5, 6}));
    EXPECT_EQ(search_places(nullptr, 0, values.data(), 1, search_side::left),
              (numerical::aligned_vector<std::ptrdiff_t>{0}));
}

} // namespace
