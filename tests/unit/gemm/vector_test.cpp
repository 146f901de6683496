#include "numerical/gemm/vector_dispatch.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "vector_model.hpp"

#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>

namespace {

using namespace numerical::detail;
using complex = std::complex<double>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr std::size_t most = 70; // beyond two turns of 32

// `count` values from an odd address, with NaN before and after: what a kernel reads beyond its
// operand shows in its result.
class guarded
{
public:
    guarded(std::vector<double> values, double guard)
        : count(values.size()), store(values.size() + 2 * margin, guard), around(guard)
    {
        std::copy(values.begin(), values.end(), store.begin() + margin);
    }

    double* data() { return store.data() + margin; }

    std::vector<double> values() const { return {store.begin() + margin, store.end() - margin}; }

    bool intact() const
    {
        const auto same = [this](double x) { return std::memcmp(&x, &around, sizeof x) == 0; };
        return std::all_of(store.begin(), store.begin() + margin, same) &&
               std::all_of(store.end() - margin, store.end(), same);
    }

private:
    static constexpr std::ptrdiff_t margin = 33;
    std::size_t count;
    std::vector<double> store;
    double around;
};

guarded operand(std::size_t n, unsigned seed)
{
    return {test::random_vector<double>(n, seed), nan};
}

guarded integers(std::size_t n, unsigned seed)
{
    return {test::integer_vector<double>(n, seed), nan};
}

bool same_bits(double a, double b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

void expect_same_bits(const std::vector<double>& got, const std::vector<double>& want,
                      const std::string& what)
{
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i)
        ASSERT_TRUE(same_bits(got[i], want[i]))
            << what << " at " << i << ": " << got[i] << " and " << want[i];
}

std::string label(int path, std::size_t n)
{
    return "path " + std::to_string(path) + ", n " + std::to_string(n);
}

TEST(vector_kernels, dot_is_exact_on_small_integers)
{
    for (const int path : test::available_paths())
        for (std::size_t n = 0; n <= most; ++n) {
            auto a = integers(n, 1);
            auto b = integers(n, 2);
            const auto x = a.values();
            const auto y = b.values();
            const double sum = std::inner_product(x.begin(), x.end(), y.begin(), 0.0);
            EXPECT_EQ(dot_on(path, a.data(), b.data(), n), sum) << label(path, n);
        }
}

TEST(vector_kernels, dot_sums_in_its_stated_order)
{
    for (const int path : test::available_paths())
        for (std::size_t n = 0; n <= 3 * most; ++n) {
            auto a = operand(n, 3);
            auto b = operand(n, 4);
            EXPECT_TRUE(same_bits(dot_on(path, a.data(), b.data(), n),
                                  model::dot(model::form_of(path), a.data(), b.data(), n)))
                << label(path, n);
        }
}

TEST(vector_kernels, long_dot_adds_runs_by_halves)
{
    const std::size_t run = numerical::detail::longest_run;
    const auto a = test::random_vector<double>(4 * run, 5);
    const auto b = test::random_vector<double>(4 * run, 6);
    for (const int path : test::available_paths()) {
        const auto part = [&](std::size_t from, std::size_t to) {
            return dot_on(path, a.data() + from, b.data() + from, to - from);
        };
        const auto whole = [&](std::size_t n) {
            return numerical::detail::long_dot_on(path, a.data(), b.data(), n);
        };
        EXPECT_EQ(whole(0), 0);
        EXPECT_EQ(whole(run), part(0, run));
        EXPECT_EQ(whole(run + 1), part(0, run) + part(run, run + 1));
        EXPECT_EQ(whole(2 * run + 9),
                  part(0, run) + (part(run, 2 * run) + part(2 * run, 2 * run + 9)));
        EXPECT_EQ(whole(4 * run), (part(0, run) + part(run, 2 * run)) +
                                      (part(2 * run, 3 * run) + part(3 * run, 4 * run)));
    }
}

TEST(vector_kernels, dot_does_not_depend_on_alignment)
{
    const auto a = test::random_vector<double>(200, 5);
    const auto b = test::random_vector<double>(200, 6);
    for (const int path : test::available_paths()) {
        const double first = dot_on(path, a.data(), b.data(), 150);
        for (std::size_t shift = 1; shift < 8; ++shift) {
            std::vector<double> x(200);
            std::vector<double> y(200);
            std::copy_n(a.begin(), 150, x.begin() + static_cast<std::ptrdiff_t>(shift));
            std::copy_n(b.begin(), 150, y.begin() + static_cast<std::ptrdiff_t>(2 * shift));
            EXPECT_TRUE(same_bits(dot_on(path, x.data() + shift, y.data() + 2 * shift, 150), first))
                << label(path, shift);
        }
    }
}

TEST(vector_kernels, dispatched_dot_follows_the_path_in_force)
{
    const auto a = test::random_vector<double>(1000, 7);
    const auto b = test::random_vector<double>(1000, 8);
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        EXPECT_TRUE(same_bits(dot_product(a.data(), b.data(), 1000),
                              model::dot(model::form_of(path), a.data(), b.data(), 1000)))
            << label(path, 1000);
    }
}

