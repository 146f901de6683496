#include "numerical/gemm/kernels/gemv.hpp"

#include "guarded.hpp"
#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/scalar.hpp"
#include "paths.hpp"

#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <type_traits>
#include <vector>

namespace {

using namespace numerical::detail;
using namespace test;

template <class T>
class gemv : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(gemv, element_types);

constexpr double guard = 12345;

template <class T>
void expect_row_dots(int path, std::size_t count, std::size_t n)
{
    const std::size_t stride = n + 3;
    guarded_numbers<T> v(n, 1);
    guarded_numbers<T> rows(count * stride, 2);
    spoil_beyond(rows, count, stride, n);
    guarded_numbers<T> out(count, 3);
    numerical::aligned_vector<T> want(count);
    for (std::size_t t = 0; t < count; ++t)
        for (std::size_t j = 0; j < n; ++j)
            want[t] += conjugate(rows.data()[t * stride + j]) * v.data()[j];
    row_dots(path, out.data(), v.data(), rows.data(), stride, count, n);
    EXPECT_EQ(out.values(), want) << count << " rows of " << n;
    EXPECT_TRUE(out.intact()) << count << " rows of " << n;
}

TYPED_TEST(gemv, conjugates_the_rows_and_is_exact_on_small_integers)
{
    for (const int path : test::available_paths())
        for (std::size_t count = 0; count <= 9; ++count)
            for (std::size_t n = 0; n <= 42; ++n)
                expect_row_dots<TypeParam>(path, count, n);
}

TEST(complex_gemv, recovers_infinities_on_the_portable_path)
{
    const double infinity = std::numeric_limits<double>::infinity();
    const complex a(infinity, std::numeric_limits<double>::quiet_NaN());
    const complex v(1, 1);
    complex sum;
    row_dots(portable_path, &sum, &v, &a, 1, 1, 1);
    const complex full = std::conj(a) * v;
    EXPECT_TRUE(std::isinf(full.real())) << "textbook formula: both parts are NaN";
    EXPECT_EQ(sum.real(), full.real());
    EXPECT_EQ(std::isnan(sum.imag()), std::isnan(full.imag()));
}

TYPED_TEST(gemv, adds_short_dots_exactly_on_small_integers)
{
    for (const int path : test::available_paths())
        for (std::size_t count = 0; count <= 6; ++count)
            for (std::size_t n = 0; n <= 40; ++n) {
                const std::size_t stride = n + 1;
                auto rows = test::integer_vector<TypeParam>(count * stride, 4);
                for (std::size_t i = 0; i < count; ++i)
                    rows[i * stride + n] = std::numeric_limits<double>::quiet_NaN();
                const auto x = test::integer_vector<TypeParam>(n, 5);
                numerical::aligned_vector<TypeParam> w(count + 1, TypeParam(guard));
                auto expected = w;
                for (std::size_t i = 0; i < count; ++i)
                    for (std::size_t j = 0; j < n; ++j)
                        expected[i] += rows[i * stride + j] * x[j];
                add_row_dots_on(path, w.data(), rows.data(), stride, count, x.data(), n);
                EXPECT_EQ(w, expected) << count << ", " << n << " on path " << path;
            }
}

using gemv_form = void (*)(double*, const double*, std::size_t, std::size_t, const double*,
                           std::size_t);

template <class T>
gemv_form gemv_on(int path)
{
    if constexpr (std::is_same_v<T, double>)
        return path == avx512_path ? avx512_gemv : avx2_gemv;
    else
        return path == avx512_path ? avx512_complex_gemv : avx2_complex_gemv;
}

std::vector<int> vector_paths()
{
    auto paths = available_paths();
    std::erase(paths, portable_path);
    return paths;
}

TYPED_TEST(gemv, of_small_integers_is_exact_and_reads_nothing_else)
{
    for (const int path : vector_paths())
        for (std::size_t count = 0; count <= 9; ++count)
            for (std::size_t n = 0; n <= 35; ++n) {
                const std::size_t stride = n + 3;
                guarded_numbers<TypeParam> x(n, 1);
                guarded_numbers<TypeParam> rows(count * stride, 2);
                spoil_beyond(rows, count, stride, n);
                guarded_numbers<TypeParam> y(
                    numerical::aligned_vector<TypeParam>(count, TypeParam(guard)));
                numerical::aligned_vector<TypeParam> want(count);
                for (std::size_t i = 0; i < count; ++i)
                    for (std::size_t j = 0; j < n; ++j)
                        want[i] += rows.data()[i * stride + j] * x.data()[j];
                gemv_on<TypeParam>(path)(y.parts(), rows.parts(), stride, count, x.parts(), n);
                EXPECT_EQ(y.values(), want) << count << " rows of " << n << " on path " << path;
                EXPECT_TRUE(y.intact()) << count << " rows of " << n << " on path " << path;
            }
}

// The stated order, one product at a time. Lanes that are folded by halves keep their parity, so
// that those of a complex row end as a real-times-real and an imaginary-times-imaginary sum.
using eight = std::array<double, 8>;

eight partial_sums(const double* row, const double* x, std::size_t n)
{
    eight sums{};
    for (std::size_t j = 0; j < n; ++j)
        sums[j % 8] = std::fma(row[j], x[j], sums[j % 8]);
    return sums;
}

std::array<double, 2> pair_of(const eight& sums)
{
    std::array<double, 4> half{};
    for (std::size_t l = 0; l < 4; ++l)
        half[l] = sums[l] + sums[l + 4];
    return {half[0] + half[2], half[1] + half[3]};
}

double ordered_sum(const double* row, const double* x, std::size_t n)
{
    const auto [even, odd] = pair_of(partial_sums(row, x, n));
    return even + odd;
}

complex ordered_sum(const complex* row, const complex* x, std::size_t n)
{
    numerical::aligned_vector<complex> swapped;
    for (std::size_t j = 0; j < n; ++j)
        swapped.emplace_back(x[j].imag(), x[j].real());
    const auto [real_real, imag_imag] =
        pair_of(partial_sums(as_doubles(row), as_doubles(x), 2 * n));
    const auto [real_imag, imag_real] =
        pair_of(partial_sums(as_doubles(row), as_doubles(swapped.data()), 2 * n));
    return {real_real - imag_imag, real_imag + imag_real};
}

TYPED_TEST(gemv, sums_in_the_stated_order_on_every_vector_path)
{
    for (const std::size_t n :
         {1U, 2U, 3U, 4U, 5U, 7U, 8U, 9U, 11U, 12U, 13U, 15U, 16U, 100U, 301U})
        for (std::size_t count = 1; count <= 7; ++count) {
            const std::size_t stride = n + 1;
            const auto rows = test::random_vector<TypeParam>(count * stride, 6);
            const auto x = test::random_vector<TypeParam>(n, 7);
            for (const int path : vector_paths()) {
                numerical::aligned_vector<TypeParam> y(count);
                gemv_on<TypeParam>(path)(as_doubles(y.data()), as_doubles(rows.data()), stride,
                                         count, as_doubles(x.data()), n);
                for (std::size_t i = 0; i < count; ++i)
                    EXPECT_EQ(y[i], ordered_sum(rows.data() + i * stride, x.data(), n))
                        << "row " << i << " of " << count << ", " << n << " on path " << path;
            }
        }
}

} // namespace
