#include "numerical/gemm/kernels/symv.hpp"

#include "guarded.hpp"
#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "paths.hpp"
#include "vector_model.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <numeric>

namespace {

using namespace numerical::detail;
using namespace test;
using complex = std::complex<double>;

constexpr std::size_t most = 70; // beyond two steps of 32

double symmetric_row_on(int path, const double* row, const double* x, double alpha, double* y,
                        std::size_t n)
{
    if (path == avx512_path)
        return avx512_symmetric_row(row, x, alpha, y, n);
    if (path == avx2_path)
        return avx2_symmetric_row(row, x, alpha, y, n);
    return symmetric_row<double>(row, x, alpha, y, n);
}

TEST(symv, symmetric_row_serves_both_roles_in_its_stated_order)
{
    constexpr double alpha = 1.0 / 7;
    for (const int path : test::available_paths())
        for (std::size_t n = 0; n <= 2 * most; ++n) {
            auto row = operand(n, 19);
            auto x = operand(n, 20);
            auto y = operand(n, 21);
            auto want = y;
            const double want_sum = model::symmetric_row(model::form_of(path), row.data(), x.data(),
                                                         alpha, want.data(), n);
            const double sum = symmetric_row_on(path, row.data(), x.data(), alpha, y.data(), n);
            EXPECT_TRUE(same_bits(sum, want_sum)) << label(path, n);
            expect_same_bits(y.values(), want.values(), label(path, n));
            EXPECT_TRUE(y.intact()) << label(path, n);
        }
}

std::array<double, 4> symmetric_rows_on(int path, const double* rows, std::size_t stride,
                                        const double* x, double* y, std::size_t n)
{
    if (path == avx512_path)
        return avx512_symmetric_rows(rows, stride, x, y, n);
    if (path == avx2_path)
        return avx2_symmetric_rows(rows, stride, x, y, n);
    return symmetric_rows<double>(rows, stride, x, y, n);
}

// Four rows of a lower triangle, the first with n entries left of the diagonal; NaN above it.
guarded triangle_rows(std::size_t n, std::size_t stride, unsigned seed, bool whole)
{
    guarded rows(numerical::aligned_vector<double>(4 * stride, quiet_nan), quiet_nan);
    const auto values = whole ? test::integer_vector<double>(4 * stride, seed)
                              : test::random_vector<double>(4 * stride, seed);
    for (std::size_t r = 0; r < 4; ++r)
        for (std::size_t j = 0; j <= n + r; ++j)
            rows.data()[r * stride + j] = values[r * stride + j];
    return rows;
}

TEST(symv, symmetric_rows_sum_in_their_stated_order)
{
    for (const int path : test::available_paths())
        for (std::size_t n = 0; n <= most; ++n) {
            const std::size_t stride = n + 6;
            const bool whole = false;
            auto rows = triangle_rows(n, stride, 22, whole);
            auto x = operand(n + 4, 23);
            auto y = operand(n + 4, 24);
            auto want = y;
            const auto want_sums = model::symmetric_rows(model::form_of(path), rows.data(), stride,
                                                         x.data(), want.data(), n);
            const auto sums = symmetric_rows_on(path, rows.data(), stride, x.data(), y.data(), n);
            for (std::size_t r = 0; r < 4; ++r)
                EXPECT_TRUE(same_bits(sums[r], want_sums[r])) << label(path, n);
            expect_same_bits(y.values(), want.values(), label(path, n));
            EXPECT_TRUE(y.intact()) << label(path, n);
        }
}

TEST(symv, symmetric_rows_give_the_lower_parts_and_the_columns)
{
    for (const int path : test::available_paths())
        for (std::size_t n = 0; n <= most; ++n) {
            const std::size_t stride = n + 4;
            const bool whole = true;
            auto rows = triangle_rows(n, stride, 25, whole);
            auto x = integers(n + 4, 26);
            auto y = integers(n + 4, 27);
            auto columns = y.values();
            std::array<double, 4> lower{};
            for (std::size_t r = 0; r < 4; ++r)
                for (std::size_t j = 0; j <= n + r; ++j) {
                    lower[r] += rows.data()[r * stride + j] * x.data()[j];
                    if (j < n + r)
                        columns[j] += rows.data()[r * stride + j] * x.data()[n + r];
                }
            EXPECT_EQ(symmetric_rows_on(path, rows.data(), stride, x.data(), y.data(), n), lower)
                << label(path, n);
            EXPECT_EQ(y.values(), columns) << label(path, n);
        }
}

// Eight rows have the bits of two groups of four, the sums of each added after it. The longest are
// those before and after rows begin to be prefetched.
TEST(symv, eight_symmetric_rows_have_the_bits_of_two_passes)
{
    if (test::available_paths().back() != avx512_path)
        GTEST_SKIP() << "needs the AVX-512 path";
    std::vector<std::size_t> lengths{392, 400, 408};
    for (std::size_t n = 0; n <= most + 2; n += 8)
        lengths.push_back(n);
    for (const std::size_t n : lengths) {
        const std::size_t stride = n + 11;
        guarded rows(numerical::aligned_vector<double>(8 * stride, quiet_nan), quiet_nan);
        const auto values = test::random_vector<double>(8 * stride, 34);
        for (std::size_t r = 0; r < 8; ++r)
            for (std::size_t j = 0; j <= n + r; ++j)
                rows.data()[r * stride + j] = values[r * stride + j];
        auto x = operand(n + 8, 35);
        auto y = operand(n + 8, 36);
        auto want = y.values();
        for (std::size_t from = n; from < n + 8; from += 4) {
            const auto sums = model::symmetric_rows(model::form_of(avx512_path),
                                                    rows.data() + (from - n) * stride, stride,
                                                    x.data(), want.data(), from);
            for (std::size_t r = 0; r < 4; ++r)
                want[from + r] += sums[r];
        }
        avx512_symmetric_eight_rows(rows.data(), stride, x.data(), y.data(), n);
        expect_same_bits(y.values(), want, label(avx512_path, n));
        EXPECT_TRUE(y.intact()) << n;
    }
}

complex hermitian_row_on(int path, const double* row, const double* x, complex alpha, double* y,
                         std::size_t n)
{
    const auto kernel = path == avx512_path ? avx512_hermitian_row : avx2_hermitian_row;
    return kernel(row, x, alpha.real(), alpha.imag(), y, n);
}

TEST(symv, hermitian_row_is_exact_on_small_integers)
{
    const complex alpha(3, -2);
    for (const int path : test::available_paths())
        for (std::size_t n = 0; path != portable_path && n <= most / 2; ++n) {
            const auto row = test::integer_vector<complex>(n, 28);
            const auto x = test::integer_vector<complex>(n, 29);
            auto y = test::integer_vector<complex>(n, 30);
            guarded row_parts(parts_of(row), quiet_nan);
            guarded x_parts(parts_of(x), quiet_nan);
            guarded y_parts(parts_of(y), quiet_nan);
            complex sum = 0;
            for (std::size_t j = 0; j < n; ++j) {
                sum += row[j] * x[j];
                y[j] += alpha * std::conj(row[j]);
            }
            EXPECT_EQ(
                hermitian_row_on(path, row_parts.data(), x_parts.data(), alpha, y_parts.data(), n),
                sum)
                << label(path, n);
            EXPECT_EQ(y_parts.values(), parts_of(y)) << label(path, n);
            EXPECT_TRUE(y_parts.intact()) << label(path, n);
        }
}

TEST(symv, hermitian_row_updates_in_two_fused_steps)
{
    const complex a(1.0 / 3, 1.0 / 7);
    const auto row = test::random_vector<complex>(35, 31);
    const auto x = test::random_vector<complex>(35, 32);
    for (const int path : test::available_paths()) {
        if (path == portable_path)
            continue;
        auto y = test::random_vector<complex>(35, 33);
        guarded got(parts_of(y), quiet_nan);
        auto row_parts = parts_of(row);
        hermitian_row_on(path, row_parts.data(), parts_of(x).data(), a, got.data(), 35);
        for (std::size_t j = 0; j < 35; ++j) {
            const complex r = row[j];
            y[j] = {std::fma(a.imag(), r.imag(), std::fma(a.real(), r.real(), y[j].real())),
                    std::fma(a.imag(), r.real(), std::fma(-a.real(), r.imag(), y[j].imag()))};
        }
        expect_same_bits(got.values(), parts_of(y), label(path, 35));
    }
}

void expect_hermitian_rows(int path, std::size_t n)
{
    const std::size_t stride = n + 5;
    guarded_numbers<complex> rows(4 * stride, 4);
    spoil_beyond(rows, 4, stride, n);
    guarded_numbers<complex> x(n + 4, 5);
    guarded_numbers<complex> y(n, 6);
    numerical::aligned_vector<complex> columns = y.values();
    std::array<complex, 4> dots{};
    for (std::size_t r = 0; r < 4; ++r)
        for (std::size_t j = 0; j < n; ++j) {
            const complex a = rows.data()[r * stride + j];
            dots[r] += a * x.data()[j];
            columns[j] += x.data()[n + r] * std::conj(a);
        }
    const auto kernel = path == avx512_path ? avx512_hermitian_rows : avx2_hermitian_rows;
    EXPECT_EQ(kernel(rows.parts(), stride, x.parts(), y.parts(), n), dots) << path << ", " << n;
    EXPECT_EQ(y.values(), columns) << path << ", " << n;
    EXPECT_TRUE(y.intact()) << path << ", " << n;
}

TEST(symv, hermitian_rows_serve_both_roles)
{
    for (const int path : test::available_paths())
        for (std::size_t n = 0; path != portable_path && n <= 21; ++n)
            expect_hermitian_rows(path, n);
}

} // namespace