TEST(vector_kernels, scaled_add_rounds_once_on_vector_paths)
{
    constexpr double alpha = 1.0 / 3;
    for (const int path : test::available_paths())
        for (std::size_t n = 0; n <= most; ++n) {
            auto x = operand(n, 9);
            auto y = operand(n, 10);
            auto want = y.values();
            for (std::size_t i = 0; i < n; ++i)
                want[i] = model::add_product(model::form_of(path), want[i], alpha, x.data()[i]);
            scaled_add_on(path, y.data(), x.data(), alpha, n);
            expect_same_bits(y.values(), want, label(path, n));
            EXPECT_TRUE(y.intact()) << label(path, n);
        }
}

TEST(vector_kernels, subtract_scaled_adds_the_negated_multiple)
{
    constexpr double alpha = 1.0 / 3;
    for (const int path : test::available_paths()) {
        auto x = operand(37, 9);
        auto y = operand(37, 10);
        auto want = y;
        scaled_add_on(path, want.data(), x.data(), -alpha, 37);
        subtract_scaled_on(path, y.data(), x.data(), alpha, 37);
        expect_same_bits(y.values(), want.values(), label(path, 37));
    }
}

TEST(vector_kernels, subtract_products_takes_terms_in_ascending_order)
{
    for (const int path : test::available_paths())
        for (const std::size_t terms : {0U, 1U, 2U, 5U})
            for (std::size_t n = 0; n <= most; ++n) {
                const std::size_t stride = n + 3;
                auto out = operand(n, 11);
                auto coeffs = operand(terms, 12);
                guarded rows(std::vector<double>(terms * stride, nan), nan);
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

std::vector<double> parts_of(const std::vector<complex>& values)
{
    std::vector<double> parts;
    for (const complex& z : values) {
        parts.push_back(z.real());
        parts.push_back(z.imag());
    }
    return parts;
}

complex* as_complex(double* parts)
{
    return reinterpret_cast<complex*>(parts);
}

TEST(vector_kernels, subtract_complex_products_takes_two_steps_a_term)
{
    for (const int path : test::available_paths())
        for (const std::size_t terms : {0U, 1U, 2U, 5U})
            for (std::size_t n = 0; n <= most / 2; ++n) {
                const std::size_t stride = n + 2;
                auto out_values = test::random_vector<complex>(n, 14);
                const auto coeffs = test::random_vector<complex>(terms, 15);
                const auto values = test::random_vector<complex>(terms * n, 16);
                guarded out(parts_of(out_values), nan);
                guarded rows(std::vector<double>(2 * terms * stride, nan), nan);
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

TEST(vector_kernels, complex_subtract_scaled_is_one_term_of_subtract_products)
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

TEST(vector_kernels, portable_complex_products_recover_infinities)
{
    const complex coeff(infinity, 0.0);
    const complex row(1.0, infinity); // the quick formula alone gives (NaN, ...)
    complex out = 0;
    subtract_products_on(portable_path, &out, &coeff, &row, 1, 1, 1);
    EXPECT_TRUE(std::isinf(out.real()) || std::isinf(out.imag()));
}

double symmetric_row_on(int path, const double* row, const double* x, double alpha, double* y,
                        std::size_t n)
{
    if (path == avx512_path)
        return avx512_symmetric_row(row, x, alpha, y, n);
    if (path == avx2_path)
        return avx2_symmetric_row(row, x, alpha, y, n);
    return symmetric_row<double>(row, x, alpha, y, n);
}

TEST(vector_kernels, symmetric_row_serves_both_roles_in_its_stated_order)
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
    guarded rows(std::vector<double>(4 * stride, nan), nan);
    const auto values = whole ? test::integer_vector<double>(4 * stride, seed)
                              : test::random_vector<double>(4 * stride, seed);
    for (std::size_t r = 0; r < 4; ++r)
        for (std::size_t j = 0; j <= n + r; ++j)
            rows.data()[r * stride + j] = values[r * stride + j];
    return rows;
}

TEST(vector_kernels, symmetric_rows_sum_in_their_stated_order)
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

TEST(vector_kernels, symmetric_rows_give_the_lower_parts_and_the_columns)
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

complex hermitian_row_on(int path, const double* row, const double* x, complex alpha, double* y,
                         std::size_t n)
{
    const auto kernel = path == avx512_path ? avx512_hermitian_row : avx2_hermitian_row;
    return kernel(row, x, alpha.real(), alpha.imag(), y, n);
}

TEST(vector_kernels, hermitian_row_is_exact_on_small_integers)
{
    const complex alpha(3, -2);
    for (const int path : test::available_paths())
        for (std::size_t n = 0; path != portable_path && n <= most / 2; ++n) {
            const auto row = test::integer_vector<complex>(n, 28);
            const auto x = test::integer_vector<complex>(n, 29);
            auto y = test::integer_vector<complex>(n, 30);
            guarded row_parts(parts_of(row), nan);
            guarded x_parts(parts_of(x), nan);
            guarded y_parts(parts_of(y), nan);
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

TEST(vector_kernels, hermitian_row_updates_in_two_fused_steps)
{
    const complex a(1.0 / 3, 1.0 / 7);
    const auto row = test::random_vector<complex>(35, 31);
    const auto x = test::random_vector<complex>(35, 32);
    for (const int path : test::available_paths()) {
        if (path == portable_path)
            continue;
        auto y = test::random_vector<complex>(35, 33);
        guarded got(parts_of(y), nan);
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

template <class T>
class chunked : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(chunked, element_types);

TYPED_TEST(chunked, dot_adds_the_chunks_in_order_at_any_thread_count)
{
    constexpr std::size_t chunk = 16384;
    for (const std::size_t n :
         {std::size_t{0}, chunk, chunk + 1, 2 * chunk, 4 * chunk + 5, 5 * chunk + 17}) {
        const auto a = test::random_vector<TypeParam>(n, 34);
        const auto b = test::random_vector<TypeParam>(n, 35);
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            TypeParam want = 0;
            for (std::size_t from = 0; from < n; from += chunk)
                want += plain_dot(a.data() + from, b.data() + from, std::min(chunk, n - from));
            for (const std::size_t threads : test::thread_counts) {
                const test::thread_limit cap(threads);
                EXPECT_EQ(chunked_dot(a.data(), b.data(), n), want) << label(path, n);
            }
        }
    }
}

TEST(vector_kernels, complex_dot_of_a_chunk_is_a_plain_ascending_loop)
{
    const auto a = test::random_vector<complex>(1001, 36);
    const auto b = test::random_vector<complex>(1001, 37);
    double re = 0;
    double im = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        re += a[i].real() * b[i].real() - a[i].imag() * b[i].imag();
        im += a[i].real() * b[i].imag() + a[i].imag() * b[i].real();
    }
    EXPECT_EQ(plain_dot(a.data(), b.data(), a.size()), complex(re, im));
}

TEST(vector_kernels, complex_dot_recovers_the_infinity_of_a_product)
{
    // (inf + nan i)(1 + i) is nan in both parts by the quick formula, and infinite by the rules.
    const complex endless(infinity, std::numeric_limits<double>::quiet_NaN());
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n :
             {std::size_t{5}, std::size_t{16384} * 2, std::size_t{16384} * 3 + 1})
            for (const std::size_t place : {std::size_t{0}, n / 2, n - 1}) {
                std::vector<complex> a(n, {1, 2});
                const std::vector<complex> b(n, {1, 1});
                a[place] = endless;
                EXPECT_EQ(chunked_dot(a.data(), b.data(), n), complex(infinity, infinity)) << n;
            }
    }
}

TEST(scaled_norm, neither_overflows_nor_underflows)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const std::vector<double> huge{1e200, 1e200};
        const std::vector<double> tiny{1e-200, 1e-200};
        EXPECT_DOUBLE_EQ(scaled_norm(huge.data(), 2), std::sqrt(2.0) * 1e200);
        EXPECT_DOUBLE_EQ(scaled_norm(tiny.data(), 2), std::sqrt(2.0) * 1e-200);
        const std::vector<complex> huge_complex{{3e200, 4e200}, {0, 12e200}};
        EXPECT_DOUBLE_EQ(scaled_norm(huge_complex.data(), 2), 13e200);
        const std::vector<complex> tiny_complex{{3e-200, 4e-200}, {0, 12e-200}};
        EXPECT_DOUBLE_EQ(scaled_norm(tiny_complex.data(), 2), 13e-200);
        const std::vector<double> plain{3, 4};
        EXPECT_EQ(scaled_norm(plain.data(), 2), 5.0);
    }
}

TEST(scaled_norm, of_a_very_long_vector_is_as_accurate_as_of_a_short_one)
{
    const auto x = test::random_vector<double>(3000000, 7);
    for (const double size : {1.0, 1e-300, 1e300}) {
        std::vector<double> scaled = x;
        long double square = 0;
        for (double& element : scaled) {
            element *= size;
            const long double ratio = element / size;
            square += ratio * ratio;
        }
        const long double exact = size * std::sqrt(square);
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            const auto error = std::abs(scaled_norm(scaled.data(), scaled.size()) - exact) / exact;
            EXPECT_LT(double(error), 2 * std::numeric_limits<double>::epsilon())
                << size << ", path " << path;
        }
    }
}

