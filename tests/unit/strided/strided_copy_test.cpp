#include "numerical/strided/strided_copy.hpp"

#include "numerical/aligned_vector.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <numeric>

namespace {

using numerical::detail::block_writer;
using numerical::detail::copy_rows;
using numerical::detail::offsets;
using numerical::detail::strided_axis;
using axes = std::vector<strided_axis<1>>;

template <class T>
class strided_copies : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(strided_copies, element_types);

template <class T>
numerical::aligned_vector<T> counted(std::size_t size)
{
    numerical::aligned_vector<T> values(size);
    for (std::size_t i = 0; i < size; ++i)
        values[i] = static_cast<double>(i + 1);
    return values;
}

// By a plain walk, both as rows and by strided_copy.
template <class T>
void expect_copied(const axes& of, std::size_t first)
{
    const numerical::aligned_vector<T> from = counted<T>(4000);
    numerical::aligned_vector<T> expected;
    numerical::detail::for_each_position<1>(
        of, {first}, [&](const offsets<1>& at) { expected.push_back(from[at[0]]); });
    numerical::aligned_vector<T> by_rows(expected.size());
    copy_rows<T>(from.data() + first, of, block_writer<T>(0), by_rows.data());
    EXPECT_EQ(by_rows, expected);
    EXPECT_EQ(numerical::detail::strided_copy<T>(from.data() + first, of), expected);
}

constexpr std::size_t minus(std::size_t stride)
{
    return 0 - stride;
}

TYPED_TEST(strided_copies, have_rows_of_every_stride)
{
    for (const std::size_t count : {1, 2, 7, 33})
        for (const std::size_t stride :
             {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{3}, minus(1), minus(2)}) {
            expect_copied<TypeParam>({{count, {stride}}}, 500);
            expect_copied<TypeParam>({{5, {100}}, {count, {stride}}}, 500);
            expect_copied<TypeParam>({{5, {minus(70)}}, {3, {200}}, {count, {stride}}}, 1000);
        }
    expect_copied<TypeParam>({}, 3);
}

TYPED_TEST(strided_copies, transpose_whichever_axis_is_contiguous)
{
    expect_copied<TypeParam>({{40, {1}}, {37, {41}}}, 0);
    expect_copied<TypeParam>({{3, {1200}}, {33, {1}}, {35, {34}}}, 5);
    expect_copied<TypeParam>({{34, {1}}, {3, {1200}}, {31, {35}}}, 2);
    expect_copied<TypeParam>({{34, {1}}, {3, {0}}, {31, {minus(35)}}}, 1200);
}

} // namespace
