#include "numerical/checks.hpp"

#include "numerical/errors.hpp"
#include "thrown.hpp"

#include <cstddef>
#include <gtest/gtest.h>

namespace {

using numerical::dimension_error;
using test::text_thrown_by;

constexpr std::size_t two_to_32 = std::size_t{1} << 32;

TEST(checked_mul, passes_zero_factors_and_refuses_overflow)
{
    using numerical::detail::checked_mul;
    EXPECT_EQ(checked_mul(0, ~std::size_t{0}), 0U);
    EXPECT_EQ(checked_mul(~std::size_t{0}, 0), 0U);
    EXPECT_EQ(checked_mul(two_to_32, two_to_32 - 1), two_to_32 * (two_to_32 - 1));
    EXPECT_EQ(text_thrown_by<dimension_error>([] { checked_mul(two_to_32, two_to_32); }),
              "dimension product overflows std::size_t");
}

TEST(shape_text, is_that_of_a_python_tuple)
{
    EXPECT_EQ(numerical::detail::shape_text({}), "()");
    EXPECT_EQ(numerical::detail::shape_text({7}), "(7,)");
    EXPECT_EQ(numerical::detail::shape_text({0, 1}), "(0, 1)");
}

} // namespace
