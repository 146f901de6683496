#include "numerical/elementwise/numbers.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/streamed_rows.hpp"
#include "numerical/errors.hpp"
#include "paths.hpp"
#include "special_numbers.hpp"
#include "thrown.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace {

using numerical::booleans;
using numerical::number_function;
using numerical::pair_function;
using numerical::tensor;
using numerical::detail::number_kernels;
using test::drawn;
using test::expect_same_bits;
using test::nan;

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
        const numerical::aligned_vector<double> x = drawn(count, static_cast<unsigned>(count));
        for (const auto& [function, by_library] : roundings)
            for (const number_kernels* kernels : all_kernels()) {
                numerical::aligned_vector<double> found(count);
                numerical::aligned_vector<double> expected(count);
                kernels->of_one[static_cast<int>(function)](x.data(), found.data(), count);
                std::transform(x.begin(), x.end(), expected.begin(), by_library);
                expect_same_bits(found, expected);
            }
    }
}

TEST(numbers, pairs_have_the_same_bits_on_every_path)
{
    const numerical::aligned_vector<double> x = drawn(67, 1);
    const numerical::aligned_vector<double> y = drawn(67, 2);
    for (int function = 0; function < 3; ++function)
        for (int form = 0; form < 3; ++form) {
            numerical::aligned_vector<double> expected(67);
            numerical::detail::portable_numbers.of_two[function].by_form[form](x.data(), y.data(),
                                                                               expected.data(), 67);
            for (const number_kernels* kernels : all_kernels()) {
                numerical::aligned_vector<double> found(67);
                kernels->of_two[function].by_form[form](x.data(), y.data(), found.data(), 67);
                expect_same_bits(found, expected);
            }
        }
}

// Rows from streamed_from numbers on are written past the caches, whatever line they start in.
TEST(numbers, writes_long_rows_whole_and_nothing_beside_them)
{
    constexpr std::size_t length = numerical::detail::streamed_from + 77;
    const numerical::aligned_vector<double> x = drawn(length, 3);
    const numerical::aligned_vector<double> y = drawn(length, 4);
    numerical::aligned_vector<std::uint8_t> mask(length);
    std::transform(x.begin(), x.end(), mask.begin(), [](double a) { return a > 0; });
    constexpr double guard = 17.5;
    for (const number_kernels* kernels : all_kernels())
        for (std::size_t shift = 0; shift < 8; ++shift) {
            numerical::aligned_vector<double> found(length + 16, guard);
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
    EXPECT_EQ(found.data, (numerical::aligned_vector<double>{1, 2, 3, -1, -1, -1}));
    EXPECT_EQ(test::text_thrown_by<numerical::dimension_error>([&] {
                  chosen(booleans({2}, {1, 0}), a, b);
              }),
              "operands could not be broadcast together with shapes (2,) (3,)");
}

TEST(numbers, places_of_true_ones_are_ascending)
{
    std::mt19937_64 generator(5);
    for (const number_kernels* kernels : all_kernels())
        for (std::size_t count = 0; count < 70; ++count)
            for (const int rarity : {1, 2, 5, 100}) {
                numerical::aligned_vector<double> x(count);
                numerical::aligned_vector<std::ptrdiff_t> expected;
                for (std::size_t i = 0; i < count; ++i) {
                    const double kinds[]{nan, -1.0, 1.0, 5e-324};
                    const bool is_true = generator() % static_cast<unsigned int>(rarity) == 0;
                    x[i] = is_true ? kinds[generator() % 4] : i % 2 == 0 ? 0.0 : -0.0;
                    if (is_true)
                        expected.push_back(static_cast<std::ptrdiff_t>(i));
                }
                numerical::aligned_vector<std::ptrdiff_t> places(expected.size() + 5, -7);
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
                    numerical::aligned_vector<std::ptrdiff_t> places(count, 3);
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
            numerical::aligned_vector<double> x(count, 1.0);
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
            const numerical::aligned_vector<double> x(count, -0.0);
            numerical::aligned_vector<double> y(count, 0.0);
            EXPECT_TRUE(kernels->are_equal(x.data(), y.data(), count));
            for (double& changed : y) {
                changed = nan;
                EXPECT_FALSE(kernels->are_equal(x.data(), y.data(), count));
                changed = 0.0;
            }
        }
}

} // namespace
