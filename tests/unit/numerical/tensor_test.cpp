#include "numerical/tensor.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "thrown.hpp"

#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::dimension_error;
using numerical::tensor;
using test::text_thrown_by;
using extents = std::vector<std::size_t>;

constexpr std::size_t two_to_32 = std::size_t{1} << 32;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(tensor, of_rank_0_holds_one_element)
{
    const tensor<double> t({}, {2.5});
    EXPECT_TRUE(t.strides.empty());
    EXPECT_EQ(text_thrown_by<dimension_error>([] { tensor<double>(extents{}, {}); }),
              "tensor: data size does not match the shape");
}

TEST(tensor, strides_to_the_left_of_a_zero_extent_are_zero)
{
    EXPECT_EQ(tensor<double>({0, 5}, {}).strides, (extents{5, 1}));
    EXPECT_EQ(tensor<double>({5, 0}, {}).strides, (extents{0, 1}));
}

TEST(tensor, overflow_is_reported_before_the_size_but_not_left_of_a_zero)
{
    EXPECT_EQ(text_thrown_by<dimension_error>([] {
                  tensor<double>({two_to_32, two_to_32}, numerical::aligned_vector<double>{});
              }),
              "dimension product overflows std::size_t");
    EXPECT_EQ(tensor<double>({two_to_32, two_to_32, 0}, {}).data.size(), 0U);
    EXPECT_EQ(text_thrown_by<dimension_error>([] {
                  reshape(tensor<double>({0}, {}), {two_to_32, two_to_32, 0});
              }),
              "dimension product overflows std::size_t");
}

TEST(tensor, reshape_keeps_the_order_and_names_both_sizes)
{
    const tensor<double> t({6}, {0, 1, 2, 3, 4, 5});
    EXPECT_EQ(reshape(t, {2, 3}).data, t.data);
    EXPECT_EQ(reshape(t, {2, 3}).strides, (extents{3, 1}));
    EXPECT_EQ(text_thrown_by<dimension_error>([&] { reshape(t, {7}); }),
              "cannot reshape a tensor of size 6 into shape (7,)");
}

TEST(tensor, negation_flips_sign_bits)
{
    const auto negative = -tensor<double>({3}, {0.0, -2.0, nan});
    EXPECT_TRUE(std::signbit(negative.data[0]));
    EXPECT_EQ(negative.data[1], 2.0);
    EXPECT_TRUE(std::isnan(negative.data[2]));
    EXPECT_TRUE(std::signbit(negative.data[2]));
    const auto z = -tensor<std::complex<double>>({1}, {{0.0, -1.0}});
    EXPECT_TRUE(std::signbit(z.data[0].real()));
    EXPECT_EQ(z.data[0].imag(), 1.0);
}

TEST(tensor, negation_keeps_the_payload_of_a_nan)
{
    const auto payload = std::bit_cast<double>(std::uint64_t{0x7FF8000000001234});
    const auto negative = -tensor<double>({1}, {payload});
    EXPECT_EQ(std::bit_cast<std::uint64_t>(negative.data[0]), 0xFFF8000000001234);
}

TEST(tensor, takes_the_elements_of_a_matrix_and_copies_those_of_a_vector)
{
    const tensor<double> from_matrix(numerical::matrix<double>(2, 3, {0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(from_matrix.shape, (extents{2, 3}));
    EXPECT_EQ(from_matrix.strides, (extents{3, 1}));
    EXPECT_EQ(from_matrix.data, (numerical::aligned_vector<double>{0, 1, 2, 3, 4, 5}));
    const numerical::vector<double> v{{7, 8}};
    const tensor<double> from_vector(v);
    EXPECT_EQ(from_vector.shape, extents{2});
    EXPECT_EQ(from_vector.strides, extents{1});
    EXPECT_EQ(from_vector.data, v.data);
}

TEST(tensor, eye_refuses_absurd_orders_without_allocating)
{
    EXPECT_EQ(numerical::eye<double>(2).data, (numerical::aligned_vector<double>{1, 0, 0, 1}));
    EXPECT_EQ(numerical::eye<double>(0).shape, (extents{0, 0}));
    EXPECT_EQ(text_thrown_by<std::length_error>([] { numerical::eye<double>(1UL << 30); }),
              "cannot create std::vector larger than max_size()");
    EXPECT_EQ(text_thrown_by<dimension_error>([] { numerical::eye<double>(two_to_32); }),
              "dimension product overflows std::size_t");
}

} // namespace
