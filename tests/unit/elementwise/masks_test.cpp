#include "numerical/elementwise/masks.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/booleans.hpp"
#include "numerical/elementwise/comparison.hpp"
#include "numerical/elementwise/places.hpp"
#include "numerical/errors.hpp"
#include "thrown.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace {

using numerical::boolean_operation;
using numerical::booleans;
using numerical::number_predicate;
using numerical::tensor;
using numerical::detail::boolean_kernels;
using bytes = numerical::aligned_vector<std::uint8_t>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
const numerical::aligned_vector<double> special{
    0.0,       -0.0, 1.0,    -1.0, std::copysign(nan, -1.0), 0.5, 2e10, infinity,
    -infinity, nan,  5e-324, 1.0};

constexpr std::uint8_t guard = 77;

std::vector<const boolean_kernels*> all_kernels()
{
    std::vector<const boolean_kernels*> kernels{&numerical::detail::portable_booleans};
    if (__builtin_cpu_supports("avx2") != 0)
        kernels.push_back(&numerical::detail::avx2_unfused_booleans);
    return kernels;
}

numerical::aligned_vector<double> drawn(std::size_t count, unsigned seed)
{
    std::mt19937 source(seed);
    numerical::aligned_vector<double> out(count);
    for (double& x : out)
        x = special[source() % special.size()];
    return out;
}

bytes drawn_booleans(std::size_t count, unsigned seed, unsigned rarity = 2)
{
    std::mt19937 source(seed);
    bytes out(count);
    for (std::uint8_t& x : out)
        x = source() % rarity == 0 ? 1 : 0;
    return out;
}

// What row(out) writes of `count` booleans, and nothing beside them, wherever they begin.
template <class Row>
bytes written(std::size_t count, const Row& row)
{
    const std::size_t shift = count % 3;
    bytes out(count + 40, guard);
    row(out.data() + shift);
    EXPECT_EQ(std::count(out.begin(), out.begin() + static_cast<long>(shift), guard),
              static_cast<long>(shift));
    EXPECT_EQ(std::count(out.begin() + static_cast<long>(shift + count), out.end(), guard),
              static_cast<long>(40 - shift));
    return {out.begin() + static_cast<long>(shift), out.begin() + static_cast<long>(shift + count)};
}

TEST(masks, predicates_are_those_of_the_c_library)
{
    const std::pair<number_predicate, bool (*)(double)> predicates[]{
        {number_predicate::is_nan, [](double x) { return std::isnan(x); }},
        {number_predicate::is_infinite, [](double x) { return std::isinf(x); }},
        {number_predicate::is_finite, [](double x) { return std::isfinite(x); }},
        {number_predicate::is_true, [](double x) { return x != 0; }},
        {number_predicate::is_zero, [](double x) { return x == 0; }},
        {number_predicate::has_sign, [](double x) { return std::signbit(x); }}};
    for (const boolean_kernels* kernels : all_kernels())
        for (std::size_t count = 0; count < 100; ++count) {
            const numerical::aligned_vector<double> x = drawn(count, static_cast<unsigned>(count));
            for (const auto& [predicate, by_library] : predicates) {
                bytes expected(count);
                std::transform(x.begin(), x.end(), expected.begin(), by_library);
                const auto row = kernels->predicates[static_cast<int>(predicate)];
                EXPECT_EQ(written(count, [&](auto* out) { row(x.data(), out, count); }), expected);
            }
        }
}

TEST(masks, comparisons_are_those_of_the_language_at_every_length_and_form)
{
    const std::function<bool(double, double)> comparisons[]{
        std::less<double>(),         std::less_equal<double>(), std::equal_to<double>(),
        std::not_equal_to<double>(), std::greater<double>(),    std::greater_equal<double>()};
    for (const boolean_kernels* kernels : all_kernels())
        for (std::size_t count = 1; count < 100; ++count) {
            const numerical::aligned_vector<double> x = drawn(count, static_cast<unsigned>(count));
            const numerical::aligned_vector<double> y =
                drawn(count, static_cast<unsigned>(count) + 1000);
            for (std::size_t by = 0; by < 6; ++by)
                for (std::size_t form = 0; form < 3; ++form) {
                    bytes expected(count);
                    for (std::size_t j = 0; j < count; ++j)
                        expected[j] = comparisons[by](x[form == 2 ? 0 : j], y[form == 1 ? 0 : j]);
                    const auto row = kernels->comparisons[by].by_form[form];
                    EXPECT_EQ(
                        written(count, [&](auto* out) { row(x.data(), y.data(), out, count); }),
                        expected);
                }
        }
}