TEST(scaled_norm, of_nothing_and_of_zeros_is_zero)
{
    const std::vector<double> zero(40, 0.0);
    const std::vector<complex> complex_zero(20);
    EXPECT_EQ(scaled_norm(zero.data(), 0), 0.0);
    EXPECT_EQ(scaled_norm(zero.data(), 40), 0.0);
    EXPECT_EQ(scaled_norm(complex_zero.data(), 0), 0.0);
    EXPECT_EQ(scaled_norm(complex_zero.data(), 20), 0.0);
}

TEST(scaled_norm, of_nans_alone_is_zero_but_among_numbers_nan)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const std::vector<double> nans{nan, nan, nan};
        const std::vector<double> mixed{1.0, nan, 2.0};
        const std::vector<double> infinite{1.0, -infinity, 2.0};
        EXPECT_EQ(scaled_norm(nans.data(), 3), 0.0);
        EXPECT_TRUE(std::isnan(scaled_norm(mixed.data(), 3)));
        EXPECT_TRUE(std::isnan(scaled_norm(infinite.data(), 3)));
        const std::vector<complex> complex_nans{{nan, nan}, {nan, 1.0}};
        EXPECT_EQ(scaled_norm(complex_nans.data(), 2), 0.0);
    }
}

TEST(scaled_norm, leaves_the_plain_sum_only_outside_the_safe_range)
{
    // 2^-450 squared is 2^-900, the least safe square: its root is exact. One step below it the
    // largest modulus is divided out first, which is exact here too.
    for (const double x : {0x1p-450, 0x1p-451, 0x1p450, 0x1p451, 0x1p-1074, 0x1p1023}) {
        EXPECT_EQ(scaled_norm(&x, 1), x);
        const double negative = -x;
        EXPECT_EQ(scaled_norm(&negative, 1), x);
    }
    // Outside the range the bits are those of the divided sum: m·sqrt(Σ(x/m)²).
    const auto base = test::random_vector<double>(33, 38);
    std::vector<double> tiny(33);
    std::transform(base.begin(), base.end(), tiny.begin(), [](double x) { return x * 0x1p-600; });
    double largest = 0;
    for (const double x : tiny)
        largest = std::max(largest, std::abs(x));
    double sum = 0;
    for (const double x : tiny)
        sum += (x / largest) * (x / largest);
    EXPECT_EQ(scaled_norm(tiny.data(), 33), largest * std::sqrt(sum));
}

} // namespace
