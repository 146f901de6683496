#include "numerical/elementwise/numbers.hpp"

#include "numerical/elementwise/booleans.hpp"
#include "numerical/elementwise/places.hpp"
#include "numerical/elementwise/scans.hpp"
#include "numerical/elementwise/sorting.hpp"
#include "numerical/elementwise/streamed_rows.hpp"
#include "numerical/errors.hpp"
#include "paths.hpp"
#include "thrown.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace {

using numerical::booleans;
using numerical::number_function;
using numerical::pair_function;
using numerical::sort_order;
using numerical::tensor;
using numerical::detail::number_kernels;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
const std::vector<double> special{0.0,  -0.0, 0.3,  -0.3,       0.5,           -0.5,     1.5,
                                  -1.5, 2.5,  0.7,  -0.7,       1e300,         infinity, -infinity,
                                  nan,  3.0,  -4.0, 0x1p52 + 1, -0x1p51 - 0.5, 5e-324};

std::vector<double> drawn(std::size_t count, unsigned seed)
{
    std::mt19937 source(seed);
    std::vector<double> out(count);
    for (double& x : out)
        x = special[source() % special.size()];
    return out;
}

void expect_same_bits(const std::vector<double>& found, const std::vector<double>& expected)
{
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < found.size(); ++i)
        if (expected[i] == expected[i])
            EXPECT_EQ(std::bit_cast<std::uint64_t>(found[i]),
                      std::bit_cast<std::uint64_t>(expected[i]))
                << i;
        else
            EXPECT_TRUE(std::isnan(found[i])) << i;
}

std::vector<const number_kernels*> all_kernels()
{
    std::vector<const number_kernels*> kernels{&numerical::detail::portable_numbers};
    if (__builtin_cpu_supports("avx2") != 0)
        kernels.push_back(&numerical::detail::avx2_unfused_numbers);
    return kernels;
}

TEST(numbers, rounds_as_the_c_library_on_every_path)
{
    const std::vector<std::pair<number_function, double (*)(double)>> roundings{
        {number_function::floor, [](double x) { return std::floor(x); }},
        {number_function::ceil, [](double x) { return std::ceil(x); }},
        {number_function::trunc, [](double x) { return std::trunc(x); }},
        {number_function::round, [](double x) { return std::nearbyint(x); }}};
    for (const std::size_t count : {1, 2, 3, 5, 8, 67}) {
        const std::vector<double> x = drawn(count, static_cast<unsigned>(count));
        for (const auto& [function, by_library] : roundings)
            for (const number_kernels* kernels : all_kernels()) {
                std::vector<double> found(count);
                std::vector<double> expected(count);
                kernels->of_one[static_cast<int>(function)](x.data(), found.data(), count);
                std::transform(x.begin(), x.end(), expected.begin(), by_library);
                expect_same_bits(found, expected);
            }
    }
}

TEST(numbers, pairs_have_the_same_bits_on_every_path)
{
    const std::vector<double> x = drawn(67, 1);
    const std::vector<double> y = drawn(67, 2);
    for (int function = 0; function < 3; ++function)
        for (int form = 0; form < 3; ++form) {
            std::vector<double> expected(67);
            numerical::detail::portable_numbers.of_two[function].by_form[form](x.data(), y.data(),
                                                                               expected.data(), 67);
            for (const number_kernels* kernels : all_kernels()) {
                std::vector<double> found(67);
                kernels->of_two[function].by_form[form](x.data(), y.data(), found.data(), 67);
                expect_same_bits(found, expected);
            }
        }
}

