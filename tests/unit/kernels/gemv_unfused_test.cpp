#include "numerical/gemm/kernels/gemv_unfused.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "paths.hpp"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::detail::ascending_row_dots_on;
using complex = std::complex<double>;
namespace detail = numerical::detail;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double guard = 12345;

// Equality of bits, but that any NaN is as good as another.
bool same(double a, double b)
{
    return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

void expect_same(const numerical::aligned_vector<complex>& a,
                 const numerical::aligned_vector<complex>& b)
{
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i)
        ASSERT_TRUE(same(a[i].real(), b[i].real()) && same(a[i].imag(), b[i].imag()))
            << "element " << i << " of " << a.size() << ": " << a[i] << " and " << b[i];
}

TEST(ascending_row_dots, have_the_bits_of_the_plain_loop)
{
    for (const int path : test::available_paths())
        for (std::size_t count = 0; count <= 25; ++count)
            for (std::size_t n = 0; n <= 9; ++n) {
                const std::size_t stride = n + 1;
                auto rows = test::random_vector<double>(count * stride, 4);
                for (std::size_t i = 0; i < count; ++i)
                    rows[i * stride + n] = std::numeric_limits<double>::quiet_NaN();
                const auto x = test::random_vector<double>(n, 5);
                numerical::aligned_vector<double> w(count + 1, guard);
                auto expected = w;
                for (std::size_t i = 0; i < count; ++i) {
                    expected[i] = 0;
                    for (std::size_t j = 0; j < n; ++j)
                        expected[i] += rows[i * stride + j] * x[j];
                }
                ascending_row_dots_on(path, w.data(), rows.data(), stride, count, x.data(), n);
                EXPECT_EQ(w, expected) << count << ", " << n << " on path " << path;
            }
}

void expect_dots_as_a_plain_loop(const numerical::aligned_vector<complex>& v,
                                 const numerical::aligned_vector<complex>& rows, std::size_t stride,
                                 std::size_t count)
{
    numerical::aligned_vector<complex> expected(count);
    for (std::size_t r = 0; r < count; ++r)
        for (std::size_t i = 0; i < v.size(); ++i)
            expected[r] += rows[r * stride + i] * std::conj(v[i]);
    for (const int path : test::available_paths()) {
        numerical::aligned_vector<complex> got(count, complex(NAN, NAN));
        detail::conjugate_dots(path, got.data(), v.data(), rows.data(), stride, count, v.size());
        expect_same(got, expected);
    }
}

TEST(conjugate_dots, take_dots_with_the_bits_of_plain_loops)
{
    for (std::size_t n = 0; n <= 19; ++n)
        for (std::size_t count = 0; count <= detail::rows_at_once; ++count)
            expect_dots_as_a_plain_loop(test::random_vector<complex>(n, 1),
                                        test::random_vector<complex>(4 * (n + 1), 2), n + 1, count);
}

TEST(conjugate_dots, take_dots_that_recover_infinities)
{
    const std::size_t n = 9;
    for (std::size_t bad = 0; bad < 4 * n; ++bad)
        for (const complex value : {complex(inf, inf), complex(inf, -0.0), complex(NAN, inf)}) {
            auto rows = test::random_vector<complex>(4 * n, 1);
            rows[bad] = value;
            expect_dots_as_a_plain_loop(test::random_vector<complex>(n, 2), rows, n, 4);
        }
}

} // namespace
