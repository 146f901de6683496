#include "numerical/strided/dense_passes.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"

#include "matrices.hpp"
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
        numerical::aligned_vector<double> x(count);
        std::iota(x.begin(), x.end(), 1.0);
        EXPECT_TRUE(numerical::detail::copy_on_threads(x.data(), count) == x) << count;
        const numerical::aligned_vector<std::complex<double>> z(x.begin(), x.end());
        EXPECT_TRUE(numerical::detail::copy_on_threads(z.data(), count) == z) << count;
    }
}

TEST(any_part_above_on_threads, sees_the_first_and_the_last_element)
{
    using numerical::detail::any_part_above_on_threads;
    numerical::aligned_vector<std::complex<double>> z(long_count, {1, -2});
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
            numerical::aligned_vector<double> x(n, at % 2 == 0 ? 1.7e308
                                                               : -1.7e308); // sums would overflow
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
    EXPECT_NO_THROW(require_finite_lower<double>({above.data.data(), 2, 2}, 0, 2, "X"));
    EXPECT_EQ(text_thrown_by<numerical::non_finite_error>([&] { require_finite(above, "X"); }),
              "X: the matrix holds an infinite or NaN entry");
    const numerical::matrix<std::complex<double>> below(
        2, 2, {1, 2, {3, std::numeric_limits<double>::infinity()}, 4});
    const block_view<const std::complex<double>> of_below{below.data.data(), 2, 2};
    EXPECT_EQ(text_thrown_by<numerical::non_finite_error>(
                  [&] { require_finite_lower(of_below, 0, 2, "Y"); }),
              "Y: the matrix holds an infinite or NaN entry");
    EXPECT_NO_THROW(require_finite_lower(of_below, 0, 1, "Y"));
    EXPECT_NO_THROW(require_finite(numerical::matrix<double>(0, 3, {}), "X"));
}

TEST(require_finite, looks_at_every_piece_of_a_large_matrix)
{
    using numerical::detail::require_finite;
    numerical::matrix<double> a(1, long_count, numerical::aligned_vector<double>(long_count));
    EXPECT_NO_THROW(require_finite(a, "X"));
    for (std::size_t at = 0; at < long_count; at += 8000) {
        a.data[at] = nan;
        EXPECT_THROW(require_finite(a, "X"), numerical::non_finite_error) << at;
        a.data[at] = 0;
    }
}

TEST(largest_finite_part, is_the_largest_of_every_piece)
{
    using numerical::detail::largest_finite_part;
    EXPECT_EQ(largest_finite_part<double>(nullptr, 0, "X"), 0);
    for (const std::size_t n : {std::size_t{1}, std::size_t{7}, std::size_t{8}, std::size_t{13},
                                std::size_t{4096}, std::size_t{4097}, long_count}) {
        numerical::aligned_vector<std::complex<double>> z(n, {-0.0, 1e-310});
        EXPECT_EQ(largest_finite_part(z.data(), n, "X"), 1e-310) << n;
        for (std::size_t at = 0; at < n; at += n < 20 ? 1 : 4095) {
            z[at] = at % 2 == 0 ? std::complex(-1.7e308, 1.0) : std::complex(1.0, 1.7e308);
            EXPECT_EQ(largest_finite_part(z.data(), n, "X"), 1.7e308) << n << ' ' << at;
            for (const double bad : {nan, -std::numeric_limits<double>::infinity()}) {
                z[at].imag(bad);
                EXPECT_EQ(text_thrown_by<numerical::non_finite_error>(
                              [&] { largest_finite_part(z.data(), n, "X"); }),
                          "X: the matrix holds an infinite or NaN entry")
                    << n << ' ' << at;
            }
            z[at] = 0;
        }
    }
}

// One piece, several, and rows longer than a piece; with and without gaps between them.
TEST(copy_finite, copies_what_it_checks)
{
    using numerical::detail::block_view;
    for (const auto& [rows, cols] : {std::pair{0, 0}, {1, 3}, {90, 91}, {130, 301}, {3, 9000}})
        for (const std::size_t gap : {0, 5}) {
            const std::size_t stride = std::size_t(cols) + gap;
            numerical::aligned_vector<double> x(std::size_t(rows) * stride);
            std::iota(x.begin(), x.end(), 1.0);
            block_view<double> a{x.data(), std::size_t(rows), std::size_t(cols), stride};
            numerical::aligned_vector<double> y(x.size(), -1);
            const block_view<double> to{y.data(), a.rows, a.cols, stride};
            numerical::detail::copy_finite<double>(a, to, "X");
            EXPECT_TRUE(test::elements_of(a) == test::elements_of(to)) << rows << ' ' << cols;
            for (std::size_t i = 0; i < a.rows; ++i)
                for (std::size_t j = a.cols; j < stride; ++j) {
                    EXPECT_EQ(y[i * stride + j], -1);
                    x[i * stride + j] = nan; // between the rows: not read
                }
            numerical::detail::copy_finite<double>(a, to, "X");
        }
}

TEST(copy_finite, refuses_infinities_and_nan_in_any_piece)
{
    constexpr std::size_t rows = 90;
    constexpr std::size_t cols = 200;
    numerical::aligned_vector<std::complex<double>> x(rows * cols);
    numerical::aligned_vector<std::complex<double>> y(rows * cols);
    for (const std::size_t at : {std::size_t{0}, rows * cols / 2, rows * cols - 1}) {
        x[at] = {0, at % 2 == 0 ? nan : std::numeric_limits<double>::infinity()};
        EXPECT_EQ(text_thrown_by<numerical::non_finite_error>([&] {
                      numerical::detail::copy_finite<std::complex<double>>(
                          {x.data(), rows, cols}, {y.data(), rows, cols}, "X");
                  }),
                  "X: the matrix holds an infinite or NaN entry")
            << at;
        x[at] = 0;
    }
}

} // namespace
