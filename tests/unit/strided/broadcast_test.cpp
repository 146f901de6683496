#include "numerical/strided/broadcast.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "thrown.hpp"

#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace {

using numerical::broadcast_apply;
using numerical::broadcast_shape;
using numerical::dimension_error;
using numerical::tensor;
using numerical::detail::broadcast_strides;
using test::text_thrown_by;
using extents = std::vector<std::size_t>;

constexpr std::size_t two_to_32 = std::size_t{1} << 32;

TEST(broadcast_shape, takes_the_larger_rank_and_the_extents_that_are_not_one)
{
    EXPECT_EQ(broadcast_shape({2, 3}, {3}), (extents{2, 3}));
    EXPECT_EQ(broadcast_shape({3}, {2, 3}), (extents{2, 3}));
    EXPECT_EQ(broadcast_shape({2, 1}, {1, 3}), (extents{2, 3}));
    EXPECT_EQ(broadcast_shape({}, {}), extents{});
    EXPECT_EQ(broadcast_shape({}, {4, 1}), (extents{4, 1}));
    EXPECT_EQ(broadcast_shape({0, 3}, {1, 3}), (extents{0, 3}));
    EXPECT_EQ(broadcast_shape({1}, {0}), extents{0});
}

TEST(broadcast_shape, names_both_shapes_that_do_not_fit)
{
    EXPECT_EQ(text_thrown_by<dimension_error>([] {
                  broadcast_shape({2, 3}, {4});
              }),
              "operands could not be broadcast together with shapes (2, 3) (4,)");
    EXPECT_EQ(text_thrown_by<dimension_error>([] {
                  broadcast_shape({4}, {2, 3});
              }),
              "operands could not be broadcast together with shapes (4,) (2, 3)");
    EXPECT_EQ(text_thrown_by<dimension_error>([] {
                  broadcast_shape({0, 3}, {2, 3});
              }),
              "operands could not be broadcast together with shapes (0, 3) (2, 3)");
    EXPECT_EQ(text_thrown_by<dimension_error>([] { broadcast_shape({0}, {3}); }),
              "operands could not be broadcast together with shapes (0,) (3,)");
}

TEST(broadcast_strides, are_zero_where_the_operand_is_repeated)
{
    EXPECT_EQ(broadcast_strides({2, 3}, 2), (extents{3, 1}));
    EXPECT_EQ(broadcast_strides({2, 3}, 4), (extents{0, 0, 3, 1}));
    EXPECT_EQ(broadcast_strides({2, 1}, 2), (extents{1, 0}));
    EXPECT_EQ(broadcast_strides({1, 5, 1, 2}, 4), (extents{0, 2, 0, 1}));
    EXPECT_EQ(broadcast_strides({}, 2), (extents{0, 0}));
    EXPECT_EQ(broadcast_strides({}, 0), extents{});
}

tensor<double> counted(extents shape, double from)
{
    std::size_t count = 1;
    for (const std::size_t extent : shape)
        count *= extent;
    numerical::aligned_vector<double> data(count);
    for (std::size_t i = 0; i < count; ++i)
        data[i] = from + static_cast<double>(i);
    return tensor<double>(std::move(shape), std::move(data));
}

// The element of `t` that meets the element of the result at `index`, by the definition.
double element_at(const tensor<double>& t, const extents& index)
{
    std::size_t offset = 0;
    for (std::size_t axis = 0; axis < t.shape.size(); ++axis)
        if (t.shape[axis] != 1)
            offset += t.strides[axis] * index[index.size() - t.shape.size() + axis];
    return t.data[offset];
}

// Keeps both operands apart in the result: no order of operands and no mix-up goes unseen.
double digits(const double& x, const double& y)
{
    return x * 1e6 + y;
}

void expect_every_pair(const extents& a_shape, const extents& b_shape)
{
    const tensor<double> a = counted(a_shape, 1);
    const tensor<double> b = counted(b_shape, 5);
    const tensor<double> result = broadcast_apply(a, b, digits);
    ASSERT_EQ(result.shape, broadcast_shape(a_shape, b_shape));
    extents index(result.shape.size(), 0);
    for (const double found : result.data) {
        ASSERT_EQ(found, digits(element_at(a, index), element_at(b, index)));
        for (std::size_t axis = index.size(); axis-- > 0;) {
            if (++index[axis] < result.shape[axis])
                break;
            index[axis] = 0;
        }
    }
}

TEST(broadcast_apply, pairs_elements_by_the_definition_for_all_small_shapes)
{
    std::vector<extents> shapes{{}};
    for (std::size_t first = 0; shapes.size() < 341; ++first)
        for (const std::size_t extent :
             {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{3}}) {
            extents longer = shapes[first];
            longer.push_back(extent);
            shapes.push_back(longer);
        }
    std::size_t fitting = 0;
    for (const extents& a : shapes)
        for (const extents& b : shapes) {
            try {
                broadcast_shape(a, b);
            } catch (const dimension_error&) {
                continue;
            }
            ++fitting;
            expect_every_pair(a, b);
            ASSERT_FALSE(HasFatalFailure());
        }
    EXPECT_GT(fitting, 20000U);
}

TEST(broadcast_apply, pairs_elements_over_more_axes_than_are_usual)
{
    expect_every_pair({2, 1, 3, 1, 2, 1, 2}, {1, 3, 1, 2, 1, 2, 1});
    expect_every_pair({2, 1, 2, 1, 2, 1, 2, 1, 2}, {3, 1, 3, 1, 3, 1});
    expect_every_pair({1, 1, 1, 1, 1, 1}, {2, 1, 2});
    expect_every_pair({2, 0, 2, 1, 2, 1}, {1, 1, 3, 1, 3});
}

TEST(broadcast_apply, calls_once_for_every_element_of_the_result)
{
    int calls = 0;
    broadcast_apply(counted({2, 1}, 0), counted({3, 1, 1}, 0), [&](double x, double) {
        ++calls;
        return x;
    });
    EXPECT_EQ(calls, 6);
}

TEST(broadcast_apply, refuses_a_result_too_large_before_it_allocates)
{
    const tensor<double> wide({1, two_to_32, 0}, {});
    EXPECT_EQ(broadcast_apply(wide, counted({3, 1, 1}, 0), digits).shape,
              (extents{3, two_to_32, 0}));
}

TEST(pow, is_that_of_the_library_for_both_element_types)
{
    volatile double half = 0.5; // a constant would let the compiler fold calls and round better
    const double inf = std::numeric_limits<double>::infinity();
    const tensor<double> x({4}, {2.0, -0.0, -inf, 0.3});
    const tensor<double> y = numerical::pow(x, tensor<double>({1, 1}, {0.5}));
    EXPECT_EQ(y.shape, (extents{1, 4}));
    EXPECT_EQ(y.data[3], std::pow(0.3, half));
    EXPECT_FALSE(std::signbit(y.data[1])); // unlike the square root
    EXPECT_EQ(y.data[2], inf);
    const std::complex<double> base(3 * half, -half);
    const std::complex<double> exponent(half, 4 * half);
    using complex_tensor = tensor<std::complex<double>>;
    EXPECT_EQ(numerical::pow(complex_tensor({}, {base}), complex_tensor({}, {exponent})).data[0],
              std::pow(base, exponent));
}

} // namespace
