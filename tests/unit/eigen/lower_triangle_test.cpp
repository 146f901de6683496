#include "numerical/eigen/lower_triangle.hpp"

#include "numerical/aligned_vector.hpp"

#include <complex>
#include <gtest/gtest.h>

namespace {

using numerical::matrix;
using numerical::detail::checked_scale;
using complex = std::complex<double>;

// The element of modulus 2.5 has smaller parts than all others, of modulus 2.25. The orders are
// those at which a row is one stretch of 32 elements, one less or one more, or has three.
TEST(checked_scale, is_the_largest_modulus_wherever_it_stands)
{
    for (const std::size_t n : {2, 31, 32, 33, 34, 70})
        for (std::size_t i = 1; i < n; i += 1 + n / 8)
            for (std::size_t j = 0; j < i; ++j) {
                matrix<complex> a(n, n,
                                  numerical::aligned_vector<complex>(n * n, complex(0, -2.25)));
                for (std::size_t k = 0; k < n; ++k)
                    a.data[k * n + k] = -2.25;
                a.data[i * n + j] = {-1.5, 2};
                ASSERT_EQ(checked_scale(a), 2.5) << n << ": " << i << ", " << j;
            }
}

TEST(checked_scale, reads_real_parts_on_the_diagonal_and_nothing_above_it)
{
    constexpr std::size_t n = 40;
    matrix<complex> a(n, n, numerical::aligned_vector<complex>(n * n, complex(3, 4)));
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j <= i; ++j)
            a.data[i * n + j] = i == j ? complex(0.5, 9) : complex(0.25, 0);
    EXPECT_EQ(checked_scale(a), 0.5);
}

} // namespace
