#include "numerical/strided/take.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "thrown.hpp"

#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using numerical::axis_range;
using numerical::lies_within;
using numerical::take;
using numerical::take_first;
using numerical::tensor;
using test::text_thrown_by;
using extents = std::vector<std::size_t>;
using ranges = std::vector<axis_range>;

constexpr long longest = std::numeric_limits<long>::max();

tensor<double> counted(const extents& shape)
{
    std::size_t count = 1;
    for (const std::size_t extent : shape)
        count *= extent;
    numerical::aligned_vector<double> data(count);
    for (std::size_t i = 0; i < count; ++i)
        data[i] = static_cast<double>(i);
    return tensor<double>(shape, std::move(data));
}

// Every offset computed in full, element by element.
numerical::aligned_vector<double> by_definition(const tensor<double>& a, const ranges& of_axes)
{
    numerical::aligned_vector<double> out;
    std::vector<long> index(of_axes.size(), 0);
    for (;;) {
        long offset = 0;
        for (std::size_t axis = 0; axis < of_axes.size(); ++axis) {
            if (of_axes[axis].count == 0)
                return {};
            offset += (index[axis] * of_axes[axis].step + of_axes[axis].start) *
                      static_cast<long>(a.strides[axis]);
        }
        out.push_back(a.data[static_cast<std::size_t>(offset)]);
        std::size_t axis = of_axes.size();
        while (axis > 0 && ++index[axis - 1] == of_axes[axis - 1].count)
            index[--axis] = 0;
        if (axis == 0)
            return out;
    }
}

// A range that lies on an axis of that extent, forwards, backwards or standing still.
axis_range some_range(std::mt19937& random, std::size_t extent)
{
    const auto below = [&](std::size_t n) { return static_cast<long>(random() % n); };
    if (extent == 0 || random() % 12 == 0)
        return {below(9), below(9) - 4, 0, true};
    const long start = below(extent);
    const long step = below(7) - 3;
    const long room = step > 0   ? (static_cast<long>(extent) - 1 - start) / step
                      : step < 0 ? start / -step
                                 : 4;
    if (random() % 4 == 0)
        return {start, step, 1, random() % 2 == 0};
    return {start, step, 1 + below(static_cast<std::size_t>(room) + 1), true};
}

TEST(take, copies_what_the_ranges_select_in_row_major_order)
{
    std::mt19937 random(5);
    for (int round = 0; round < 20000; ++round) {
        extents shape(random() % 9);
        for (std::size_t& extent : shape)
            extent = random() % (shape.size() < 5 ? 6 : 4);
        const tensor<double> a = counted(shape);
        ranges of_axes;
        extents kept;
        for (const std::size_t extent : shape) {
            of_axes.push_back(some_range(random, extent));
            ASSERT_TRUE(lies_within(of_axes.back(), extent));
            if (of_axes.back().kept)
                kept.push_back(static_cast<std::size_t>(of_axes.back().count));
        }
        const numerical::aligned_vector<double> expected = by_definition(a, of_axes);
        const tensor<double> result = take(a, of_axes);
        ASSERT_EQ(result.shape, kept);
        ASSERT_EQ(result.data, expected);
        if (!expected.empty()) {
            ASSERT_EQ(take_first(a, of_axes), expected.front());
        }
    }
}

TEST(lies_within, looks_at_start_and_last_alike)
{
    EXPECT_TRUE(lies_within({1, 1, 2, true}, 3));
    EXPECT_FALSE(lies_within({2, 1, 2, true}, 3));
    EXPECT_TRUE(lies_within({2, -1, 3, true}, 3));
    EXPECT_FALSE(lies_within({1, -1, 3, true}, 3));
    EXPECT_FALSE(lies_within({-1, 1, 1, true}, 3));
    EXPECT_FALSE(lies_within({3, -1, 2, true}, 3));
    EXPECT_FALSE(lies_within({0, 1, std::numeric_limits<long>::min(), true}, 3));
    EXPECT_FALSE(lies_within({0, 1, -1, true}, 3));
    EXPECT_TRUE(lies_within({5, 9, 0, true}, 3));
    EXPECT_FALSE(lies_within({0, 1, 1, true}, 0));
}

TEST(lies_within, does_not_wrap_on_huge_steps)
{
    EXPECT_FALSE(lies_within({0, longest / 2 + 1, 5, true}, 3)); // 4·2^62 wraps to 0
    EXPECT_FALSE(lies_within({1, longest, 3, true}, 3));
    EXPECT_FALSE(lies_within({0, -longest - 1, 3, true}, 3));
    EXPECT_TRUE(lies_within({2, 0, longest, true}, 3));
}

// A product of step and stride would overflow, which the sanitizers of undefined behaviour see.
TEST(take, of_single_elements_disregards_their_steps)
{
    const tensor<double> a = counted({2, 3});
    for (const long step : {longest, -longest - 1, longest / 2, 0L}) {
        EXPECT_EQ(take(a, ranges{{1, step, 1, true}, {0, 1, 3, true}}).data,
                  (numerical::aligned_vector<double>{3, 4, 5}));
        EXPECT_EQ(take(a, ranges{{1, step, 1, false}, {2, step, 1, true}}).data,
                  (numerical::aligned_vector<double>{5}));
    }
}

TEST(take, refuses_totals_beyond_memory_before_it_allocates)
{
    const tensor<double> a = counted({2, 2});
    EXPECT_EQ(text_thrown_by<std::length_error>([&] {
                  take(a, ranges{{0, 0, 1L << 30, true}, {0, 0, 1L << 30, true}});
              }),
              "vector::reserve");
    EXPECT_EQ(text_thrown_by<numerical::dimension_error>([&] {
                  take(a, ranges{{0, 0, 1L << 32, true}, {0, 0, 1L << 32, true}});
              }),
              "dimension product overflows std::size_t");
}

TEST(take, of_a_dropped_axis_with_more_than_one_element_has_no_shape)
{
    const tensor<double> a = counted({2, 3});
    const std::string text = "tensor: data size does not match the shape";
    EXPECT_EQ(text_thrown_by<numerical::dimension_error>([&] {
                  take(a, ranges{{0, 1, 2, false}, {0, 1, 3, true}});
              }),
              text);
    EXPECT_EQ(take_first(a, ranges{{1, 1, 1, false}, {0, 1, 3, false}}), 3.0);
    EXPECT_EQ(text_thrown_by<numerical::dimension_error>([&] {
                  take_first(a, ranges{{0, 1, 0, false}, {0, 1, 3, false}});
              }),
              text);
}

} // namespace