// Rows from streamed_from numbers on are written past the caches, whatever line they start in.
TEST(numbers, writes_long_rows_whole_and_nothing_beside_them)
{
    constexpr std::size_t length = numerical::detail::streamed_from + 77;
    const std::vector<double> x = drawn(length, 3);
    const std::vector<double> y = drawn(length, 4);
    std::vector<std::uint8_t> mask(length);
    std::transform(x.begin(), x.end(), mask.begin(), [](double a) { return a > 0; });
    constexpr double guard = 17.5;
    for (const number_kernels* kernels : all_kernels())
        for (std::size_t shift = 0; shift < 8; ++shift) {
            std::vector<double> found(length + 16, guard);
            double* const out = found.data() + shift;
            const auto expect_each = [&](auto expected) {
                for (std::size_t j = 0; j < length; ++j)
                    ASSERT_EQ(out[j] == out[j] ? out[j] : -1.0, expected(x[j], y[j])) << j;
                ASSERT_EQ(
                    std::count(found.begin(), found.begin() + static_cast<long>(shift), guard),
                    static_cast<long>(shift));
                ASSERT_EQ(std::count(out + length, found.data() + found.size(), guard),
                          static_cast<long>(16 - shift));
            };
            const auto or_minus_one = [](double value) { return value != value ? -1.0 : value; };
            kernels->of_one[static_cast<int>(number_function::sign)](x.data(), out, length);
            expect_each([&](double a, double) {
                return or_minus_one(a != a ? a : static_cast<double>((a > 0) - (a < 0)));
            });
            const auto& copy_sign = kernels->of_two[static_cast<int>(pair_function::copy_sign)];
            copy_sign.by_form[0](x.data(), y.data(), out, length);
            expect_each([&](double a, double b) { return or_minus_one(std::copysign(a, b)); });
            copy_sign.by_form[2](x.data(), y.data(), out, length);
            expect_each([&](double, double b) { return or_minus_one(std::copysign(x[0], b)); });
            kernels->choices[5](mask.data(), &guard, y.data(), out, length);
            expect_each([&](double a, double b) { return or_minus_one(a > 0 ? guard : b); });
        }
}

TEST(numbers, an_extreme_of_a_pair_is_nan_if_one_is)
{
    const tensor<double> a({4}, {nan, 1.0, 0.0, 2.0});
    const tensor<double> b({4}, {1.0, nan, -0.0, 3.0});
    expect_same_bits(pair_by(pair_function::maximum, a, b).data, {nan, nan, 0.0, 3.0});
    expect_same_bits(pair_by(pair_function::minimum, a, b).data, {nan, nan, 0.0, 2.0});
}

TEST(numbers, chooses_from_operands_of_different_shapes)
{
    const booleans mask({2, 1}, {1, 0});
    const tensor<double> a({3}, {1.0, 2.0, 3.0});
    const tensor<double> b({}, {-1.0});
    const tensor<double> found = chosen(mask, a, b);
    EXPECT_EQ(found.shape, (std::vector<std::size_t>{2, 3}));
    EXPECT_EQ(found.data, (std::vector<double>{1, 2, 3, -1, -1, -1}));
    EXPECT_EQ(test::text_thrown_by<numerical::dimension_error>([&] {
                  chosen(booleans({2}, {1, 0}), a, b);
              }),
              "operands could not be broadcast together with shapes (2,) (3,)");
}

TEST(sorting, is_stable_at_every_length)
{
    for (const std::size_t count : {1, 2, 48, 49, 500, 8191, 8192, 9000}) {
        const std::vector<double> x = drawn(count, static_cast<unsigned>(count));
        std::vector<std::ptrdiff_t> expected(count);
        std::iota(expected.begin(), expected.end(), 0);
        const auto before = [&](std::ptrdiff_t i, std::ptrdiff_t j) {
            const double a = x[static_cast<std::size_t>(i)];
            const double b = x[static_cast<std::size_t>(j)];
            return a < b || (b != b && a == a);
        };
        std::stable_sort(expected.begin(), expected.end(), before);
        std::vector<double> in_order;
        for (const std::ptrdiff_t i : expected)
            in_order.push_back(x[static_cast<std::size_t>(i)]);
        EXPECT_EQ(numerical::detail::sorted_places(x.data(), {1, count, 1}, sort_order::ascending),
                  expected);
        expect_same_bits(numerical::detail::sorted(x.data(), {1, count, 1}, sort_order::ascending),
                         in_order);
    }
}

