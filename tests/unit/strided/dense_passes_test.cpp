#include "numerical/strided/dense_passes.hpp"

#include "numerical/errors.hpp"

#include "paths.hpp"
#include "thrown.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>

namespace {

using test::text_thrown_by;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// Of a pass that the threads share: pieces of 8192, the last one short.
constexpr std::size_t long_count = 300001;

TEST(copy_on_threads, copies_every_element)
{
    for (const std::size_t count :
         {std::size_t{0}, std::size_t{1}, std::size_t{8193}, long_count}) {
        std::vector<double> x(count);
        std::iota(x.begin(), x.end(), 1.0);
        EXPECT_TRUE(numerical::detail::copy_on_threads(x.data(), count) == x) << count;
        const std::vector<std::complex<double>> z(x.begin(), x.end());
        EXPECT_TRUE(numerical::detail::copy_on_threads(z.data(), count) == z) << count;
    }
}

TEST(any_part_above_on_threads, sees_the_first_and_the_last_element)
{
    using numerical::detail::any_part_above_on_threads;
    std::vector<std::complex<double>> z(long_count, {1, -2});
    EXPECT_FALSE(any_part_above_on_threads(z.data(), z.size(), 2));
    for (const std::size_t at : {std::size_t{0}, long_count / 2, long_count - 1}) {
        z[at] = {0, -3};
        EXPECT_TRUE(any_part_above_on_threads(z.data(), z.size(), 2)) << at;
        z[at] = 0;
    }
}

TEST(require_finite, looks_at_every_element)
{
    using numerical::detail::require_finite;
    for (std::size_t n = 1; n < 40; ++n)
        for (std::size_t at = 0; at < n; ++at) {
            std::vector<double> x(n, at % 2 == 0 ? 1.7e308 : -1.7e308); // sums would overflow
            EXPECT_NO_THROW(require_finite(numerical::matrix<double>(1, n, x), "X"));
            x[at] = at % 3 == 0 ? nan : std::numeric_limits<double>::infinity();
            EXPECT_THROW(require_finite(numerical::matrix<double>(1, n, x), "X"),
                         numerical::non_finite_error);
        }
}

TEST(require_finite, reads_all_and_the_lower_form_only_the_triangle)
{
    using namespace numerical::detail;
    const numerical::matrix<double> above(2, 2, {1, nan, 3, 4});
    EXPECT_NO_THROW(require_finite_lower(above, "X"));
    EXPECT_EQ(text_thrown_by<numerical::non_finite_error>([&] { require_finite(above, "X"); }),
              "X: the matrix holds an infinite or NaN entry");
    const numerical::matrix<std::complex<double>> below(
        2, 2, {1, 2, {3, std::numeric_limits<double>::infinity()}, 4});
    EXPECT_EQ(
        text_thrown_by<numerical::non_finite_error>([&] { require_finite_lower(below, "Y"); }),
        "Y: the matrix holds an infinite or NaN entry");
    EXPECT_NO_THROW(require_finite(numerical::matrix<double>(0, 3, {}), "X"));
}

TEST(require_finite, looks_at_every_piece_of_a_large_matrix)
{
    using numerical::detail::require_finite;
    numerical::matrix<double> a(1, long_count, std::vector<double>(long_count));
    EXPECT_NO_THROW(require_finite(a, "X"));
    for (std::size_t at = 0; at < long_count; at += 8000) {
        a.data[at] = nan;
        EXPECT_THROW(require_finite(a, "X"), numerical::non_finite_error) << at;
        a.data[at] = 0;
    }
}

} // namespace
