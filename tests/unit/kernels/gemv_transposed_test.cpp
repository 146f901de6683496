#include "numerical/gemm/kernels/gemv_transposed.hpp"

#include "guarded.hpp"
#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "paths.hpp"
#include "vector_model.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <numeric>
#include <vector>

namespace {

using namespace numerical::detail;
using namespace test;
using complex = std::complex<double>;

constexpr std::size_t most = 70; // beyond two steps of 32 real or complex numbers

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(gemv_transposed, subtract_products_takes_terms_in_ascending_order)
{
    for (const int path : test::available_paths())
        for (const std::size_t terms : {0U, 1U, 2U, 5U})
            for (std::size_t n = 0; n <= most; ++n) {
                const std::size_t stride = n + 3;
                auto out = operand(n, 11);
                auto coeffs = operand(terms, 12);
                guarded rows(numerical::aligned_vector<double>(terms * stride, quiet_nan),
                             quiet_nan);
                const auto values = test::random_vector<double>(terms * n, 13);
                auto want = out.values();
                for (std::size_t t = 0; t < terms; ++t)
                    for (std::size_t j = 0; j < n; ++j) {
                        rows.data()[t * stride + j] = values[t * n + j];
                        want[j] = model::add_product(model::form_of(path), want[j],
                                                     -coeffs.data()[t], values[t * n + j]);
                    }
                subtract_products_on(path, out.data(), coeffs.data(), rows.data(), stride, terms,
                                     n);
                expect_same_bits(out.values(), want, label(path, n));
                EXPECT_TRUE(out.intact()) << label(path, n);
            }
}

// out - c·r in two fused steps a term: by Re(c), then by Im(c).
complex less_product(complex out, complex c, complex r)
{
    const double re = std::fma(c.imag(), r.imag(), std::fma(-c.real(), r.real(), out.real()));
    const double im = std::fma(-c.imag(), r.real(), std::fma(-c.real(), r.imag(), out.imag()));
    return {re, im};
}

complex* as_complex(double* parts)
{
    return reinterpret_cast<complex*>(parts);
}

TEST(gemv_transposed, subtract_complex_products_takes_two_steps_a_term)
{
    for (const int path : test::available_paths())
        for (const std::size_t terms : {0U, 1U, 2U, 5U})
            for (std::size_t n = 0; n <= most; ++n) {
                const std::size_t stride = n + 2;
                auto out_values = test::random_vector<complex>(n, 14);
                const auto coeffs = test::random_vector<complex>(terms, 15);
                const auto values = test::random_vector<complex>(terms * n, 16);
                guarded out(parts_of(out_values), quiet_nan);
                guarded rows(numerical::aligned_vector<double>(2 * terms * stride, quiet_nan),
                             quiet_nan);
                for (std::size_t t = 0; t < terms; ++t)
                    for (std::size_t j = 0; j < n; ++j) {
                        const complex value = values[t * n + j];
                        as_complex(rows.data())[t * stride + j] = value;
                        complex& want = out_values[j];
                        want = path == portable_path ? want - coeffs[t] * value
                                                     : less_product(want, coeffs[t], value);
                    }
                subtract_products_on(path, as_complex(out.data()), coeffs.data(),
                                     as_complex(rows.data()), stride, terms, n);
                expect_same_bits(out.values(), parts_of(out_values), label(path, n));
                EXPECT_TRUE(out.intact()) << label(path, n);
            }
}

TEST(gemv_transposed, complex_subtract_scaled_is_one_term_of_subtract_products)
{
    const auto x = test::random_vector<complex>(21, 17);
    const complex alpha(0.3, -0.7);
    for (const int path : test::available_paths()) {
        auto y = test::random_vector<complex>(21, 18);
        auto want = y;
        subtract_products_on(path, want.data(), &alpha, x.data(), 21, 1, 21);
        subtract_scaled_on(path, y.data(), x.data(), alpha, 21);
        EXPECT_EQ(y, want) << label(path, 21);
    }
}

TEST(gemv_transposed, portable_complex_products_recover_infinities)
{
    const complex coeff(infinity, 0.0);
    const complex row(1.0, infinity); // the textbook formula alone gives (NaN, ...)
    complex out = 0;
    subtract_products_on(portable_path, &out, &coeff, &row, 1, 1, 1);
    EXPECT_TRUE(std::isinf(out.real()) || std::isinf(out.imag()));
}

template <class T>
class column_sums : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(column_sums, element_types);

constexpr double guard = 12345;

TYPED_TEST(column_sums, are_exact_on_small_integers)
{
    constexpr std::size_t tile =
        numerical::detail::column_tile * sizeof(double) / sizeof(TypeParam);
    for (const int path : test::available_paths())
        for (const std::size_t count : {0, 1, 2, 17})
            for (std::size_t n = 0; n <= tile; ++n) {
                const std::size_t stride = n + 1;
                auto rows = test::integer_vector<TypeParam>(count * stride + 1, 4);
                for (std::size_t i = 0; i < count; ++i)
                    rows[i * stride + n] = std::numeric_limits<double>::quiet_NaN();
                const auto x = test::integer_vector<TypeParam>(count, 5);
                numerical::aligned_vector<TypeParam> sums(n + 1, TypeParam(guard));
                auto expected = sums;
                for (std::size_t i = 0; i < count; ++i)
                    for (std::size_t j = 0; j < n; ++j)
                        expected[j] += x[i] * rows[i * stride + j];
                add_column_sums_on(path, sums.data(), x.data(), rows.data(), stride, count, n);
                EXPECT_EQ(sums, expected) << count << ", " << n << " on path " << path;
            }
}

void complex_gemv_transposed(int path, guarded_numbers<complex>& y, guarded_numbers<complex>& rows,
                             std::size_t stride, guarded_numbers<complex>& x)
{
    const auto form =
        path == avx512_path ? avx512_complex_gemv_transposed : avx2_complex_gemv_transposed;
    form(y.parts(), rows.parts(), stride, x.values().size(), x.parts(), y.values().size());
}

std::vector<int> vector_paths()
{
    auto paths = available_paths();
    std::erase(paths, portable_path);
    return paths;
}

TEST(gemv_transposed, of_small_integers_is_exact_and_reads_nothing_else)
{
    for (const int path : vector_paths())
        for (std::size_t count = 0; count <= 9; ++count)
            for (std::size_t n = 0; n <= 19; ++n) {
                const std::size_t stride = n + 3;
                guarded_numbers<complex> x(count, 1);
                guarded_numbers<complex> rows(count * stride, 2);
                spoil_beyond(rows, count, stride, n);
                guarded_numbers<complex> y(n, 3);
                numerical::aligned_vector<complex> want = y.values();
                for (std::size_t i = 0; i < count; ++i)
                    for (std::size_t j = 0; j < n; ++j)
                        want[j] += x.data()[i] * rows.data()[i * stride + j];
                complex_gemv_transposed(path, y, rows, stride, x);
                EXPECT_EQ(y.values(), want) << count << " rows, " << label(path, n);
                EXPECT_TRUE(y.intact()) << count << " rows, " << label(path, n);
            }
}

// The stated order, one product at a time.
complex with_four_rows(complex sum, const complex* x, const complex* column, std::size_t stride,
                       std::size_t rows)
{
    double re = sum.real();
    double im = sum.imag();
    double turned_re = 0;
    double turned_im = 0;
    for (std::size_t i = 0; i < rows; ++i) {
        const complex a = column[i * stride];
        re = std::fma(x[i].real(), a.real(), re);
        im = std::fma(x[i].real(), a.imag(), im);
        turned_im = std::fma(x[i].imag(), a.real(), turned_im);
        turned_re = std::fma(x[i].imag(), a.imag(), turned_re);
    }
    return {re - turned_re, im + turned_im};
}

TEST(gemv_transposed, adds_the_imaginary_parts_of_four_rows_together)
{
    for (const std::size_t count : {1U, 3U, 4U, 5U, 8U, 14U})
        for (const std::size_t n : {1U, 2U, 3U, 4U, 5U, 7U, 40U, 41U}) {
            guarded_numbers<complex> x(test::random_vector<complex>(count, 4));
            guarded_numbers<complex> rows(test::random_vector<complex>(count * n, 5));
            const auto start = test::random_vector<complex>(n, 6);
            numerical::aligned_vector<complex> want = start;
            for (std::size_t i = 0; i < count; i += 4)
                for (std::size_t j = 0; j < n; ++j)
                    want[j] = with_four_rows(want[j], x.data() + i, rows.data() + i * n + j, n,
                                             std::min<std::size_t>(count - i, 4));
            for (const int path : vector_paths()) {
                guarded_numbers<complex> y(start);
                complex_gemv_transposed(path, y, rows, n, x);
                EXPECT_EQ(y.values(), want) << count << " rows, " << label(path, n);
            }
        }
}

} // namespace