TEST(sorting, finds_places_by_both_sides)
{
    const std::vector<double> ascending{-1, 0, 0, 2, infinity, nan};
    const std::vector<double> values{-2, -0.0, 2, 3, infinity, nan};
    using numerical::detail::search_places;
    using numerical::detail::search_side;
    EXPECT_EQ(search_places(ascending.data(), 6, values.data(), 6, search_side::left),
              (std::vector<std::ptrdiff_t>{0, 1, 3, 4, 4, 5}));
    EXPECT_EQ(search_places(ascending.data(), 6, values.data(), 6, search_side::right),
              (std::vector<std::ptrdiff_t>{0, 3, 4, 4, 5, 6}));
    EXPECT_EQ(search_places(nullptr, 0, values.data(), 1, search_side::left),
              (std::vector<std::ptrdiff_t>{0}));
}

TEST(places, the_first_extreme_is_found_in_any_block)
{
    for (const std::size_t at : {0, 1, 4095, 4096, 8191, 8192, 9999}) {
        std::vector<double> x(10000, 1.0);
        x[at] = 2.0;
        x[9999] = 2.0;
        const auto place = [&] {
            return numerical::detail::extreme_places(x.data(), {1, x.size(), 1},
                                                     std::greater<double>())[0];
        };
        EXPECT_EQ(place(), static_cast<std::ptrdiff_t>(at));
        x[5000] = nan;
        EXPECT_EQ(place(), 5000);
    }
}

TEST(scans, products_of_runs_use_eight_accumulators)
{
    std::vector<double> x(19);
    std::iota(x.begin(), x.end(), 1.5);
    double r[8];
    for (std::size_t j = 0; j < 8; ++j)
        r[j] = x[j] * x[8 + j];
    double expected = ((r[0] * r[1]) * (r[2] * r[3])) * ((r[4] * r[5]) * (r[6] * r[7]));
    for (std::size_t i = 16; i < 19; ++i)
        expected *= x[i];
    EXPECT_EQ(numerical::detail::products(x.data(), {1, 19, 1})[0], expected);
    EXPECT_EQ(numerical::detail::products(x.data(), {2, 0, 3}), std::vector<double>(6, 1.0));
    EXPECT_EQ(numerical::detail::running_sums(x.data(), {1, 3, 1}),
              (std::vector<double>{1.5, 4.0, 7.5}));
    EXPECT_EQ(numerical::detail::running_products(x.data(), {1, 2, 2}),
              (std::vector<double>{1.5, 2.5, 1.5 * 3.5, 2.5 * 4.5}));
}

// A few places that decide, far apart: every block of the search and every form of the walk.
TEST(booleans, answers_are_those_of_counts)
{
    using numerical::detail::boolean_reduction;
    using numerical::detail::walk_shape;
    std::mt19937 source(9);
    for (const walk_shape walk :
         {walk_shape{1, 5000, 1}, walk_shape{7, 100, 1}, walk_shape{3, 70, 5},
          walk_shape{1, 1000, 33}, walk_shape{2, 0, 3}, walk_shape{4, 0, 1}})
        for (const double common : {0.0, 1.0})
            for (const std::size_t others : {0, 1, 20}) {
                const std::size_t count = walk.outer * walk.extent * walk.inner;
                std::vector<double> x(count, common);
                for (std::size_t i = 0; i < others && count != 0; ++i)
                    x[source() % count] = common == 0 ? special[source() % special.size()] : -0.0;
                const auto any = booleans_along(boolean_reduction::any, x.data(), walk);
                const auto all = booleans_along(boolean_reduction::all, x.data(), walk);
                const auto counts = true_counts(x.data(), walk);
                for (std::size_t o = 0; o < walk.outer; ++o)
                    for (std::size_t k = 0; k < walk.inner; ++k) {
                        std::ptrdiff_t expected = 0;
                        for (std::size_t j = 0; j < walk.extent; ++j)
                            expected += x[(o * walk.extent + j) * walk.inner + k] != 0 ? 1 : 0;
                        const std::size_t at = o * walk.inner + k;
                        const auto extent = static_cast<std::ptrdiff_t>(walk.extent);
                        ASSERT_EQ(counts[at], expected);
                        ASSERT_EQ(any[at], expected != 0);
                        ASSERT_EQ(all[at], expected == extent);
                    }
            }
}

