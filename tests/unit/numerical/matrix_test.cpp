#include "numerical/matrix.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "thrown.hpp"

#include <cstddef>
#include <gtest/gtest.h>

namespace {

using numerical::dimension_error;
using test::text_thrown_by;

constexpr std::size_t two_to_32 = std::size_t{1} << 32;

TEST(matrix, refuses_a_buffer_of_another_size)
{
    EXPECT_EQ(text_thrown_by<dimension_error>(
                  [] { numerical::matrix<double>(2, 2, numerical::aligned_vector<double>(3)); }),
              "matrix buffer size does not match dimensions");
    EXPECT_EQ(text_thrown_by<dimension_error>([] {
                  numerical::matrix<double>(two_to_32, two_to_32,
                                            numerical::aligned_vector<double>{});
              }),
              "dimension product overflows std::size_t");
}

} // namespace
