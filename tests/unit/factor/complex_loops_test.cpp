#include "numerical/factor/complex_loops.hpp"

#include "matrices.hpp"
#include "paths.hpp"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>

namespace {

using complex = std::complex<double>;
namespace detail = numerical::detail;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double greatest = std::numeric_limits<double>::max();

// Equality of bits, but that any NaN is as good as another.
bool same(double a, double b)
{
    return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

void expect_same(const std::vector<complex>& a, const std::vector<complex>& b)
{
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i)
        ASSERT_TRUE(same(a[i].real(), b[i].real()) && same(a[i].imag(), b[i].imag()))
            << "element " << i << " of " << a.size() << ": " << a[i] << " and " << b[i];
}

void expect_dots_as_a_plain_loop(const std::vector<complex>& v, const std::vector<complex>& rows,
                                 std::size_t stride, std::size_t count)
{
    std::vector<complex> expected(count);
    for (std::size_t r = 0; r < count; ++r)
        for (std::size_t i = 0; i < v.size(); ++i)
            expected[r] += rows[r * stride + i] * std::conj(v[i]);
    for (const int path : test::available_paths()) {
        std::vector<complex> got(count, complex(NAN, NAN));
        detail::conjugate_dots(path, got.data(), v.data(), rows.data(), stride, count, v.size());
        expect_same(got, expected);
    }
}

TEST(complex_loops, take_dots_with_the_bits_of_plain_loops)
{
    for (std::size_t n = 0; n <= 19; ++n)
        for (std::size_t count = 0; count <= detail::rows_at_once; ++count)
            expect_dots_as_a_plain_loop(test::random_vector<complex>(n, 1),
                                        test::random_vector<complex>(4 * (n + 1), 2), n + 1, count);
}

TEST(complex_loops, take_dots_that_recover_infinities)
{
    const std::size_t n = 9;
    for (std::size_t bad = 0; bad < 4 * n; ++bad)
        for (const complex value : {complex(inf, inf), complex(inf, -0.0), complex(NAN, inf)}) {
            auto rows = test::random_vector<complex>(4 * n, 1);
            rows[bad] = value;
            expect_dots_as_a_plain_loop(test::random_vector<complex>(n, 2), rows, n, 4);
        }
}

void expect_multiplies_as_a_plain_loop(const std::vector<complex>& z,
                                       const std::vector<complex>& factors, std::size_t step)
{
    auto expected = z;
    for (std::size_t i = 0; i < z.size(); ++i)
        expected[i] *= factors[i * step];
    for (const int path : test::available_paths()) {
        auto got = z;
        detail::multiply_full(path, got.data(), factors.data(), step, z.size());
        expect_same(got, expected);
    }
}

TEST(complex_loops, multiply_with_the_bits_of_plain_loops)
{
    for (std::size_t n = 0; n <= 9; ++n)
        for (const std::size_t step : {0u, 1u})
            expect_multiplies_as_a_plain_loop(test::random_vector<complex>(n, 1),
                                              test::random_vector<complex>(n + 1, 2), step);
}

TEST(complex_loops, multiply_and_recover_infinities)
{
    const std::size_t n = 7;
    for (std::size_t bad = 0; bad < n; ++bad)
        for (const complex value : {complex(inf, inf), complex(inf, -0.0), complex(NAN, inf),
                                    complex(NAN, 1), complex(greatest, greatest)}) {
            auto z = test::random_vector<complex>(n, 1);
            z[bad] = value;
            for (const complex factor : {complex(2, 3), value, complex(0, -0.0)})
                for (const std::size_t step : {0u, 1u})
                    expect_multiplies_as_a_plain_loop(z, std::vector<complex>(n, factor), step);
        }
}

} // namespace
