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

using numerical::detail::gemm_rows;
using complex = std::complex<double>;

template <class T>
class gemm_rows_of : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(gemm_rows_of, element_types);

constexpr std::size_t margin = 3; // what lies between the rows

// Row by row as the definition says, product and sum each rounded.
template <class T>
void plain_product(std::size_t m, std::size_t n, std::size_t k, const T* a, const T* b, T* c)
{
    for (std::size_t i = 0; i < m; ++i)
        for (std::size_t l = 0; l < k; ++l)
            for (std::size_t j = 0; j < n; ++j)
                c[i * (n + margin) + j] += a[i * (k + margin) + l] * b[l * (n + margin) + j];
}

template <class T>
bool same_bits(const numerical::aligned_vector<T>& a, const numerical::aligned_vector<T>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
}

TYPED_TEST(gemm_rows_of, every_width_has_the_bits_of_plain_loops_on_every_path)
{
    using T = TypeParam;
    const T nan(std::numeric_limits<double>::quiet_NaN());
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (std::size_t n = 0; n <= 37; ++n)
            for (const std::size_t k : {0, 1, 2, 7, 8}) {
                const std::size_t m = 3;
                auto a = test::random_vector<T>(m * (k + margin), 1);
                auto b = test::random_vector<T>((k + 1) * (n + margin), 2);
                for (std::size_t i = 0; i < m; ++i) // outside the operands, and never read
                    std::fill_n(&a[i * (k + margin) + k], margin, nan);
                for (std::size_t l = 0; l < k; ++l)
                    std::fill_n(&b[l * (n + margin) + n], margin, nan);
                auto c = test::random_vector<T>(m * (n + margin), 3);
                auto expected = c;
                plain_product(m, n, k, a.data(), b.data(), expected.data());
                gemm_rows(m, n, k, a.data(), k + margin, b.data(), n + margin, c.data(),
                          n + margin);
                ASSERT_TRUE(same_bits(c, expected)) << "n " << n << " k " << k << " path " << path;
            }
    }
}

TEST(gemm_rows, recovers_complex_infinities_on_every_path)
{
    const double infinity = std::numeric_limits<double>::infinity();
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (std::size_t n = 1; n <= 11; ++n)
            for (std::size_t at = 0; at < n; ++at) {
                const numerical::aligned_vector<complex> a{{2, 1}, {infinity, 1}};
                numerical::aligned_vector<complex> b(2 * n, {1, 1});
                b[n + at] = {1, infinity}; // by the textbook formula both parts are NaN
                numerical::aligned_vector<complex> c(n);
                gemm_rows<complex>(1, n, 2, a.data(), 2, b.data(), n, c.data(), n);
                for (std::size_t j = 0; j < n; ++j) {
                    const complex expected = a[0] * b[j] + a[1] * b[n + j];
                    EXPECT_EQ(std::isnan(c[j].real()), std::isnan(expected.real())) << j;
                    EXPECT_EQ(std::isnan(c[j].imag()), std::isnan(expected.imag())) << j;
                    EXPECT_TRUE(std::isnan(expected.real()) || c[j].real() == expected.real());
                    EXPECT_TRUE(std::isnan(expected.imag()) || c[j].imag() == expected.imag());
                }
                EXPECT_TRUE(std::isinf(c[at].imag()));
            }
    }
}

} // namespace
