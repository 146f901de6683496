#include "numerical/gemm/unfused.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "paths.hpp"

#include <cmath>
#include <complex>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::detail::conjugate;
using numerical::detail::unfused_product;
using numerical::detail::unfused_product_with_adjoint;

using complex = std::complex<double>;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double greatest = std::numeric_limits<double>::max();

// Equality of bits, but that any NaN is as good as another.
bool same(double a, double b)
{
    return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

template <class T>
void expect_same(const numerical::aligned_vector<T>& a, const numerical::aligned_vector<T>& b)
{
    ASSERT_EQ(a.size(), b.size());
    const auto* const x = reinterpret_cast<const double*>(a.data());
    const auto* const y = reinterpret_cast<const double*>(b.data());
    for (std::size_t i = 0; i < a.size() * sizeof(T) / sizeof(double); ++i)
        ASSERT_TRUE(same(x[i], y[i])) << "part " << i << ": " << x[i] << " and " << y[i];
}

template <class T>
class unfused_products : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(unfused_products, element_types);

// A rows × cols block inside an array of NaN, rows two elements further apart.
template <class T>
numerical::aligned_vector<T> in_nan(const numerical::aligned_vector<T>& block, std::size_t rows,
                                    std::size_t cols)
{
    numerical::aligned_vector<T> out(rows * (cols + 2),
                                     T(std::numeric_limits<double>::quiet_NaN()));
    for (std::size_t i = 0; i < rows; ++i)
        std::copy_n(block.data() + i * cols, cols, out.data() + i * (cols + 2));
    return out;
}

TYPED_TEST(unfused_products, has_the_bits_of_the_plain_loop_at_every_remainder)
{
    struct sizes
    {
        std::size_t m;
        std::size_t n;
        std::size_t k;
    };

    std::vector<sizes> tried{{0, 3, 2},     {3, 0, 2},   {3, 2, 0},
                             {70, 19, 300}, {5, 9, 257}, {530, 5, 3}};
    for (std::size_t m = 1; m <= 18; ++m)
        for (std::size_t n = 1; n <= 17; ++n)
            tried.push_back({m, n, 5});
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const auto& [m, n, k] : tried) {
            const auto a = test::random_vector<TypeParam>(m * k, 1);
            const auto b = test::random_vector<TypeParam>(k * n, 2);
            numerical::aligned_vector<TypeParam> adjoint_b(n * k);
            for (std::size_t p = 0; p < k; ++p)
                for (std::size_t j = 0; j < n; ++j)
                    adjoint_b[j * k + p] = conjugate(b[p * n + j]);
            numerical::aligned_vector<TypeParam> expected(m * n);
            for (std::size_t i = 0; i < m; ++i)
                for (std::size_t p = 0; p < k; ++p)
                    for (std::size_t j = 0; j < n; ++j)
                        expected[i * n + j] += a[i * k + p] * b[p * n + j];

            const auto left = in_nan(a, m, k);
            const auto right = in_nan(b, k, n);
            const auto adjoint = in_nan(adjoint_b, n, k);
            EXPECT_EQ(
                unfused_product<TypeParam>({left.data(), m, k, k + 2}, {right.data(), k, n, n + 2}),
                expected)
                << m << ", " << n << ", " << k << " on path " << path;
            EXPECT_EQ(unfused_product_with_adjoint<TypeParam>({left.data(), m, k, k + 2},
                                                              {adjoint.data(), n, k, k + 2}),
                      expected)
                << m << ", " << n << ", " << k << " on path " << path;
        }
    }
}

TEST(complex_unfused_product, recovers_infinities)
{
    const double infinity = std::numeric_limits<double>::infinity();
    const complex a(infinity, 1);
    const complex b(1, 1);
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const complex c = unfused_product<complex>({&a, 1, 1, 1}, {&b, 1, 1, 1}).at(0);
        const complex full = a * b;
        EXPECT_EQ(c.real(), full.real());
        EXPECT_EQ(c.imag(), full.imag());
    }
}

template <class T>
void expect_subtracts_as_a_plain_loop(numerical::aligned_vector<T> out,
                                      const numerical::aligned_vector<T>& coeffs,
                                      const numerical::aligned_vector<T>& rows, std::size_t stride,
                                      std::size_t n)
{
    auto expected = out;
    for (std::size_t t = 0; t < coeffs.size(); ++t)
        for (std::size_t j = 0; j < n; ++j)
            expected[j] -= coeffs[t] * rows[t * stride + j];
    for (const int path : test::available_paths()) {
        auto got = out;
        numerical::detail::subtract_unfused(path, got.data(), coeffs.data(), rows.data(), stride,
                                            coeffs.size(), n);
        expect_same(got, expected);
    }
}

TYPED_TEST(unfused_products, subtracts_with_the_bits_of_plain_loops)
{
    for (std::size_t n = 0; n <= 35; ++n)
        for (const std::size_t terms : {0u, 1u, 2u, 7u}) {
            const std::size_t stride = n + 3;
            expect_subtracts_as_a_plain_loop(
                test::random_vector<TypeParam>(n + 2, 1), test::random_vector<TypeParam>(terms, 2),
                test::random_vector<TypeParam>(terms * stride + 1, 3), stride, n);
        }
}

TEST(complex_unfused_product, subtracts_and_recovers_infinities)
{
    const std::size_t n = 21;
    for (std::size_t bad = 0; bad < n; ++bad)
        for (const complex value : {complex(inf, inf), complex(inf, -0.0), complex(NAN, inf),
                                    complex(NAN, 1), complex(greatest, greatest)}) {
            auto rows = test::random_vector<complex>(3 * n, 1);
            rows[n + bad] = value;
            expect_subtracts_as_a_plain_loop<complex>(test::random_vector<complex>(n, 2),
                                                      {1.5, {2, 3}, 4.0}, rows, n, n);
            expect_subtracts_as_a_plain_loop<complex>(test::random_vector<complex>(n, 2),
                                                      {1.5, value, {0.0, 1.0}}, rows, n, n);
        }
}

} // namespace