TEST(masks, a_mask_is_read_to_the_last_number)
{
    for (const boolean_kernels* kernels : all_kernels())
        for (std::size_t count = 1; count < 100; ++count) {
            const bytes expected = drawn_booleans(count, static_cast<unsigned>(count));
            numerical::aligned_vector<double> x(expected.begin(), expected.end());
            x[count / 2] = expected[count / 2] == 0 ? -0.0 : 1.0;
            EXPECT_EQ(written(count,
                              [&](auto* out) {
                                  EXPECT_TRUE(kernels->booleans_of_mask(x.data(), out, count));
                              }),
                      expected);
            for (double& one : x)
                for (const double other : {2.0, nan, -1.0, 0.5}) {
                    bytes out(count);
                    const double kept = std::exchange(one, other);
                    EXPECT_FALSE(kernels->booleans_of_mask(x.data(), out.data(), count));
                    one = kept;
                }
        }
}

TEST(masks, booleans_combine_by_every_form)
{
    const std::function<int(int, int)> operations[]{std::bit_and<int>(), std::bit_or<int>(),
                                                    std::bit_xor<int>()};
    for (const boolean_kernels* kernels : all_kernels())
        for (std::size_t count = 1; count < 100; ++count) {
            const bytes x = drawn_booleans(count, static_cast<unsigned>(count));
            const bytes y = drawn_booleans(count, static_cast<unsigned>(count) + 1000);
            for (std::size_t by = 0; by < 3; ++by)
                for (std::size_t form = 0; form < 3; ++form) {
                    bytes expected(count);
                    for (std::size_t j = 0; j < count; ++j)
                        expected[j] = static_cast<std::uint8_t>(
                            operations[by](x[form == 2 ? 0 : j], y[form == 1 ? 0 : j]));
                    const auto row = kernels->operations[by].by_form[form];
                    EXPECT_EQ(
                        written(count, [&](auto* out) { row(x.data(), y.data(), out, count); }),
                        expected);
                }
        }
}

// Counters of a byte are emptied before they overflow: after 255 words of eight booleans.
TEST(masks, counts_hold_where_all_are_true)
{
    for (const boolean_kernels* kernels : all_kernels())
        for (const std::size_t count : {0, 1, 7, 8, 9, 2039, 2040, 2041, 2048, 4081, 10007}) {
            const bytes ones(count, 1);
            EXPECT_EQ(kernels->count_true(ones.data(), count), count);
            const bytes x = drawn_booleans(count, static_cast<unsigned>(count));
            EXPECT_EQ(kernels->count_true(x.data(), count),
                      static_cast<std::size_t>(std::count(x.begin(), x.end(), 1)));
        }
}

TEST(masks, columns_are_counted_beyond_a_byte_and_added)
{
    for (const boolean_kernels* kernels : all_kernels())
        for (const std::size_t width : {1, 127, 128, 129, 300})
            for (const std::size_t rows : {1, 254, 255, 256, 511, 1000}) {
                const std::size_t stride = width + 3;
                bytes x(rows * stride, 1);
                numerical::aligned_vector<double> expected(width, 5.0 + static_cast<double>(rows));
                for (std::size_t i = 0; i < rows; i += 3) {
                    x[i * stride + i % width] = 0;
                    expected[i % width] -= 1;
                }
                numerical::aligned_vector<double> counts(width, 5.0);
                kernels->count_true_of_columns({x.data(), rows, stride, width}, counts.data());
                EXPECT_EQ(counts, expected);
            }
}

TEST(masks, places_of_true_ones_are_ascending)
{
    for (const boolean_kernels* kernels : all_kernels())
        for (std::size_t count = 0; count < 100; ++count)
            for (const unsigned rarity : {1, 2, 5, 100}) {
                const bytes x = drawn_booleans(count, static_cast<unsigned>(count), rarity);
                numerical::aligned_vector<std::ptrdiff_t> expected;
                for (std::size_t i = 0; i < count; ++i)
                    if (x[i] != 0)
                        expected.push_back(static_cast<std::ptrdiff_t>(i));
                numerical::aligned_vector<std::ptrdiff_t> places(expected.size() + 9, -7);
                const std::size_t found = kernels->places_of_true(x.data(), count, places.data());
                EXPECT_EQ(places.back(), -7) << "only eight more may be written";
                ASSERT_EQ(found, expected.size());
                places.resize(found);
                ASSERT_EQ(places, expected);
            }
}

