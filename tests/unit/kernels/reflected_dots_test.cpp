#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/kernels/reflected_dots.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"

#include "matrices.hpp"
#include "paths.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

namespace detail = numerical::detail;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

struct panel_shape
{
    std::size_t count;
    std::size_t length;
};

// Columns of random values, with a guard behind each.
numerical::aligned_vector<double> guarded_columns(const panel_shape& shape, std::size_t stride)
{
    auto columns = test::random_vector<double>(shape.count * stride + 1, 1);
    for (std::size_t c = 0; c < shape.count; ++c)
        for (std::size_t i = shape.length; i < stride; ++i)
            columns[c * stride + i] = nan;
    return columns;
}

// The same by the kernels of one column.
void expect_bits_of_single_columns(int path, const panel_shape& shape)
{
    const std::size_t stride = shape.length + 3;
    auto columns = guarded_columns(shape, stride);
    const auto factors = test::random_vector<double>(shape.count, 2);
    const auto u = test::random_vector<double>(shape.length, 3);
    const auto v = test::random_vector<double>(shape.length, 4);
    auto want = columns;
    numerical::aligned_vector<double> dots(shape.count + 1, nan);
    detail::reflected_dots_on(path, {.columns = columns.data(),
                                     .stride = stride,
                                     .count = shape.count,
                                     .length = shape.length,
                                     .factors = factors.data(),
                                     .u = u.data(),
                                     .v = v.data(),
                                     .dots = dots.data()});
    for (std::size_t c = 0; c < shape.count; ++c) {
        double* const y = want.data() + c * stride;
        detail::scaled_add_on(path, y, u.data(), factors[c], shape.length);
        ASSERT_EQ(dots[c], detail::dot_on(path, v.data(), y, shape.length)) << "column " << c;
        for (std::size_t i = 0; i < shape.length; ++i)
            ASSERT_EQ(columns[c * stride + i], y[i]) << "column " << c << ", " << i;
        for (std::size_t i = shape.length; i < stride; ++i)
            ASSERT_TRUE(std::isnan(columns[c * stride + i])) << "column " << c << ", " << i;
    }
    ASSERT_TRUE(std::isnan(dots[shape.count]));
}

TEST(reflected_dots, has_the_bits_of_an_update_and_a_dot_of_each_column)
{
    for (const int path : test::available_paths())
        for (std::size_t count = 0; count <= 9; ++count)
            for (std::size_t length = 0; length <= 70; ++length) {
                SCOPED_TRACE(testing::Message()
                             << "path " << path << ", " << count << " of " << length);
                expect_bits_of_single_columns(path, {count, length});
            }
}

TEST(reflected_dots, of_small_integers_is_exact)
{
    constexpr std::size_t length = 37;
    for (const int path : test::available_paths()) {
        numerical::aligned_vector<double> y(length), u(length), v(length), want(length);
        double dot = 0;
        for (std::size_t i = 0; i < length; ++i) {
            y[i] = double(i % 5) - 2;
            u[i] = double(i % 7) - 3;
            v[i] = double(i % 3) - 1;
            want[i] = y[i] - 4 * u[i];
            dot += v[i] * want[i];
        }
        const double factor = -4;
        double result = nan;
        detail::reflected_dots_on(path, {.columns = y.data(),
                                         .stride = length,
                                         .count = 1,
                                         .length = length,
                                         .factors = &factor,
                                         .u = u.data(),
                                         .v = v.data(),
                                         .dots = &result});
        EXPECT_EQ(result, dot) << "path " << path;
        EXPECT_EQ(y, want) << "path " << path;
    }
}

} // namespace
