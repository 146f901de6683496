#include "numerical/strided/transpose.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/scalar.hpp"

#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::detail::adjoint;
using numerical::detail::adjoint_into;
using numerical::detail::block_view;
using numerical::detail::conjugate;
using numerical::detail::transpose_in_place;
using numerical::detail::transpose_into;
using complex = std::complex<double>;

template <class T>
class transposes : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(transposes, element_types);

template <class T>
T numbered(std::size_t i)
{
    if constexpr (std::is_same_v<T, double>)
        return double(i + 1);
    else
        return {double(i + 1), -double(2 * i + 1)};
}

template <class T>
numerical::aligned_vector<T> numbers(std::size_t size)
{
    numerical::aligned_vector<T> values(size);
    for (std::size_t i = 0; i < size; ++i)
        values[i] = numbered<T>(i);
    return values;
}

// Both transposes of a rows × cols block that begins `start` elements into its store, by strides
// larger than the rows by `margin`: every element in its place, and nothing else written.
template <class T>
void expect_both(std::size_t rows, std::size_t cols, std::size_t start, std::size_t from_stride,
                 std::size_t margin)
{
    const T guard(-7.0);
    const std::size_t to_stride = rows + margin;
    const numerical::aligned_vector<T> store = numbers<T>(start + rows * from_stride + cols);
    const block_view<const T> from{store.data() + start, rows, cols, from_stride};
    for (const bool conjugates : {false, true}) {
        numerical::aligned_vector<T> to(to_stride * (cols + 1) + 1, guard);
        const block_view<T> block{to.data() + 1, cols, rows, to_stride};
        conjugates ? adjoint_into<T>(block, from) : transpose_into<T>(block, from);
        for (std::size_t i = 0; i < to.size(); ++i) {
            const std::size_t row = (i + to_stride - 1) / to_stride - 1;
            const std::size_t col = (i + to_stride - 1) % to_stride;
            const bool inside = i > 0 && row < cols && col < rows;
            const T x = inside ? from(col, row) : guard;
            ASSERT_EQ(to[i], inside && conjugates ? conjugate(x) : x)
                << rows << " × " << cols << " by " << from_stride << " at " << i;
        }
    }
}

TYPED_TEST(transposes, move_every_remainder_and_touch_nothing_else)
{
    for (const std::size_t rows : {0, 1, 2, 3, 4, 5, 7, 8, 31, 32, 33, 36, 63, 64, 67, 130})
        for (const std::size_t cols : {0, 1, 2, 3, 4, 6, 9, 31, 32, 33, 40, 65, 131})
            expect_both<TypeParam>(rows, cols, 1, cols + 3, 2);
}

TYPED_TEST(transposes, begin_at_any_place_on_a_cache_line)
{
    for (std::size_t start = 0; start < 8; ++start)
        for (std::size_t cols = 1; cols <= 13; ++cols)
            expect_both<TypeParam>(70, cols, start, cols + 1, 0);
}

// Rows that lie 4 and 16 KiB apart, few and many.
TYPED_TEST(transposes, of_rows_that_share_sets_of_the_cache)
{
    for (const std::size_t stride : {256, 512, 1024, 2048})
        for (const std::size_t rows : {5, 64, 65, 70})
            for (const std::size_t cols : {3, 33, 66})
                expect_both<TypeParam>(rows, cols, 1, stride, 1);
}

// Beyond what is taken for a block in L2.
TYPED_TEST(transposes, of_large_blocks)
{
    expect_both<TypeParam>(150, 133, 0, 133, 0);
    expect_both<TypeParam>(131, 150, 3, 151, 1);
}

TYPED_TEST(transposes, in_place_move_every_element)
{
    for (const std::size_t n : {0, 1, 15, 16, 17, 31, 32, 33, 64, 70}) {
        numerical::aligned_vector<TypeParam> square = numbers<TypeParam>(n * n);
        transpose_in_place(square, n);
        for (std::size_t i = 0; i < square.size(); ++i)
            ASSERT_EQ(square[i], numbered<TypeParam>(i % n * n + i / n)) << n;
    }
}

TEST(transposes, keep_the_bits_of_signed_zeros_and_nan)
{
    const double nan = -std::numeric_limits<double>::quiet_NaN();
    const double from[] = {-0.0, 1, nan, 2};
    double to[4];
    transpose_into<double>({to, 2, 2, 2}, {from, 2, 2, 2});
    EXPECT_TRUE(std::signbit(to[0]));
    EXPECT_TRUE(std::isnan(to[1]));
    EXPECT_TRUE(std::signbit(to[1]));
}

TEST(adjoint, conjugates_and_keeps_empty_shapes)
{
    const numerical::matrix<complex> a(1, 2, {{1, 2}, {3, -0.0}});
    const auto h = adjoint(a);
    EXPECT_EQ(h.rows, 2U);
    EXPECT_EQ(h.cols, 1U);
    EXPECT_EQ(h.data[0], complex(1, -2));
    EXPECT_FALSE(std::signbit(h.data[1].imag()));
    const auto empty = adjoint(numerical::matrix<double>(0, 3, {}));
    EXPECT_EQ(empty.rows, 3U);
    EXPECT_EQ(empty.cols, 0U);
}

} // namespace
