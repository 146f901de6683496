#include "numerical/elementwise/squares.hpp"

#include "numerical/aligned_vector.hpp"
#include "waves.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>

namespace {

using numerical::detail::euclidean_norms;
using numerical::detail::sums_of_squares;
using numerical::detail::walk_shape;
using test::eps;
using test::plain;
using test::walks;
using test::waves;
using complex = std::complex<double>;

constexpr double inf = std::numeric_limits<double>::infinity();

TEST(squares, sums_and_norms_are_those_of_extended_precision)
{
    for (const walk_shape& walk : walks) {
        const auto x = waves(walk.outer * walk.extent * walk.inner);
        const auto sums = sums_of_squares(x.data(), walk, {}, {});
        const auto norms = euclidean_norms(x.data(), walk);
        for (std::size_t i = 0; i < sums.size(); ++i) {
            const auto exact = plain(walk, i / walk.inner, i % walk.inner, [&](std::size_t at) {
                return static_cast<long double>(x[at]) * x[at];
            });
            EXPECT_NEAR(sums[i] / static_cast<double>(exact), 1, 16 * eps);
            EXPECT_NEAR(norms[i] / std::sqrt(static_cast<double>(exact)), 1, 16 * eps);
        }
    }
}

TEST(squares, norms_neither_overflow_nor_underflow)
{
    for (const double scale : {0x1p1010, 0x1p-1040, 0x1p-1074})
        for (const walk_shape walk : {walk_shape{2, 2, 1}, walk_shape{1, 2, 2}}) {
            const numerical::aligned_vector<double> x =
                walk.inner == 1
                    ? numerical::aligned_vector<double>{3 * scale, 4 * scale, 6 * scale, 8 * scale}
                    : numerical::aligned_vector<double>{3 * scale, 6 * scale, 4 * scale, 8 * scale};
            EXPECT_EQ(euclidean_norms(x.data(), walk),
                      (numerical::aligned_vector<double>{5 * scale, 10 * scale}));
        }
}

TEST(squares, norms_of_infinities_are_infinite_and_of_nan_nan)
{
    const numerical::aligned_vector<double> x{inf, 1, -inf, 2, 0, 0};
    EXPECT_EQ(euclidean_norms(x.data(), {3, 2, 1}),
              (numerical::aligned_vector<double>{inf, inf, 0}));
    const numerical::aligned_vector<double> columns{inf, 0, 1, 0};
    EXPECT_EQ(euclidean_norms(columns.data(), {1, 2, 2}),
              (numerical::aligned_vector<double>{inf, 0}));
    const numerical::aligned_vector<double> with_nan{inf, std::nan("")};
    EXPECT_TRUE(std::isnan(euclidean_norms(with_nan.data(), {1, 2, 1})[0]));
}

TEST(squares, complex_parts_count_each)
{
    const numerical::aligned_vector<complex> z{{3, 4}, {0, 12}};
    EXPECT_EQ(euclidean_norms(z.data(), {1, 2, 1})[0], 13);
    EXPECT_EQ(euclidean_norms(z.data(), {1, 1, 2}), (numerical::aligned_vector<double>{5, 12}));
}

} // namespace