TEST(masks, numbers_are_ones_and_zeros)
{
    for (const boolean_kernels* kernels : all_kernels())
        for (std::size_t count = 0; count < 100; ++count) {
            const bytes x = drawn_booleans(count, static_cast<unsigned>(count));
            numerical::aligned_vector<double> found(count + 1, 0.5);
            kernels->numbers(x.data(), found.data(), count);
            EXPECT_EQ(found.back(), 0.5);
            found.pop_back();
            EXPECT_EQ(found, numerical::aligned_vector<double>(x.begin(), x.end()));
        }
}

TEST(masks, along_axes_give_what_their_numbers_give)
{
    using numerical::detail::boolean_reduction;
    using numerical::detail::walk_shape;
    for (const walk_shape walk :
         {walk_shape{1, 5000, 1}, walk_shape{7, 100, 1}, walk_shape{3, 70, 5},
          walk_shape{1, 1000, 33}, walk_shape{2, 0, 3}, walk_shape{4, 0, 1}, walk_shape{2, 3, 0}})
        for (const unsigned rarity : {1, 2, 500}) {
            const bytes x = drawn_booleans(walk.outer * walk.extent * walk.inner, rarity, rarity);
            const numerical::aligned_vector<double> numbers(x.begin(), x.end());
            for (const auto reduction : {boolean_reduction::any, boolean_reduction::all})
                EXPECT_EQ(booleans_along(reduction, x.data(), walk),
                          booleans_along(reduction, numbers.data(), walk));
            EXPECT_EQ(true_counts(x.data(), walk), true_counts(numbers.data(), walk));
            EXPECT_EQ(numerical::detail::sums(x.data(), walk),
                      numerical::detail::sums(numbers.data(), walk));
            const numerical::aligned_vector<double> found =
                numerical::detail::means(x.data(), walk);
            const numerical::aligned_vector<double> expected =
                numerical::detail::means(numbers.data(), walk);
            ASSERT_EQ(found.size(), expected.size());
            for (std::size_t i = 0; i < found.size(); ++i)
                EXPECT_TRUE(found[i] == expected[i] || (walk.extent == 0 && std::isnan(found[i])));
        }
}

TEST(masks, places_of_tensors_are_those_of_their_numbers)
{
    for (const numerical::shape_list& shape :
         {numerical::shape_list{100}, {7, 31}, {3, 4, 5}, {0}, {3, 0}, {0, 3}}) {
        std::size_t count = 1;
        for (const std::size_t extent : shape)
            count *= extent;
        const booleans x(shape, drawn_booleans(count, 3));
        EXPECT_EQ(true_places(x), true_places(numbers_of(x)));
    }
}

TEST(masks, combine_by_broadcasting)
{
    const booleans column({2, 1}, {1, 0});
    const booleans row({3}, {1, 0, 1});
    const booleans both = combined(boolean_operation::logical_and, column, row);
    EXPECT_EQ(both.shape, (std::vector<std::size_t>{2, 3}));
    EXPECT_EQ(both.data, (bytes{1, 0, 1, 0, 0, 0}));
    EXPECT_EQ(negated(row).data, (bytes{0, 1, 0}));
    EXPECT_EQ(test::text_thrown_by<numerical::dimension_error>([&] {
                  combined(boolean_operation::logical_or, row, booleans({2}, {1, 0}));
              }),
              "operands could not be broadcast together with shapes (3,) (2,)");
}

TEST(masks, complex_predicates_combine_those_of_the_parts)
{
    using complex = std::complex<double>;
    const std::pair<number_predicate, bool (*)(complex)> predicates[]{
        {number_predicate::is_nan, [](complex z) { return z != z; }},
        {number_predicate::is_infinite,
         [](complex z) { return std::isinf(z.real()) || std::isinf(z.imag()); }},
        {number_predicate::is_finite,
         [](complex z) { return std::isfinite(z.real()) && std::isfinite(z.imag()); }},
        {number_predicate::is_true, [](complex z) { return z != 0.0; }},
        {number_predicate::is_zero, [](complex z) { return z == 0.0; }}};
    for (const std::size_t count : {0, 1, 17, 511, 512, 513, 1500}) {
        const numerical::aligned_vector<double> x = drawn(count, 1);
        const numerical::aligned_vector<double> y = drawn(count, 2);
        numerical::aligned_vector<complex> z(count);
        std::transform(x.begin(), x.end(), y.begin(), z.begin(),
                       [](double re, double im) { return complex(re, im); });
        for (const auto& [predicate, holds] : predicates) {
            bytes expected(count);
            std::transform(z.begin(), z.end(), expected.begin(), holds);
            EXPECT_EQ(evaluated(predicate, tensor<complex>({count}, z)).data, expected);
        }
    }
}

} // namespace