TEST(numbers, places_of_true_ones_are_ascending)
{
    std::mt19937_64 generator(5);
    for (const number_kernels* kernels : all_kernels())
        for (std::size_t count = 0; count < 70; ++count)
            for (const int rarity : {1, 2, 5, 100}) {
                std::vector<double> x(count);
                std::vector<std::ptrdiff_t> expected;
                for (std::size_t i = 0; i < count; ++i) {
                    const double kinds[]{nan, -1.0, 1.0, 5e-324};
                    const bool is_true = generator() % static_cast<unsigned int>(rarity) == 0;
                    x[i] = is_true ? kinds[generator() % 4] : i % 2 == 0 ? 0.0 : -0.0;
                    if (is_true)
                        expected.push_back(static_cast<std::ptrdiff_t>(i));
                }
                std::vector<std::ptrdiff_t> places(expected.size() + 5, -7);
                const std::size_t found = kernels->places_of_true(x.data(), count, places.data());
                EXPECT_EQ(places.back(), -7) << "only four more may be written";
                ASSERT_EQ(found, expected.size());
                places.resize(found);
                ASSERT_EQ(places, expected);
            }
}

TEST(numbers, bounds_of_places_see_each_one)
{
    constexpr std::ptrdiff_t far = std::numeric_limits<std::ptrdiff_t>::max();
    for (const number_kernels* kernels : all_kernels())
        for (const std::size_t count : {1, 3, 4, 5, 17})
            for (std::size_t at = 0; at < count; ++at)
                for (const std::ptrdiff_t place :
                     {std::ptrdiff_t{0}, std::ptrdiff_t{6}, std::ptrdiff_t{7}, std::ptrdiff_t{-1},
                      std::ptrdiff_t{-7}, std::ptrdiff_t{-8}, far, -far - 1}) {
                    std::vector<std::ptrdiff_t> places(count, 3);
                    places[at] = place;
                    const auto bounds = kernels->bounds_of(places.data(), count, 7);
                    EXPECT_EQ(bounds.outside, place < -7 || place >= 7) << place;
                    EXPECT_EQ(bounds.negative, place < 0) << place;
                }
}

TEST(numbers, the_place_of_a_value_is_its_first)
{
    for (const number_kernels* kernels : all_kernels())
        for (const std::size_t count : {1, 63, 64, 65, 300}) {
            std::vector<double> x(count, 1.0);
            EXPECT_EQ(kernels->place_of(x.data(), count, 2.0), count);
            for (const double value : {2.0, nan})
                for (std::size_t place = 0; place < count; place += 7) {
                    std::fill(x.begin(), x.end(), 1.0);
                    std::fill(x.begin() + static_cast<long>(place), x.end(), value);
                    EXPECT_EQ(kernels->place_of(x.data(), count, value), place);
                }
        }
}

TEST(numbers, equality_looks_at_every_number)
{
    for (const number_kernels* kernels : all_kernels())
        for (const std::size_t count : {0, 1, 4, 67}) {
            const std::vector<double> x(count, -0.0);
            std::vector<double> y(count, 0.0);
            EXPECT_TRUE(kernels->are_equal(x.data(), y.data(), count));
            for (double& changed : y) {
                changed = nan;
                EXPECT_FALSE(kernels->are_equal(x.data(), y.data(), count));
                changed = 0.0;
            }
        }
}

} // namespace
